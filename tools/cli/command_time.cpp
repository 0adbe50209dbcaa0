// time save MS | time get: the playing-time store.
#include <cstdint>
#include <iostream>

#include "command_error.h"
#include "commands.h"
#include "service_requests.h"

namespace trevalo_cli {

int RunTime(const CommandContext& context, const Arguments& arguments) {
    const std::vector<std::string>& words = arguments.Operands();
    if (words.size() == 1 && words[0] == "get") {
        ServiceConnection service(context);
        std::cout << ReadPlayingTime(service) << "\n";
        return kExitSuccess;
    }
    if (words.size() == 2 && words[0] == "save") {
        const auto milliseconds = ParseInteger(words[1], 0, UINT32_MAX);
        if (!milliseconds) {
            throw UsageError("MS is a time in milliseconds from 0 to 4294967295, not '" + words[1] +
                             "'");
        }
        ServiceConnection service(context);
        SavePlayingTime(service, static_cast<uint32_t>(*milliseconds));
        return kExitSuccess;
    }
    throw UsageError("say 'time save MS' or 'time get'");
}

}  // namespace trevalo_cli
