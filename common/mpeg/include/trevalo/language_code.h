// ISO 639 language codes as text.
#ifndef TREVALO_LANGUAGE_CODE_H
#define TREVALO_LANGUAGE_CODE_H

#include <cstdint>
#include <string>

namespace trevalo_mpeg {

// The three bytes of a packed code (bits 23-16, 15-8, 7-0) as three characters, unchanged: no
// check that they are letters, no case change, a zero byte kept as a NUL character.
inline std::string LanguageString(uint32_t packed_code) {
    const char characters[3] = {static_cast<char>((packed_code >> 16) & 0xFF),
                                static_cast<char>((packed_code >> 8) & 0xFF),
                                static_cast<char>(packed_code & 0xFF)};
    return std::string(characters, 3);
}

}  // namespace trevalo_mpeg

#endif
