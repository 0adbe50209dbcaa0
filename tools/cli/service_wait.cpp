#include "service_wait.h"

#include <iostream>

#include "interruption.h"

namespace trevalo_cli {

bool WaitForService(ServiceConnection& service, const std::string& command_name) {
    CatchInterruption();
    service.FollowOwner();
    bool said = false;
    while (service.Client().Owner().empty()) {
        if (!said) {
            std::cerr << "trevalo-cli: " + command_name + ": waiting for " +
                             service.Client().BusName() + " to appear on " +
                             service.BusDescription() + " (Ctrl-C stops)\n"
                      << std::flush;  // in one write
            said = true;
        }
        if (!service.Pause(kPauseMs)) return false;
    }
    return true;
}

}  // namespace trevalo_cli
