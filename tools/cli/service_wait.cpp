#include "service_wait.h"

#include <time.h>

#include <iostream>

#include "interruption.h"

namespace trevalo_cli {
namespace {

constexpr long kRetryNanoseconds = 200L * 1000 * 1000;

}  // namespace

bool WaitForService(ServiceConnection& service, const std::string& command_name) {
    CatchInterruption();
    bool said = false;
    while (!Interrupted()) {
        try {
            service.Ping();
            return true;
        } catch (const CommandError& error) {
            if (!ServiceIsAbsent(error)) throw;
        }
        if (!said) {
            std::cerr << "trevalo-cli: " << command_name << ": waiting for "
                      << service.Client().BusName() << " to appear on the bus (Ctrl-C stops)"
                      << std::endl;
            said = true;
        }
        const timespec pause{0, kRetryNanoseconds};
        nanosleep(&pause, nullptr);  // a signal cuts it short
    }
    return false;
}

}  // namespace trevalo_cli
