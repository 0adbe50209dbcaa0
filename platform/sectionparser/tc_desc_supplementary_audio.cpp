#include "TCDescSupplementaryAudio.h"
#include "language_code.h"

ELanguageCode TCDescSupplementaryAudio::Iso639LangCode() const {
    return HasLanguageCode() ? sectionparser::ReadLanguageCode(Payload() + 2) : LANGUAGE_CODE_NONE;
}
