// Reading members of a request body whatever JSON the client sent.
#ifndef TREVALO_REQUEST_H
#define TREVALO_REQUEST_H

#include <json/value.h>

namespace trevalo_request {

// The member `name` of `body`, or null when it is absent or `body` is not an object (jsoncpp's
// own operator[] throws on arrays and scalars).
inline const Json::Value& Member(const Json::Value& body, const char* name) {
    static const Json::Value kNull;
    if (!body.isObject()) return kNull;
    const Json::Value* found = body.find(name, name + std::char_traits<char>::length(name));
    return found != nullptr ? *found : kNull;
}

// "a string", "an object", ... for error lines about a member of the wrong kind.
inline const char* KindName(const Json::Value& value) {
    switch (value.type()) {
        case Json::nullValue:
            return "null";
        case Json::intValue:
            return "a signed integer";
        case Json::uintValue:
            return "an unsigned integer";
        case Json::realValue:
            return "a real number";
        case Json::stringValue:
            return "a string";
        case Json::booleanValue:
            return "a boolean";
        case Json::arrayValue:
            return "an array";
        case Json::objectValue:
            return "an object";
    }
    return "of unknown kind";
}

}  // namespace trevalo_request

#endif
