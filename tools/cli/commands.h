// The client's commands: what each is called, how it is used, and the function that runs it.
#ifndef TREVALO_CLI_COMMANDS_H
#define TREVALO_CLI_COMMANDS_H

#include <string>
#include <vector>

#include "arguments.h"

namespace trevalo_cli {

// What every command gets besides its own arguments.
struct CommandContext {
    enum class Bus { kAsService, kAddress, kSession, kSystem };
    Bus bus = Bus::kAsService;  // kAsService: DBUS_SESSION_BUS_ADDRESS, else the system bus
    std::string bus_address;    // for kAddress
    int timeout_ms = -1;        // a request's time limit; -1 the bus library's (25 s)
};

// Each returns the exit status, or throws CommandError.
int RunCall(const CommandContext& context, const Arguments& arguments);
int RunCatalogue(const CommandContext& context, const Arguments& arguments);
int RunPid(const CommandContext& context, const Arguments& arguments);
int RunTime(const CommandContext& context, const Arguments& arguments);
int RunPmt(const CommandContext& context, const Arguments& arguments);
int RunListen(const CommandContext& context, const Arguments& arguments);
int RunWatch(const CommandContext& context, const Arguments& arguments);
int RunSelect(const CommandContext& context, const Arguments& arguments);
int RunProgrammes(const CommandContext& context, const Arguments& arguments);

struct CommandEntry {
    const char* name;
    const char* usage;    // the words after "trevalo-cli"
    const char* summary;  // one line for the overview
    const char* help;     // the rest of "COMMAND --help"
    OptionNames options;  // besides --bus and --help
    int (*run)(const CommandContext&, const Arguments&);
};

const std::vector<CommandEntry>& AllCommands();

}  // namespace trevalo_cli

#endif
