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

    // Asks whether the service answers on the bus at all (a D-Bus ping, which the bus policy
    // grants everyone); throws as Request does when it does not.
    void Ping();

    // Calls `method` of `interface` with one a{sv} and returns its a{sv}; throws as Request does.
    Ondrel::TCValue::Dictionary CallWithDictionary(const char* interface, const char* method,
                                                   const Ondrel::TCValue::Dictionary& argument);

    Ondrel::TCClient& Client() { return m_Client; }

    // How long a call may wait for its answer, in milliseconds (-1: the bus's default).
    int TimeoutMs() const { return m_TimeoutMs; }

    // Runs the default main context until SIGINT or SIGTERM; throws BusLostError when the bus
    // connection goes first.
    void ListenUntilInterrupted();

  private:
    CommandError BusLost(const std::string& reason) const;
    // The error of a call that failed with `error`: the bus gone, nobody answering, or the
    // service's own failure answer to `what`.
    CommandError CallFailure(const std::string& what, const std::string& error) const;

    Ondrel::TCClient m_Client;
    std::string m_BusDescription;  // "the bus at ADDRESS", "the system bus", ...
    int m_TimeoutMs;
    std::string m_LostReason;  // set when the connection was found gone in the main loop
};

// Whether `error`, thrown by ServiceConnection::Request, says that nobody owns the service's
// name and the bus has nothing to start: the service is not up yet, rather than failing.
bool ServiceIsAbsent(const CommandError& error);

}  // namespace trevalo_cli

#endif
