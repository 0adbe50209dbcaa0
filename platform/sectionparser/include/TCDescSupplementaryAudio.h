#ifndef SECTIONPARSER_TCDESCSUPPLEMENTARYAUDIO_H
#define SECTIONPARSER_TCDESCSUPPLEMENTARYAUDIO_H

#include <cstdint>

#include "ELanguageCode.h"
#include "TCDescExtension.h"

// editorial_classification of a supplementary audio descriptor (ETSI EN 300 468 Annex J); the
// values between are reserved, those from 0x18 user defined.
enum EEditorialClassification : uint8_t {
    EDITORIAL_MAIN_AUDIO = 0x00,
    EDITORIAL_AUDIO_DESCRIPTION = 0x01,  // for the visually impaired
    EDITORIAL_CLEAN_AUDIO = 0x02,        // for the hearing impaired
    EDITORIAL_SPOKEN_SUBTITLES = 0x03,   // for the visually impaired
    EDITORIAL_UNSPECIFIED_SUPPLEMENTARY = 0x17,
};

// supplementary_audio_descriptor (extension descriptor 0x7F, descriptor_tag_extension 0x06): after
// the tag extension a byte of mix_type (1 bit), editorial_classification (5 bits), a reserved bit
// and language_code_present (1 bit); then, when that flag is set, an ISO_639_language_code; then
// private bytes.
class TCDescSupplementaryAudio : public TCDescExtension {
  public:
    static constexpr int kTagExtension = trevalo_mpeg::extension_tag::kSupplementaryAudio;
    // mix_type: mixed by the receiver with the main audio, or complete on its own.
    static constexpr uint8_t kMixSupplementary = 0;
    static constexpr uint8_t kMixIndependent = 1;

    using TCDescExtension::TCDescExtension;

    // The byte after descriptor_tag_extension is there; with fewer bytes the fields below
    // answer 0 and false.
    bool HasFixedPart() const { return Length() >= 2; }
    uint8_t MixType() const { return static_cast<uint8_t>(FieldsByte() >> 7); }
    EEditorialClassification EditorialClassification() const {
        return static_cast<EEditorialClassification>((FieldsByte() >> 2) & 0x1F);
    }
    // language_code_present as sent, whether or not the code's bytes follow.
    bool LanguageCodePresent() const { return (FieldsByte() & 0x01) != 0; }
    // The flag is set and the three bytes of the code are there.
    bool HasLanguageCode() const { return LanguageCodePresent() && Length() >= 5; }
    // ISO_639_language_code; LANGUAGE_CODE_NONE when HasLanguageCode() is false.
    ELanguageCode Iso639LangCode() const;

    const unsigned char* PrivateData() const { return Payload() + PrivateDataOffset(); }
    int PrivateDataLength() const {
        return Length() > PrivateDataOffset() ? Length() - PrivateDataOffset() : 0;
    }

    bool IsWellFormed() const override {
        return HasFixedPart() && (!LanguageCodePresent() || HasLanguageCode());
    }

  private:
    uint8_t FieldsByte() const { return HasFixedPart() ? Payload()[1] : 0; }
    // A code cut short is not private data.
    int PrivateDataOffset() const { return LanguageCodePresent() ? 5 : 2; }
};

#endif
