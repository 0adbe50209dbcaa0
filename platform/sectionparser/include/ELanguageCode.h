#ifndef SECTIONPARSER_ELANGUAGECODE_H
#define SECTIONPARSER_ELANGUAGECODE_H

#include <cstdint>

// An ISO 639-2 language code as three bytes packed into one integer: the first character in bits
// 23-16, the second in bits 15-8, the third in bits 7-0 ("eng" is 0x656E67). The bytes are those
// of the section, unchecked: a broadcast may carry upper case, digits or zero bytes.
enum ELanguageCode : uint32_t {
    LANGUAGE_CODE_NONE = 0,  // answered for an entry that does not exist
};

constexpr ELanguageCode PackLanguageCode(uint8_t first, uint8_t second, uint8_t third) {
    return static_cast<ELanguageCode>((uint32_t{first} << 16) | (uint32_t{second} << 8) |
                                      uint32_t{third});
}

#endif
