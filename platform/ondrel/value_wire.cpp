#include "value_wire.h"

#include <string>

namespace Ondrel {
namespace value_wire {

int AppendValue(sd_bus_message* message, const TCValue& value) {
    switch (value.GetType()) {
        case TCValue::Type::kByte: {
            const auto byte = static_cast<uint8_t>(value.Number());
            return sd_bus_message_append_basic(message, 'y', &byte);
        }
        case TCValue::Type::kBoolean: {
            const int boolean = value.Number() != 0 ? 1 : 0;
            return sd_bus_message_append_basic(message, 'b', &boolean);
        }
        case TCValue::Type::kUInt16: {
            const auto number = static_cast<uint16_t>(value.Number());
            return sd_bus_message_append_basic(message, 'q', &number);
        }
        case TCValue::Type::kInt32: {
            const auto number = static_cast<int32_t>(value.Number());
            return sd_bus_message_append_basic(message, 'i', &number);
        }
        case TCValue::Type::kString:
            return sd_bus_message_append_basic(message, 's', value.Text().c_str());
        case TCValue::Type::kBytes:
            return sd_bus_message_append_array(message, 'y', value.ByteList().data(),
                                               value.ByteList().size());
        case TCValue::Type::kStrings: {
            int result = sd_bus_message_open_container(message, 'a', "s");
            for (const std::string& text : value.StringList()) {
                if (result >= 0) result = sd_bus_message_append_basic(message, 's', text.c_str());
            }
            return result >= 0 ? sd_bus_message_close_container(message) : result;
        }
        case TCValue::Type::kDictionary:
            return AppendDictionary(message, value.Members());
        case TCValue::Type::kDictionaries:
            break;
    }
    int result = sd_bus_message_open_container(message, 'a', "a{sv}");
    for (const TCValue::Dictionary& dictionary : value.DictionaryList()) {
        if (result >= 0) result = AppendDictionary(message, dictionary);
    }
    if (result >= 0) result = sd_bus_message_close_container(message);  // aa{sv}
    return result;
}

int AppendDictionary(sd_bus_message* message, const TCValue::Dictionary& dictionary) {
    int result = sd_bus_message_open_container(message, 'a', "{sv}");
    for (const TCDictEntry& entry : dictionary) {
        if (result >= 0) result = sd_bus_message_open_container(message, 'e', "sv");
        if (result >= 0) result = sd_bus_message_append_basic(message, 's', entry.name.c_str());
        if (result >= 0) {
            result = sd_bus_message_open_container(message, 'v', entry.value.Signature());
        }
        if (result >= 0) result = AppendValue(message, entry.value);
        if (result >= 0) result = sd_bus_message_close_container(message);  // v
        if (result >= 0) result = sd_bus_message_close_container(message);  // e
    }
    if (result >= 0) result = sd_bus_message_close_container(message);  // a{sv}
    return result;
}

}  // namespace value_wire
}  // namespace Ondrel
