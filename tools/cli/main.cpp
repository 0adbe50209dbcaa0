// trevalo-cli: a command-line client of trevalo_service on D-Bus.
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "arguments.h"
#include "command_error.h"
#include "commands.h"

using namespace trevalo_cli;

namespace {

void PrintOverview(std::ostream& out) {
    out << "Usage: trevalo-cli [--bus ADDRESS] COMMAND [ARGUMENTS]\n"
           "\n"
           "Talks to trevalo_service (bus name org.ondrel.TCServer.trevalo_service).\n"
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
           "Options (before or after the command):\n"
           "  --bus ADDRESS   the D-Bus address (default: $DBUS_SESSION_BUS_ADDRESS, else the "
           "system bus)\n"
           "  --help          this text; 'trevalo-cli COMMAND --help' describes a command\n"
           "\n"
           "Exit status: 0 done; 1 the service or the input answered with a failure;\n"
           "2 bad usage, or no service to answer.\n";
}

void PrintCommandHelp(const CommandEntry& command, std::ostream& out) {
    out << "Usage: trevalo-cli [--bus ADDRESS] " << command.usage << "\n\n" << command.help;
}

const CommandEntry* FindCommand(const std::string& name) {
    for (const CommandEntry& command : AllCommands()) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

int Run(const std::vector<std::string>& words, std::string& command_name) {
    CommandContext context;
    size_t at = 0;
    // Options before the command.
    for (; at < words.size() && words[at].rfind("--", 0) == 0; ++at) {
        const std::string& word = words[at];
        if (word == "--help") {
            PrintOverview(std::cout);
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
    const CommandEntry* command = FindCommand(words[at]);
    if (command == nullptr) {
        throw UsageError("unknown command '" + words[at] + "' (see trevalo-cli --help)");
    }
    command_name = command->name;

    OptionNames names = command->options;
    names.with_value.insert("--bus");
    names.flags.insert("--help");
    const Arguments arguments(std::vector<std::string>(words.begin() + at + 1, words.end()), names);
    if (arguments.Flag("--help")) {
        PrintCommandHelp(*command, std::cout);
        return kExitSuccess;
    }
    if (const auto bus = arguments.Value("--bus")) context.bus_address = *bus;
    return command->run(context, arguments);
}

}  // namespace

int main(int argc, char** argv) {
    std::string command_name;
    try {
        return Run(std::vector<std::string>(argv + 1, argv + argc), command_name);
    } catch (const CommandError& error) {
        std::cout.flush();
        std::cerr << "trevalo-cli: " << (command_name.empty() ? "" : command_name + ": ")
                  << error.what();
        if (error.GetKind() == CommandError::Kind::kUsage) {
            std::cerr << " (see 'trevalo-cli " << (command_name.empty() ? "" : command_name + " ")
                      << "--help')";
        }
        std::cerr << "\n";
        return error.ExitStatus();
    }
}
