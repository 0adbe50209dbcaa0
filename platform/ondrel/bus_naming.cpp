#include "bus_naming.h"

namespace Ondrel {
namespace bus {
namespace {

std::string Sanitized(const std::string& server_name) {
    std::string element = server_name;
    for (char& c : element) {
        const bool allowed =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        if (!allowed) c = '_';
    }
    // A bus-name element may not be empty nor start with a digit.
    if (element.empty() || (element[0] >= '0' && element[0] <= '9')) element.insert(0, "_");
    return element;
}

}  // namespace

std::string WellKnownName(const std::string& server_name) {
    return std::string(kInterface) + "." + Sanitized(server_name);
}

std::string ObjectPath(const std::string& server_name) {
    return "/org/ondrel/TCServer/" + Sanitized(server_name);
}

}  // namespace bus
}  // namespace Ondrel
