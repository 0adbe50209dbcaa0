// How a server name maps onto D-Bus names: shared by the server and the client side.
#ifndef ONDREL_BUS_NAMING_H
#define ONDREL_BUS_NAMING_H

#include <string>

#include "Ondrel/TCBusNames.h"

namespace Ondrel {
namespace bus {

// "org.ondrel.TCServer.<name>", with characters outside [A-Za-z0-9_] replaced by '_'.
std::string WellKnownName(const std::string& server_name);

// "/org/ondrel/TCServer/<name>", with the same replacement.
std::string ObjectPath(const std::string& server_name);

}  // namespace bus
}  // namespace Ondrel

#endif
