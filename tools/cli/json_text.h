// JSON and bytes as the client reads and prints them.
#ifndef TREVALO_CLI_JSON_TEXT_H
#define TREVALO_CLI_JSON_TEXT_H

#include <json/value.h>

#include <string>

namespace trevalo_cli {

// One JSON value of any kind, nothing after it; false with `error` set otherwise.
bool ParseJson(const std::string& text, Json::Value& value, std::string* error = nullptr);

// One line, no spaces.
std::string CompactJson(const Json::Value& value);

// "e8 03 00 00".
std::string HexBytes(const unsigned char* bytes, size_t length);

}  // namespace trevalo_cli

#endif
