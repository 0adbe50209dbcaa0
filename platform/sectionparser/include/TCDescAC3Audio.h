#ifndef SECTIONPARSER_TCDESCAC3AUDIO_H
#define SECTIONPARSER_TCDESCAC3AUDIO_H

#include <cstdint>

#include "TCDescriptor.h"

// The service type of an AC-3 component_type, bits 5-3 (ETSI EN 300 468 Annex D).
enum EAC3ServiceType : uint8_t {
    AC3_SERVICE_COMPLETE_MAIN = 0,
    AC3_SERVICE_MUSIC_AND_EFFECTS = 1,
    AC3_SERVICE_VISUALLY_IMPAIRED = 2,
    AC3_SERVICE_HEARING_IMPAIRED = 3,
    AC3_SERVICE_DIALOGUE = 4,
    AC3_SERVICE_COMMENTARY = 5,
    AC3_SERVICE_EMERGENCY = 6,
    AC3_SERVICE_VOICEOVER_OR_KARAOKE = 7,  // voiceover, or karaoke when a full service
};

// The number of channels of an AC-3 component_type, bits 2-0.
enum EAC3Channels : uint8_t {
    AC3_CHANNELS_MONO = 0,
    AC3_CHANNELS_DUAL_MONO = 1,  // 1+1: two independent mono channels
    AC3_CHANNELS_STEREO = 2,
    AC3_CHANNELS_SURROUND_STEREO = 3,  // two channels, Dolby surround encoded
    AC3_CHANNELS_MULTICHANNEL = 4,     // more than two channels
    AC3_CHANNELS_MULTICHANNEL_OVER_5_1 = 5,
    AC3_CHANNELS_INDEPENDENT_SUBSTREAMS = 6,  // several programmes in independent substreams
    AC3_CHANNELS_RESERVED = 7,
};

// What the AC-3_descriptor (0x6A) and the enhanced_AC-3_descriptor (0x7A) share: a byte of
// flags whose first, component_type_flag, says whether component_type follows it. The other
// optional fields (bsid, mainid, asvc, substreams) are left raw (Payload()).
class TCDescAC3Audio : public TCDescriptor {
  public:
    using TCDescriptor::TCDescriptor;

    // component_type_flag is set and the byte after the flags is there.
    bool HasComponentType() const { return Length() >= 2 && (Payload()[0] & 0x80) != 0; }
    // component_type; 0 when HasComponentType() is false.
    uint8_t ComponentType() const { return HasComponentType() ? Payload()[1] : 0; }

    // The fields of component_type; each answers 0 when HasComponentType() is false.
    bool EnhancedAC3() const { return (ComponentType() & 0x80) != 0; }
    bool FullService() const { return (ComponentType() & 0x40) != 0; }
    EAC3ServiceType ServiceType() const {
        return static_cast<EAC3ServiceType>((ComponentType() >> 3) & 0x07);
    }
    EAC3Channels NumberOfChannels() const {
        return static_cast<EAC3Channels>(ComponentType() & 0x07);
    }

    // The flags byte is there, and so is component_type when its flag says so.
    bool IsWellFormed() const override {
        return Length() >= 1 && ((Payload()[0] & 0x80) == 0 || Length() >= 2);
    }
};

#endif
