#include "hex_bytes.h"

namespace trevalo_cli {

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
