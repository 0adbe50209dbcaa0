// The framework's names on D-Bus: the interface every server offers, its method and error, and how
// a server's name becomes its bus name and object path. A service's own contract takes these
// from here rather than spelling them again.
#ifndef ONDREL_TC_BUS_NAMES_H
#define ONDREL_TC_BUS_NAMES_H

// As literals too, so that a service can spell its names at compile time:
// ONDREL_TC_WELL_KNOWN_NAME("radio") is "org.ondrel.TCServer.radio". They equal what
// WellKnownName and ObjectPath give only for a name that needs no mending (IsBusNameElement).
#define ONDREL_TC_INTERFACE "org.ondrel.TCServer"
#define ONDREL_TC_WELL_KNOWN_NAME(server) ONDREL_TC_INTERFACE "." server
#define ONDREL_TC_OBJECT_PATH(server) "/org/ondrel/TCServer/" server

namespace Ondrel {
namespace bus {

constexpr const char kInterface[] = ONDREL_TC_INTERFACE;
constexpr const char kRequestMethod[] = "Request";  // (s body, ay buffer) -> (s body, ay buffer)
constexpr const char kInvalidMessageError[] = ONDREL_TC_INTERFACE ".Error.InvalidMessage";
constexpr const char kFailedError[] = ONDREL_TC_INTERFACE ".Error.Failed";
// The standard interface through which typed interfaces announce their properties' new values.
constexpr const char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";
constexpr const char kPropertiesChanged[] = "PropertiesChanged";

constexpr bool IsBusNameCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// Whether a server name is already a bus-name element: not empty, not starting with a digit,
// only [A-Za-z0-9_].
constexpr bool IsBusNameElement(const char* name) {
    if (*name == '\0' || (*name >= '0' && *name <= '9')) return false;
    for (; *name != '\0'; ++name) {
        if (!IsBusNameCharacter(*name)) return false;
    }
    return true;
}

}  // namespace bus
}  // namespace Ondrel

#endif
