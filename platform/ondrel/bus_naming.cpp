#include "bus_naming.h"

namespace Ondrel {
namespace bus {
namespace {

std::string Sanitized(const std::string& server_name) {
    std::string element = server_name;
    for (char& c : element) {
        if (!IsBusNameCharacter(c)) c = '_';
    }
    // A bus-name element may not be empty nor start with a digit.
    if (element.empty() || (element[0] >= '0' && element[0] <= '9')) element.insert(0, "_");
    return element;
}

}  // namespace

std::string WellKnownName(const std::string& server_name) {
    return ONDREL_TC_WELL_KNOWN_NAME("") + Sanitized(server_name);
}

std::string ObjectPath(const std::string& server_name) {
    return ONDREL_TC_OBJECT_PATH("") + Sanitized(server_name);
}

}  // namespace bus
}  // namespace Ondrel
