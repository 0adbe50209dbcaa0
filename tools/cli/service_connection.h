// The bus connection to the service through the framework's client, with the failures of a
// request sorted into "nobody answers" and "the service said no".
#ifndef TREVALO_CLI_SERVICE_CONNECTION_H
#define TREVALO_CLI_SERVICE_CONNECTION_H

#include <json/value.h>

#include <string>
#include <vector>

#include "Ondrel/TCClient.h"
#include "Ondrel/TCMessage.h"
#include "command_error.h"
#include "commands.h"

namespace trevalo_cli {

class ServiceConnection {
  public:
    // Connects to the bus the context chooses. Throws NoServiceError when there is no bus.
    explicit ServiceConnection(const CommandContext& context);
    ServiceConnection(const ServiceConnection&) = delete;
    ServiceConnection& operator=(const ServiceConnection&) = delete;

    // Sends {"method": method, "data": data} (no "data" when it is null) with `buffer`, and
    // returns the reply. Throws NoServiceError when no service answers (none on the bus, none
    // to start, no reply in time), BusLostError when the bus connection is gone, and
    // FailureAnswer when the service answers with an error.
    Ondrel::TCMessage Request(const std::string& method, const Json::Value& data = Json::Value(),
                              const std::vector<unsigned char>& buffer = {});

    // Calls `method` of `interface` with one a{sv} and returns its a{sv}; throws as Request does.
    Ondrel::TCValue::Dictionary CallWithDictionary(const char* interface, const char* method,
                                                   const Ondrel::TCValue::Dictionary& argument);

    Ondrel::TCClient& Client() { return m_Client; }

    // How long a call may wait for its answer, in milliseconds (-1: the bus's default).
    int TimeoutMs() const { return m_TimeoutMs; }

    // Runs the default main context until SIGINT or SIGTERM; throws BusLostError when the bus
    // connection goes first.
    void ListenUntilInterrupted();

    // TCClient::Subscribe and SubscribeProperties, throwing BusLostError when the bus refuses.
    void Subscribe(const std::string& signal, Ondrel::TCClient::SignalHandler on_signal);
    void SubscribeProperties(const std::string& interface,
                             Ondrel::TCClient::PropertiesHandler on_change);

    // From now on follows who owns the service's name (TCClient::FollowOwner) and notices a lost
    // bus while the main context runs; throws BusLostError when the bus is gone already.
    void FollowOwner();
    // Runs the default main context for up to `ms` milliseconds, less when `fd` (when not -1)
    // becomes readable; with 0, until what is pending was handled. False when SIGINT or SIGTERM
    // came (once CatchInterruption was called); throws BusLostError when the bus went.
    bool Pause(int ms, int fd = -1);

    // "the bus at ADDRESS", "the system bus", ...: for the messages that name the bus.
    const std::string& BusDescription() const { return m_BusDescription; }

    // The error of a call that failed with `error`, sorted by the D-Bus error name of the
    // client's last call: the bus gone, nobody there, nobody answering in time, a refusal of
    // the bus policy, or the service's own failure answer to `what`.
    CommandError CallFailure(const std::string& what, const std::string& error) const;

  private:
    CommandError BusLost(const std::string& reason) const;

    Ondrel::TCClient m_Client;
    std::string m_BusDescription;  // "the bus at ADDRESS", "the system bus", ...
    int m_TimeoutMs;
    std::string m_LostReason;  // set when the connection was found gone in the main loop
};

// Whether `error`, thrown by ServiceConnection::Request, says that nobody owns the service's
// name and the bus started nobody: the service is not up yet, rather than failing.
bool ServiceIsAbsent(const CommandError& error);

// How long a waiting command sleeps between looks at its input or at the clock, in milliseconds
// (the bus wakes it at once).
constexpr int kPauseMs = 200;

}  // namespace trevalo_cli

#endif
