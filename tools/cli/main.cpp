// trevalo-cli: a command-line client of trevalo_service on D-Bus.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "arguments.h"
#include "command_error.h"
#include "commands.h"
#include "trevalo/bus_contract.h"

using namespace trevalo_cli;

namespace {

// The options every command takes, as the usage lines show them.
constexpr const char kGlobalUsage[] = "[--bus ADDRESS | --system | --session] [--timeout SECONDS]";

// The layout of the help texts is what help_to_man turns into the manual page: headings end in
// ':', items are "  TERM  meaning", other indented lines are examples.
void PrintOverview(std::ostream& out) {
    out << "Usage: trevalo-cli " << kGlobalUsage << " COMMAND [ARGUMENTS]\n\n";
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
           "  --bus ADDRESS      the D-Bus address of the bus (default:\n"
           "                     $DBUS_SESSION_BUS_ADDRESS, else the system bus)\n"
           "  --system           the system bus, where the packaged service runs\n"
           "  --session          the session bus ($DBUS_SESSION_BUS_ADDRESS, else the user's)\n"
           "  --timeout SECONDS  how long to wait for each answer of the service (a number\n"
           "                     above 0, up to 86400; default 25)\n"
           "  -h, --help         this text; 'trevalo-cli COMMAND --help' or 'trevalo-cli\n"
           "                     --help COMMAND' describes a command\n"
           "  --version          the version of trevalo-cli\n"
           "\n"
           "Environment:\n"
           "  DBUS_SESSION_BUS_ADDRESS  the bus, when --bus does not name one (else the system "
           "bus)\n"
           "\n"
           "Exit status:\n"
           "  0  done\n"
           "  1  the service or the input answered with a failure\n"
           "  2  bad usage, an input that cannot be read, an output that cannot be\n"
           "     written, no bus, the bus gone while listening, watching or following,\n"
           "     or no service to answer in time\n"
           "\n"
           "Errors are one line on stderr: 'trevalo-cli: COMMAND: what went wrong'.\n";
}

void PrintCommandHelp(const CommandEntry& command, std::ostream& out) {
    out << "Usage: trevalo-cli " << kGlobalUsage << " " << command.usage << "\n\n" << command.help;
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

// The options that choose the bus and the time limit, before or after the command.
const OptionNames kConnectionOptions = {{"--bus", "--timeout"}, {"--system", "--session"}};

// A time limit in seconds, a real number above 0, as milliseconds.
int ParseTimeout(const std::string& text) {
    errno = 0;
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    // Up to a day: beyond it, a hung service is better found out by Ctrl-C.
    constexpr double kLongest = 24 * 60 * 60;
    if (text.empty() || *end != '\0' || errno != 0 || !(seconds > 0) || seconds > kLongest) {
        throw UsageError("--timeout takes a number of seconds above 0, up to " +
                         std::to_string(static_cast<int>(kLongest)));
    }
    return std::max(1, static_cast<int>(std::ceil(seconds * 1000)));
}

void ApplyConnectionOptions(const Arguments& arguments, CommandContext& context) {
    const int chosen = (arguments.Value("--bus") ? 1 : 0) + (arguments.Flag("--system") ? 1 : 0) +
                       (arguments.Flag("--session") ? 1 : 0);
    if (chosen > 1) throw UsageError("--bus, --system and --session exclude each other");
    if (const auto address = arguments.Value("--bus")) {
        context.bus = CommandContext::Bus::kAddress;
        context.bus_address = *address;
    } else if (arguments.Flag("--system")) {
        context.bus = CommandContext::Bus::kSystem;
    } else if (arguments.Flag("--session")) {
        context.bus = CommandContext::Bus::kSession;
    }
    if (const auto timeout = arguments.Value("--timeout")) {
        context.timeout_ms = ParseTimeout(*timeout);
    }
}

int Run(const std::vector<std::string>& words, std::string& command_name) {
    size_t at = 0;
    // Options before the command.
    std::vector<std::string> leading;
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
        if (word == "--version") {
            std::cout << "trevalo-cli " TREVALO_VERSION "\n";
            return kExitSuccess;
        }
        leading.push_back(word);
        const std::string name = word.substr(0, word.find('='));
        if (kConnectionOptions.with_value.count(word) != 0 && at + 1 < words.size()) {
            leading.push_back(words[++at]);
        } else if (kConnectionOptions.with_value.count(name) == 0 &&
                   kConnectionOptions.flags.count(word) == 0) {
            throw UsageError("unknown option '" + word + "'");
        }
    }
    if (at == words.size()) {
        const Arguments check(leading, kConnectionOptions);  // a missing value first
        throw UsageError("no command given");
    }
    const CommandEntry* command = &CommandNamed(words[at]);
    command_name = command->name;

    OptionNames names = command->options;
    names.with_value.insert(kConnectionOptions.with_value.begin(),
                            kConnectionOptions.with_value.end());
    names.flags.insert(kConnectionOptions.flags.begin(), kConnectionOptions.flags.end());
    names.flags.insert("--help");
    names.flags.insert("-h");
    // The options before the command count as if given after it.
    std::vector<std::string> after = leading;
    after.insert(after.end(), words.begin() + at + 1, words.end());
    const Arguments arguments(after, names);
    if (arguments.Flag("--help") || arguments.Flag("-h")) {
        PrintCommandHelp(*command, std::cout);
        return kExitSuccess;
    }
    CommandContext context;
    ApplyConnectionOptions(arguments, context);
    return command->run(context, arguments);
}

}  // namespace

int main(int argc, char** argv) {
    std::string command_name;
    const auto report = [&command_name](const std::string& message) {
        std::cout.flush();
        std::cout.clear();  // what could not be written stays unwritten
        std::cerr << "trevalo-cli: " << (command_name.empty() ? "" : command_name + ": ")
                  << message;
    };
    try {
        const int status = Run(std::vector<std::string>(argv + 1, argv + argc), command_name);
        // What was printed must have reached its destination (a full disk, /dev/full).
        errno = 0;
        std::cout.flush();
        if (!std::cout) {
            throw OutputError(std::string("cannot write to standard output: ") +
                              (errno != 0 ? std::strerror(errno) : "write error"));
        }
        return status;
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
