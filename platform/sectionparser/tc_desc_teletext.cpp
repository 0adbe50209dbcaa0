#include "TCDescTeletext.h"
#include "language_code.h"

const unsigned char* TCDescTeletext::Entry(int index) const {
    if (index < 0 || index >= NumOfTeletext()) return nullptr;
    return Payload() + index * kEntrySize;
}

ELanguageCode TCDescTeletext::Iso639LangCode(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? sectionparser::ReadLanguageCode(entry) : LANGUAGE_CODE_NONE;
}

uint8_t TCDescTeletext::TeletextType(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? static_cast<uint8_t>(entry[3] >> 3) : 0;
}

uint8_t TCDescTeletext::TeletextMagazineNumber(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? static_cast<uint8_t>(entry[3] & 0x07) : 0;
}

uint8_t TCDescTeletext::TeletextPageNumber(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? entry[4] : 0;
}
