#include "json_text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

namespace trevalo_cli {
namespace {

constexpr int kNestingLimit = 1000;

}  // namespace

bool ParseJson(const std::string& text, Json::Value& value, std::string* error) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = kNestingLimit;
    builder["strictRoot"] = false;  // a bare number or string is a value too ("--data 0")
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &errors)) return true;
    } catch (const Json::Exception& failure) {
        // jsoncpp reports nesting past its stack limit by throwing, not by a false result.
        errors = "nested more deeply than " + std::to_string(kNestingLimit) + " levels";
    }
    if (error != nullptr) {
        // jsoncpp's report spans lines ("* Line 1, Column 13\n  Syntax error: ..."): make it one.
        error->clear();
        for (const char c : errors) {
            if (c == '\n') {
                if (!error->empty() && error->back() != ' ') *error += ": ";
            } else if (c != '*' && !(c == ' ' && (error->empty() || error->back() == ' '))) {
                error->push_back(c);
            }
        }
        while (!error->empty() && (error->back() == ' ' || error->back() == ':')) error->pop_back();
    }
    return false;
}

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

std::string HexBytes(const unsigned char* bytes, size_t length) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        if (i != 0) text.push_back(' ');
        text.push_back(digits[bytes[i] >> 4]);
        text.push_back(digits[bytes[i] & 0x0F]);
    }
    return text;
}

}  // namespace trevalo_cli
