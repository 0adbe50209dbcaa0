// Waiting for the service to come onto the bus, without ever starting it: for the commands that
// listen to its signals, and for a follower whose service went away.
#ifndef TREVALO_CLI_SERVICE_WAIT_H
#define TREVALO_CLI_SERVICE_WAIT_H

#include <string>

#include "service_connection.h"

namespace trevalo_cli {

// Follows who owns the service's bus name (NameOwnerChanged) until someone does; no call goes
// to the name meanwhile, so a stopped or disabled service stays as it is. While nobody owns it,
// says once on stderr ("trevalo-cli: COMMAND: waiting for ..."). Returns false when SIGINT or
// SIGTERM came first (it catches them from now on, see interruption.h); throws BusLostError
// when the bus goes. Signals subscribed to before the call are followed from the owner found.
bool WaitForService(ServiceConnection& service, const std::string& command_name);

}  // namespace trevalo_cli

#endif
