// JSON text as the service, its framework, its client and its tools read and write it: one set
// of parser settings, one error wording, and the writers whose output is the wire format.
#ifndef TREVALO_JSON_TEXT_H
#define TREVALO_JSON_TEXT_H

#include <json/value.h>

#include <cstddef>
#include <string>

namespace trevalo_json {

// Request bodies on the bus nest no deeper than this.
constexpr int kDefaultNestingLimit = 256;

// Parses one JSON value of any kind (no comments, nothing after it, at most `nesting_limit`
// levels deep). On failure returns false, leaves `value` alone and, when `error` is given, sets
// it to one line saying what is wrong and where.
bool Parse(const char* text, size_t length, Json::Value& value, std::string* error = nullptr,
           int nesting_limit = kDefaultNestingLimit);
bool Parse(const std::string& text, Json::Value& value, std::string* error = nullptr,
           int nesting_limit = kDefaultNestingLimit);

// One line of compact JSON, as jsoncpp writes it with no indentation; characters outside ASCII
// are escaped, so the text is valid UTF-8 whatever bytes the strings hold.
std::string WriteCompact(const Json::Value& value);

// Indented JSON ending in a newline, exactly as Json::Value::toStyledString writes it with the
// default tab indentation (the text of the entry queries' answers).
std::string WriteStyled(const Json::Value& value, const char* indentation = "\t");

}  // namespace trevalo_json

#endif
