#include "TCDescSubtitling.h"
#include "language_code.h"

const unsigned char* TCDescSubtitling::Entry(int index) const {
    if (index < 0 || index >= NumOfSubtitling()) return nullptr;
    return Payload() + index * kEntrySize;
}

ELanguageCode TCDescSubtitling::Iso639LangCode(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? sectionparser::ReadLanguageCode(entry) : LANGUAGE_CODE_NONE;
}

uint8_t TCDescSubtitling::SubtitlingType(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? entry[3] : 0;
}

uint16_t TCDescSubtitling::CompositionPageId(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? static_cast<uint16_t>((entry[4] << 8) | entry[5]) : 0;
}

uint16_t TCDescSubtitling::AncillaryPageId(int index) const {
    const unsigned char* entry = Entry(index);
    return entry != nullptr ? static_cast<uint16_t>((entry[6] << 8) | entry[7]) : 0;
}
