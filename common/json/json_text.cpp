#include "trevalo/json_text.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <memory>
#include <sstream>

namespace trevalo_json {

namespace {

std::unique_ptr<Json::CharReader> MakeReader(int nesting_limit) {
    Json::CharReaderBuilder builder;
    builder["allowComments"] = false;
    builder["failIfExtra"] = true;
    builder["allowSpecialFloats"] = false;
    builder["allowSingleQuotes"] = false;
    builder["stackLimit"] = nesting_limit;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

// jsoncpp writes "* Line 1, Column 11\n  Syntax error: ...\n" per error: make the first one
// line, "Line 1, Column 11: Syntax error: ...".
std::string OneLine(const std::string& errors) {
    std::string line;
    for (char c : errors) {
        if (c == '*') {
            if (line.empty()) continue;
            break;  // the errors after the first follow from it
        }
        if (c == '\n') {
            if (!line.empty() && line.back() != ' ' && line.back() != ':') line.append(": ");
            continue;
        }
        if (c == ' ' && (line.empty() || line.back() == ' ')) continue;
        line.push_back(c);
    }
    while (!line.empty() && (line.back() == ' ' || line.back() == ':')) line.pop_back();
    return line;
}

}  // namespace

bool Parse(const char* text, size_t length, Json::Value& value, std::string* error,
           int nesting_limit) {
    // The reader of the usual limit is built once per thread: the framework parses on the main
    // loop's thread, and so does each client.
    static thread_local const std::unique_ptr<Json::CharReader> usual_reader =
        MakeReader(kDefaultNestingLimit);
    std::unique_ptr<Json::CharReader> other_reader;
    Json::CharReader* reader = usual_reader.get();
    if (nesting_limit != kDefaultNestingLimit) {
        other_reader = MakeReader(nesting_limit);
        reader = other_reader.get();
    }
    std::string errors;
    Json::Value parsed;
    bool parsed_ok = false;
    try {
        parsed_ok = reader->parse(text, text + length, &parsed, &errors);
    } catch (const Json::Exception&) {
        // Nesting beyond the stack limit is reported by throwing, not by a false result; an
        // exception must not cross the bus library's C callbacks.
        errors = "nested more deeply than " + std::to_string(nesting_limit) + " levels";
    }
    if (!parsed_ok) {
        if (error != nullptr) *error = OneLine(errors);
        return false;
    }
    value.swap(parsed);
    return true;
}

bool Parse(const std::string& text, Json::Value& value, std::string* error, int nesting_limit) {
    return Parse(text.data(), text.size(), value, error, nesting_limit);
}

namespace {

// Appends `text` quoted, when jsoncpp (characters outside ASCII escaped) would write it the same
// way: printable ASCII as it is, the quote, the backslash and the five control characters with
// short escapes. False at any other byte; the caller then lets jsoncpp write the whole value.
bool AppendQuoted(const char* text, size_t length, std::string& out) {
    out.push_back('"');
    for (const char* end = text + length; text != end; ++text) {
        const auto c = static_cast<unsigned char>(*text);
        if (c >= 0x20 && c <= 0x7F && c != '"' && c != '\\') {
            out.push_back(static_cast<char>(c));
            continue;
        }
        switch (c) {
            case '"':
                out.append("\\\"");
                break;
            case '\\':
                out.append("\\\\");
                break;
            case '\b':
                out.append("\\b");
                break;
            case '\f':
                out.append("\\f");
                break;
            case '\n':
                out.append("\\n");
                break;
            case '\r':
                out.append("\\r");
                break;
            case '\t':
                out.append("\\t");
                break;
            default:
                return false;  // \u escapes and characters outside ASCII: jsoncpp's own rules
        }
    }
    out.push_back('"');
    return true;
}

bool HasComment(const Json::Value& value) {
    return value.hasComment(Json::commentBefore) ||
           value.hasComment(Json::commentAfterOnSameLine) || value.hasComment(Json::commentAfter);
}

// Appends the compact text of `value` exactly as the jsoncpp writer below would produce it, for
// the values requests and replies are made of. False, `out` then holding a part, at a real
// number, a comment, or a string AppendQuoted declines.
bool AppendCompact(const Json::Value& value, std::string& out) {
    if (HasComment(value)) return false;
    switch (value.type()) {
        case Json::nullValue:
            out.append("null");
            return true;
        case Json::intValue:
            out.append(std::to_string(value.asLargestInt()));
            return true;
        case Json::uintValue:
            out.append(std::to_string(value.asLargestUInt()));
            return true;
        case Json::booleanValue:
            out.append(value.asBool() ? "true" : "false");
            return true;
        case Json::stringValue: {
            const char* begin = nullptr;
            const char* end = nullptr;
            value.getString(&begin, &end);
            return AppendQuoted(begin, static_cast<size_t>(end - begin), out);
        }
        case Json::arrayValue: {
            out.push_back('[');
            const Json::ArrayIndex size = value.size();
            for (Json::ArrayIndex index = 0; index < size; ++index) {
                if (index > 0) out.push_back(',');
                if (!AppendCompact(value[index], out)) return false;
            }
            out.push_back(']');
            return true;
        }
        case Json::objectValue: {
            out.push_back('{');
            bool first = true;
            for (auto member = value.begin(); member != value.end(); ++member) {
                if (!first) out.push_back(',');
                first = false;
                const char* name_end = nullptr;
                const char* name = member.memberName(&name_end);
                if (!AppendQuoted(name, static_cast<size_t>(name_end - name), out)) return false;
                out.push_back(':');
                if (!AppendCompact(*member, out)) return false;
            }
            out.push_back('}');
            return true;
        }
        case Json::realValue:
            return false;  // jsoncpp's own number formatting
    }
    return false;
}

}  // namespace

std::string WriteCompact(const Json::Value& value) {
    std::string text;
    text.reserve(128);
    if (AppendCompact(value, text)) return text;

    // The general case, and the reference for the fast path above.
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

std::string WriteStyled(const Json::Value& value, const char* indentation) {
    static thread_local const std::unique_ptr<Json::StreamWriter> tab_writer(
        Json::StreamWriterBuilder().newStreamWriter());
    std::unique_ptr<Json::StreamWriter> other_writer;
    Json::StreamWriter* writer = tab_writer.get();
    if (std::string(indentation) != "\t") {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = indentation;
        other_writer.reset(builder.newStreamWriter());
        writer = other_writer.get();
    }
    std::ostringstream text;
    writer->write(value, &text);
    text << '\n';
    return text.str();
}

}  // namespace trevalo_json
