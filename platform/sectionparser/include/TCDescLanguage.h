#ifndef SECTIONPARSER_TCDESCLANGUAGE_H
#define SECTIONPARSER_TCDESCLANGUAGE_H

#include <cstdint>

#include "EAudioType.h"
#include "ELanguageCode.h"
#include "TCDescriptor.h"
#include "trevalo/mpeg_constants.h"

// ISO_639_language_descriptor (tag 0x0A, ISO/IEC 13818-1): entries of 4 bytes, each a 3-byte
// ISO_639_language_code and an audio_type.
class TCDescLanguage : public TCDescriptor {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kIso639Language;
    static constexpr int kEntrySize = 4;

    using TCDescriptor::TCDescriptor;

    // Number of whole entries (0 to 63).
    int16_t NumOfLanguage() const { return static_cast<int16_t>(Length() / kEntrySize); }

    // Fills `code` and `type` (either may be null) with the entry at `index` and returns true.
    // For an index outside 0..NumOfLanguage()-1 it writes LANGUAGE_CODE_NONE and
    // AUDIO_TYPE_UNDEFINED and returns false.
    bool Language(int index, ELanguageCode* code, EAudioType* type) const;

    bool IsWellFormed() const override { return Length() % kEntrySize == 0; }
};

#endif
