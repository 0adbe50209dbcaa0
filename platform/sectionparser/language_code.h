#ifndef SECTIONPARSER_LANGUAGE_CODE_H
#define SECTIONPARSER_LANGUAGE_CODE_H

#include "ELanguageCode.h"

namespace sectionparser {

// The ISO_639_language_code whose three bytes start at `bytes`.
inline ELanguageCode ReadLanguageCode(const unsigned char* bytes) {
    return PackLanguageCode(bytes[0], bytes[1], bytes[2]);
}

}  // namespace sectionparser

#endif
