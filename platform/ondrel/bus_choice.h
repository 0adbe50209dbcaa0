// Which bus a program joins, as D-Bus services choose: the bus that started it, else the session
// bus named in the environment, else the system bus.
#ifndef ONDREL_BUS_CHOICE_H
#define ONDREL_BUS_CHOICE_H

#include <systemd/sd-bus.h>

#include <string>

namespace Ondrel {
namespace bus {

// Opens a connection to the bus at `address`, or, when it is empty, to the activating bus
// (DBUS_STARTER_ADDRESS, with DBUS_STARTER_BUS_TYPE), else to the session bus named by
// DBUS_SESSION_BUS_ADDRESS, else to the system bus. Null with `error` naming the bus and the
// reason when it cannot be reached.
sd_bus* Open(const std::string& address, std::string* error);

// The session bus (DBUS_SESSION_BUS_ADDRESS, else the user's bus socket) and the system bus
// (DBUS_SYSTEM_BUS_ADDRESS, else its standard socket), as Open reports failures.
sd_bus* OpenSession(std::string* error);
sd_bus* OpenSystem(std::string* error);

}  // namespace bus
}  // namespace Ondrel

#endif
