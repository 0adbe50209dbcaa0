#include "message_wire.h"

#include <cstring>

#include "trevalo/json_text.h"

namespace Ondrel {
namespace message_wire {

bool Append(sd_bus_message* wire, const TCMessage& message) {
    const std::string text = trevalo_json::WriteCompact(message.body);
    unsigned char* bytes = nullptr;
    const unsigned int length = message.GetBuffer(bytes);
    // sd-bus refuses a string that is not valid UTF-8 or holds a NUL.
    if (text.find('\0') != std::string::npos) return false;
    if (sd_bus_message_append_basic(wire, 's', text.c_str()) < 0) return false;
    return sd_bus_message_append_array(wire, 'y', bytes, length) >= 0;
}

bool ArgumentSizes(sd_bus_message* wire, size_t* body, size_t* buffer) {
    const char* text = nullptr;
    const void* bytes = nullptr;
    const bool arguments = sd_bus_message_read_basic(wire, 's', &text) > 0 &&
                           sd_bus_message_read_array(wire, 'y', &bytes, buffer) >= 0;
    sd_bus_message_rewind(wire, 1);
    if (arguments) *body = std::strlen(text);
    return arguments;
}

bool Read(sd_bus_message* wire, TCMessage& message, std::string* error) {
    const char* text = nullptr;
    const void* bytes = nullptr;
    size_t length = 0;
    if (sd_bus_message_read_basic(wire, 's', &text) <= 0 ||
        sd_bus_message_read_array(wire, 'y', &bytes, &length) < 0) {
        if (error != nullptr) *error = "the arguments are not (s ay)";
        return false;
    }
    Json::Value body;
    if (!trevalo_json::Parse(text, std::strlen(text), body, error)) return false;
    message.body.swap(body);
    message.SetBuffer(static_cast<const unsigned char*>(bytes), static_cast<unsigned int>(length));
    return true;
}

}  // namespace message_wire
}  // namespace Ondrel
