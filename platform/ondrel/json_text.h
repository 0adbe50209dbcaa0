// JSON bodies as they travel on the bus: parsed strictly, written compactly.
#ifndef ONDREL_JSON_TEXT_H
#define ONDREL_JSON_TEXT_H

#include <json/value.h>

#include <string>

namespace Ondrel {
namespace json_text {

// Parses one JSON value (any kind, no comments, nothing after it, nesting bounded).
bool Parse(const char* text, size_t length, Json::Value& value, std::string* error);

// One line of compact JSON; characters outside ASCII are escaped, so the text is valid UTF-8
// whatever bytes the strings hold.
std::string WriteCompact(const Json::Value& value);

}  // namespace json_text
}  // namespace Ondrel

#endif
