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

namespace trevalo_cli {

class ServiceConnection {
  public:
    // Connects to the bus at `bus_address`, or, when it is empty, to the bus a server would join.
    // Throws NoServiceError when there is no bus.
    explicit ServiceConnection(const std::string& bus_address);

    // Sends {"method": method, "data": data} (no "data" when it is null) with `buffer`, and
    // returns the reply. Throws NoServiceError when no service answers (none on the bus, none
    // to start, no reply in time) and FailureAnswer when the service answers with an error.
    Ondrel::TCMessage Request(const std::string& method, const Json::Value& data = Json::Value(),
                              const std::vector<unsigned char>& buffer = {});

    Ondrel::TCClient& Client() { return m_Client; }

  private:
    Ondrel::TCClient m_Client;
};

// Whether `error`, thrown by ServiceConnection::Request, says that nobody owns the service's
// name and the bus has nothing to start: the service is not up yet, rather than failing.
bool ServiceIsAbsent(const CommandError& error);

}  // namespace trevalo_cli

#endif
