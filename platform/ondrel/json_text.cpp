#include "json_text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <sstream>

namespace Ondrel {
namespace json_text {

bool Parse(const char* text, size_t length, Json::Value& value, std::string* error) {
    // Built once: the framework parses on one thread (the main loop), and so does each client.
    static thread_local const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        builder["allowComments"] = false;
        builder["failIfExtra"] = true;
        builder["allowSpecialFloats"] = false;
        builder["allowSingleQuotes"] = false;
        builder["stackLimit"] = 256;
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    std::string errors;
    Json::Value parsed;
    if (!reader->parse(text, text + length, &parsed, &errors)) {
        if (error != nullptr) {
            // jsoncpp writes "* Line 1, Column 11\n  Syntax error: ...\n": make it one line.
            std::string line;
            for (char c : errors) {
                const bool blank = c == '\n' || c == ' ';
                if (blank && (line.empty() || line.back() == ' ')) continue;
                line.push_back(blank ? ' ' : c);
            }
            if (!line.empty() && line.back() == ' ') line.pop_back();
            *error = line;
        }
        return false;
    }
    value.swap(parsed);
    return true;
}

std::string WriteCompact(const Json::Value& value) {
    static thread_local const std::unique_ptr<Json::StreamWriter> writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = false;
        return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
    }();
    std::ostringstream out;
    writer->write(value, &out);
    return out.str();
}

}  // namespace json_text
}  // namespace Ondrel
