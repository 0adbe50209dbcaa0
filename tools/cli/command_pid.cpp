// pid TAG: the PID that carries a component tag.
#include <iostream>

#include "command_error.h"
#include "commands.h"
#include "service_requests.h"

namespace trevalo_cli {

int RunPid(const CommandContext& context, const Arguments& arguments) {
    if (arguments.Operands().size() != 1) throw UsageError("give one component TAG");
    const auto tag = ParseInteger(arguments.Operands()[0], 0, 255);
    if (!tag) {
        throw UsageError("TAG is a component tag from 0 to 255, not '" + arguments.Operands()[0] +
                         "'");
    }
    ServiceConnection service(context);
    const int pid = LookUpPid(service, static_cast<int>(*tag));
    if (pid == 0) throw FailureAnswer("no component carries tag " + std::to_string(*tag));
    std::cout << pid << "\n";
    return kExitSuccess;
}

}  // namespace trevalo_cli
