#include "message_variant.h"

#include "json_text.h"

namespace Ondrel {
namespace message_variant {

GVariant* ToVariant(const TCMessage& message) {
    const std::string text = json_text::WriteCompact(message.body);
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) return nullptr;
    unsigned char* bytes = nullptr;
    const unsigned int length = message.GetBuffer(bytes);
    GVariant* children[] = {g_variant_new_string(text.c_str()),
                            g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes, length, 1)};
    return g_variant_new_tuple(children, 2);
}

bool FromVariant(GVariant* tuple, TCMessage& message, std::string* error) {
    // The children taken directly: g_variant_get would parse a format string for each message.
    GVariant* text = g_variant_get_child_value(tuple, 0);
    GVariant* buffer = g_variant_get_child_value(tuple, 1);
    gsize text_length = 0;
    const gchar* body_text = g_variant_get_string(text, &text_length);
    Json::Value body;
    const bool parsed = json_text::Parse(body_text, text_length, body, error);
    g_variant_unref(text);
    if (parsed) {
        gsize length = 0;
        const auto* bytes =
            static_cast<const unsigned char*>(g_variant_get_fixed_array(buffer, &length, 1));
        message.body.swap(body);
        message.SetBuffer(bytes, static_cast<unsigned int>(length));
    }
    g_variant_unref(buffer);
    return parsed;
}

}  // namespace message_variant
}  // namespace Ondrel
