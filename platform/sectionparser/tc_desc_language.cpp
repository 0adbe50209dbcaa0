#include "TCDescLanguage.h"
#include "language_code.h"

bool TCDescLanguage::Language(int index, ELanguageCode* code, EAudioType* type) const {
    const bool exists = index >= 0 && index < NumOfLanguage();
    const unsigned char* entry = exists ? Payload() + index * kEntrySize : nullptr;
    if (code != nullptr) {
        *code = exists ? sectionparser::ReadLanguageCode(entry) : LANGUAGE_CODE_NONE;
    }
    if (type != nullptr) {
        *type = exists ? static_cast<EAudioType>(entry[3]) : AUDIO_TYPE_UNDEFINED;
    }
    return exists;
}
