// Reading members of a request body whatever JSON the client sent.
#ifndef TREVALO_REQUEST_H
#define TREVALO_REQUEST_H

#include <json/value.h>

#include <string>

namespace trevalo_request {

// The member `name` of `body`, or null when it is absent or `body` is not an object (jsoncpp's
// own operator[] throws on arrays and scalars).
inline const Json::Value& Member(const Json::Value& body, const char* name) {
    static const Json::Value kNull;
    if (!body.isObject()) return kNull;
    const Json::Value* found = body.find(name, name + std::char_traits<char>::length(name));
    return found != nullptr ? *found : kNull;
}

// jsoncpp's conversions (asBool, asInt, asUInt, asString) without their exceptions: each
// stores what the conversion gives and returns true where it converts `value` (null, booleans and
// numbers in range; a fraction truncated toward zero), and returns false where it would throw (a
// string for the numeric ones, an array, an object, a number out of range).
inline bool Convert(const Json::Value& value, bool& out) {
    if (!value.isConvertibleTo(Json::booleanValue)) return false;
    out = value.asBool();
    return true;
}

inline bool Convert(const Json::Value& value, int& out) {
    if (!value.isConvertibleTo(Json::intValue)) return false;
    out = value.asInt();
    return true;
}

inline bool Convert(const Json::Value& value, unsigned int& out) {
    if (!value.isConvertibleTo(Json::uintValue)) return false;
    out = value.asUInt();
    return true;
}

inline bool Convert(const Json::Value& value, std::string& out) {
    if (!value.isConvertibleTo(Json::stringValue)) return false;
    out = value.asString();
    return true;
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
