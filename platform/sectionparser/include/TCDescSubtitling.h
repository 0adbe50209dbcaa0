#ifndef SECTIONPARSER_TCDESCSUBTITLING_H
#define SECTIONPARSER_TCDESCSUBTITLING_H

#include <cstdint>

#include "ELanguageCode.h"
#include "TCDescriptor.h"
#include "trevalo/mpeg_constants.h"

// subtitling_descriptor (tag 0x59, ETSI EN 300 468): entries of 8 bytes, each an
// ISO_639_language_code, a subtitling_type, a composition_page_id and an ancillary_page_id.
//
// For an index outside 0..NumOfSubtitling()-1 the entry accessors answer 0 (LANGUAGE_CODE_NONE).
class TCDescSubtitling : public TCDescriptor {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kSubtitling;
    static constexpr int kEntrySize = 8;

    using TCDescriptor::TCDescriptor;

    // Number of whole entries (0 to 31).
    uint8_t NumOfSubtitling() const { return static_cast<uint8_t>(Length() / kEntrySize); }

    ELanguageCode Iso639LangCode(int index) const;
    uint8_t SubtitlingType(int index) const;
    uint16_t CompositionPageId(int index) const;
    uint16_t AncillaryPageId(int index) const;

    bool IsWellFormed() const override { return Length() % kEntrySize == 0; }

  private:
    const unsigned char* Entry(int index) const;
};

#endif
