#include "trevalo/printable_text.h"

#include <cstdio>

namespace trevalo_text {

std::string PrintableText(const std::string& bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
            text += static_cast<char>(byte);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
            text += escaped;
        }
    }
    return text;
}

}  // namespace trevalo_text
