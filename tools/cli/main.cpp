// trevalo-cli: a command-line client of trevalo_service on D-Bus.
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "arguments.h"
#include "command_error.h"
#include "commands.h"
#include "trevalo/bus_contract.h"

using namespace trevalo_cli;

namespace {

// The layout of the help texts is what help_to_man turns into the manual page: headings end in
// ':', items are "  TERM  meaning", other indented lines are examples.
void PrintOverview(std::ostream& out) {
    out << "Usage: trevalo-cli [--bus ADDRESS] COMMAND [ARGUMENTS]\n\n";
    out << "Talks to " << trevalo_bus::kServerName << " (bus name " << trevalo_bus::kBusName
        << ") on D-Bus;\n";
    out << "'programmes' reads a transport stream without it.\n"
           "\n"
           "Commands:\n";
    size_t width = 0;
    for (const CommandEntry& command : AllCommands()) {
        width = std::max(width, std::string(command.usage).size());
    }
    for (const CommandEntry& command : AllCommands()) {
        const std::string usage = command.usage;
        out << "  " << usage << std::string(width + 2 - usage.size(), ' ') << command.summary
            << "\n";
    }
    out << "\n"
           "Options, before or after the command:\n"
           "  --bus ADDRESS  the D-Bus address of the bus (default:\n"
           "                 $DBUS_SESSION_BUS_ADDRESS, else the system bus)\n"
           "  -h, --help     this text; 'trevalo-cli COMMAND --help' or 'trevalo-cli --help\n"
           "                 COMMAND' describes a command\n"
           "\n"
           "Environment:\n"
           "  DBUS_SESSION_BUS_ADDRESS  the bus, when --bus does not name one (else the system "
           "bus)\n"
           "\n"
           "Exit status:\n"
           "  0  done\n"
           "  1  the service or the input answered with a failure\n"
           "  2  bad usage, an input that cannot be read, no bus, or no service to answer\n"
           "\n"
           "Errors are one line on stderr: 'trevalo-cli: COMMAND: what went wrong'.\n";
}

void PrintCommandHelp(const CommandEntry& command, std::ostream& out) {
    out << "Usage: trevalo-cli [--bus ADDRESS] " << command.usage << "\n\n" << command.help;
}

// Throws a usage error for a name no command has.
const CommandEntry& CommandNamed(const std::string& name) {
    for (const CommandEntry& command : AllCommands()) {
        if (name == command.name) return command;
    }
    throw UsageError("unknown command '" + name + "'");
}

bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

int Run(const std::vector<std::string>& words, std::string& command_name) {
    CommandContext context;
    size_t at = 0;
    // Options before the command.
    for (; at < words.size() && IsOption(words[at]); ++at) {
        const std::string& word = words[at];
        if (word == "--help" || word == "-h") {
            // "--help COMMAND" describes the command, as "COMMAND --help" does.
            if (at + 1 < words.size() && !IsOption(words[at + 1])) {
                const CommandEntry& command = CommandNamed(words[at + 1]);
                command_name = command.name;
                PrintCommandHelp(command, std::cout);
            } else {
                PrintOverview(std::cout);
            }
            return kExitSuccess;
        }
        if (word == "--bus" && at + 1 < words.size()) {
            context.bus_address = words[++at];
        } else if (word.rfind("--bus=", 0) == 0) {
            context.bus_address = word.substr(6);
        } else {
            throw UsageError(word == "--bus" ? "--bus needs a value"
                                             : "unknown option '" + word + "'");
        }
    }
    if (at == words.size()) throw UsageError("no command given");
    const CommandEntry* command = &CommandNamed(words[at]);
    command_name = command->name;

    OptionNames names = command->options;
    names.with_value.insert("--bus");
    names.flags.insert("--help");
    names.flags.insert("-h");
    const Arguments arguments(std::vector<std::string>(words.begin() + at + 1, words.end()), names);
    if (arguments.Flag("--help") || arguments.Flag("-h")) {
        PrintCommandHelp(*command, std::cout);
        return kExitSuccess;
    }
    if (const auto bus = arguments.Value("--bus")) context.bus_address = *bus;
    return command->run(context, arguments);
}

}  // namespace

int main(int argc, char** argv) {
    std::string command_name;
    const auto report = [&command_name](const std::string& message) {
        std::cout.flush();
        std::cerr << "trevalo-cli: " << (command_name.empty() ? "" : command_name + ": ")
                  << message;
    };
    try {
        return Run(std::vector<std::string>(argv + 1, argv + argc), command_name);
    } catch (const CommandError& error) {
        report(error.what());
        if (error.GetKind() == CommandError::Kind::kUsage) {
            std::cerr << " (see 'trevalo-cli " << (command_name.empty() ? "" : command_name + " ")
                      << "--help')";
        }
        std::cerr << "\n";
        return error.ExitStatus();
    } catch (const std::exception& failure) {
        // Not foreseen (memory exhausted, a library's own exception): still one line, no abort.
        report(std::string("cannot go on: ") + failure.what() + "\n");
        return kExitUsage;
    }
}
