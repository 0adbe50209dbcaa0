// How a command ends early: one line for stderr and the exit status that goes with it.
#ifndef TREVALO_CLI_COMMAND_ERROR_H
#define TREVALO_CLI_COMMAND_ERROR_H

#include <stdexcept>
#include <string>

namespace trevalo_cli {

constexpr int kExitSuccess = 0;
constexpr int kExitFailureAnswer = 1;  // the service or the input said no
constexpr int kExitUsage = 2;          // bad usage, unusable input, or nobody to talk to

class CommandError : public std::runtime_error {
  public:
    // kServiceAbsent: nobody owns the service's name and the bus started nobody (no service
    // file, a unit that is disabled, stopped or missing): not there yet, to those who wait.
    enum class Kind {
        kUsage,
        kUnreadableInput,
        kNoService,
        kServiceAbsent,
        kBusLost,
        kOutput,
        kFailureAnswer
    };

    CommandError(Kind kind, const std::string& message)
        : std::runtime_error(message), m_Kind(kind) {}

    Kind GetKind() const { return m_Kind; }
    int ExitStatus() const {
        return m_Kind == Kind::kFailureAnswer ? kExitFailureAnswer : kExitUsage;
    }

  private:
    Kind m_Kind;
};

inline CommandError UsageError(const std::string& message) {
    return CommandError(CommandError::Kind::kUsage, message);
}
inline CommandError UnreadableInput(const std::string& message) {
    return CommandError(CommandError::Kind::kUnreadableInput, message);
}
inline CommandError NoServiceError(const std::string& message) {
    return CommandError(CommandError::Kind::kNoService, message);
}
inline CommandError ServiceAbsentError(const std::string& message) {
    return CommandError(CommandError::Kind::kServiceAbsent, message);
}
// Standard output cannot take what the command prints (a full disk, a closed pipe).
inline CommandError OutputError(const std::string& message) {
    return CommandError(CommandError::Kind::kOutput, message);
}
// No service answered, whether or not one may come.
inline bool NoServiceAnswered(const CommandError& error) {
    return error.GetKind() == CommandError::Kind::kNoService ||
           error.GetKind() == CommandError::Kind::kServiceAbsent;
}
// The connection to the bus is gone: not a service that can come back.
inline CommandError BusLostError(const std::string& message) {
    return CommandError(CommandError::Kind::kBusLost, message);
}
inline CommandError FailureAnswer(const std::string& message) {
    return CommandError(CommandError::Kind::kFailureAnswer, message);
}

}  // namespace trevalo_cli

#endif
