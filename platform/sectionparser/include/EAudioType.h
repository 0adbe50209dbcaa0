#ifndef SECTIONPARSER_EAUDIOTYPE_H
#define SECTIONPARSER_EAUDIOTYPE_H

#include <cstdint>

// The audio_type of an ISO 639 language descriptor entry (ISO/IEC 13818-1). Values from 0x04 up
// are reserved or user private and are handed over unchanged.
enum EAudioType : uint8_t {
    AUDIO_TYPE_UNDEFINED = 0x00,
    AUDIO_TYPE_CLEAN_EFFECTS = 0x01,
    AUDIO_TYPE_HEARING_IMPAIRED = 0x02,
    AUDIO_TYPE_VISUAL_IMPAIRED_COMMENTARY = 0x03,
};

#endif
