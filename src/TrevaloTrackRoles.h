// What the broadcast says each track is for: the signals an audio stream's descriptors carry
// (ISO 639 audio_type, the AC-3 and Enhanced AC-3 component_type, DVB's supplementary audio
// descriptor), and the role, channel layout, mix and spoken language named from them; whether a
// subtitle entry is for the hard of hearing.
#ifndef TREVALO_TRACK_ROLES_H
#define TREVALO_TRACK_ROLES_H

#include <cstdint>
#include <string>

class TCPMTElementary;

// The signals of one audio record, read beside its contract fields and never logged.
struct AudioSignals {
    uint8_t audio_type = 0;  // of the ISO 639 language entry the record's lang comes from
    bool has_component_type = false;
    uint8_t component_type = 0;  // AC-3 / Enhanced AC-3 component_type
    bool has_supplementary = false;
    uint8_t mix_type = 0;  // 1: complete and independent (mixed by the broadcaster)
    uint8_t editorial_classification = 0;
    std::string supplementary_language;  // three bytes; empty when the descriptor gives none
};

// Which ISO 639 entry gives a record its lang, and so its audio_type: the first entry of the last
// language descriptor with entries (streams of an audio stream type), or the last entry of all
// (AC-3 and Enhanced AC-3 in private PES streams).
enum class AudioTypeEntry { kFirstOfLast, kLastOfAll };

// The stream's signals; `ac3_tag` is the tag of the AC-3 or Enhanced AC-3 descriptor whose
// component_type counts (its first one that has it), 0 for none.
AudioSignals ReadAudioSignals(const TCPMTElementary& es, AudioTypeEntry entry, int ac3_tag);

// From the strongest signal the stream carries: the supplementary audio descriptor, then the
// AC-3 service type, then audio_type. "main", "audio-description", "clean-audio",
// "spoken-subtitles", "music-and-effects", "dialogue", "commentary", "emergency", "voiceover",
// "karaoke" or "supplementary".
std::string AudioRole(const AudioSignals& signals);
// From the AC-3 component_type: "mono", "dual-mono", "stereo", "surround", "multichannel", or ""
// when the stream does not say.
std::string AudioChannels(const AudioSignals& signals);
// "broadcast" or "receiver" from the supplementary audio descriptor's mix_type; "" without one.
std::string AudioMix(const AudioSignals& signals);
// The language the track is spoken in: the supplementary audio descriptor's, else `lang`.
std::string SpokenLanguage(const std::string& lang, const AudioSignals& signals);

// Subtitling types 0x20 to 0x25, and the teletext type 0x05.
bool HardOfHearing(bool teletext, uint8_t type);

#endif
