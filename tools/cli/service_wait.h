// Waiting for the service to come onto the bus, for the commands that listen to its signals.
#ifndef TREVALO_CLI_SERVICE_WAIT_H
#define TREVALO_CLI_SERVICE_WAIT_H

#include <string>

#include "service_connection.h"

namespace trevalo_cli {

// Pings the service's bus name (D-Bus Peer.Ping, which the policy grants everyone) until it
// answers; the first one also lets the bus start an activatable service. While nobody owns the
// name, says once on stderr
// ("trevalo-cli: COMMAND: waiting for ...") and asks again every 200 ms. Returns false when
// SIGINT or SIGTERM came first (it catches them from now on, see interruption.h); throws what
// Ping throws for any other failure. Once it returned true, signals subscribed to before the
// call reach the client: the bus handles a connection's messages in order.
bool WaitForService(ServiceConnection& service, const std::string& command_name);

}  // namespace trevalo_cli

#endif
