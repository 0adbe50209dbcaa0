#include "bus_choice.h"

#include <cstdlib>
#include <cstring>

namespace Ondrel {
namespace bus {
namespace {

bool IsSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

sd_bus* OpenAddress(const std::string& address, int& result) {
    sd_bus* bus = nullptr;
    result = sd_bus_new(&bus);
    if (result < 0) return nullptr;
    result = sd_bus_set_address(bus, address.c_str());
    if (result >= 0) result = sd_bus_set_bus_client(bus, 1);
    if (result >= 0) result = sd_bus_start(bus);
    if (result < 0) {
        sd_bus_unref(bus);
        return nullptr;
    }
    return bus;
}

sd_bus* Reached(sd_bus* bus, int result, const std::string& which, std::string* error) {
    if (result >= 0) return bus;
    if (error != nullptr) *error = "cannot connect to " + which + ": " + std::strerror(-result);
    return nullptr;
}

}  // namespace

sd_bus* OpenSession(std::string* error) {
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_user(&bus);
    return Reached(bus, result, "the session bus", error);
}

sd_bus* OpenSystem(std::string* error) {
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_system(&bus);
    return Reached(bus, result, "the system bus", error);
}

sd_bus* Open(const std::string& address, std::string* error) {
    sd_bus* bus = nullptr;
    int result = 0;
    std::string which;
    if (!address.empty()) {
        bus = OpenAddress(address, result);
        which = "the bus at " + address;
    } else if (IsSet("DBUS_STARTER_ADDRESS") || IsSet("DBUS_STARTER_BUS_TYPE")) {
        // The library's own rule for an activated program: the bus of DBUS_STARTER_BUS_TYPE,
        // or the one at DBUS_STARTER_ADDRESS when the type names neither.
        result = sd_bus_open(&bus);
        which = "the bus that started this program (DBUS_STARTER_ADDRESS)";
    } else if (IsSet("DBUS_SESSION_BUS_ADDRESS")) {
        result = sd_bus_open_user(&bus);
        which = std::string("the session bus at ") + std::getenv("DBUS_SESSION_BUS_ADDRESS") +
                " (DBUS_SESSION_BUS_ADDRESS)";
    } else {
        result = sd_bus_open_system(&bus);
        which = "the system bus (DBUS_SESSION_BUS_ADDRESS is not set)";
    }
    return Reached(bus, result, which, error);
}

}  // namespace bus
}  // namespace Ondrel
