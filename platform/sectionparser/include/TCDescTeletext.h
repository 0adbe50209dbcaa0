#ifndef SECTIONPARSER_TCDESCTELETEXT_H
#define SECTIONPARSER_TCDESCTELETEXT_H

#include <cstdint>

#include "ELanguageCode.h"
#include "TCDescriptor.h"
#include "trevalo/mpeg_constants.h"

// teletext_descriptor (tag 0x56, ETSI EN 300 468): entries of 5 bytes, each an
// ISO_639_language_code, then teletext_type (5 bits) and teletext_magazine_number (3 bits), then
// teletext_page_number.
//
// For an index outside 0..NumOfTeletext()-1 the entry accessors answer 0 (LANGUAGE_CODE_NONE);
// 0 is a reserved teletext_type, so no caller mistakes it for a page.
class TCDescTeletext : public TCDescriptor {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kTeletext;
    static constexpr int kEntrySize = 5;

    using TCDescriptor::TCDescriptor;

    // Number of whole entries (0 to 51).
    uint8_t NumOfTeletext() const { return static_cast<uint8_t>(Length() / kEntrySize); }

    ELanguageCode Iso639LangCode(int index) const;
    // trevalo_mpeg::teletext_type: 0x02 subtitle page, 0x05 subtitle page for the hard of hearing.
    uint8_t TeletextType(int index) const;
    uint8_t TeletextMagazineNumber(int index) const;  // 0 to 7
    uint8_t TeletextPageNumber(int index) const;

    bool IsWellFormed() const override { return Length() % kEntrySize == 0; }

  private:
    const unsigned char* Entry(int index) const;
};

#endif
