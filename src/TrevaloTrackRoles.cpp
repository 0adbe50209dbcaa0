#include "TrevaloTrackRoles.h"

#include "TCPMTParser.h"
#include "trevalo/language_code.h"
#include "trevalo/mpeg_constants.h"

namespace {

using trevalo_mpeg::LanguageString;

uint8_t ReadAudioType(const TCPMTElementary& es, AudioTypeEntry which) {
    uint8_t audio_type = 0;
    const int descriptors = es.NumOfDescriptorByTag(TCDescLanguage::kTag);
    for (int i = 0; i < descriptors; ++i) {
        const auto* language =
            static_cast<const TCDescLanguage*>(es.DescriptorByTag(TCDescLanguage::kTag, i));
        const int entries = language != nullptr ? language->NumOfLanguage() : 0;
        if (entries == 0) continue;
        EAudioType type = AUDIO_TYPE_UNDEFINED;
        language->Language(which == AudioTypeEntry::kFirstOfLast ? 0 : entries - 1, nullptr, &type);
        audio_type = type;
    }
    return audio_type;
}

void ReadComponentType(const TCPMTElementary& es, int ac3_tag, AudioSignals& signals) {
    if (ac3_tag == 0) return;
    const int descriptors = es.NumOfDescriptorByTag(ac3_tag);
    for (int i = 0; i < descriptors; ++i) {
        const auto* audio = static_cast<const TCDescAC3Audio*>(es.DescriptorByTag(ac3_tag, i));
        if (audio == nullptr || !audio->HasComponentType()) continue;
        signals.has_component_type = true;
        signals.component_type = audio->ComponentType();
        return;
    }
}

void ReadSupplementary(const TCPMTElementary& es, AudioSignals& signals) {
    const int descriptors = es.NumOfDescriptorByTag(TCDescExtension::kTag);
    for (int i = 0; i < descriptors; ++i) {
        const auto* extension =
            static_cast<const TCDescExtension*>(es.DescriptorByTag(TCDescExtension::kTag, i));
        if (extension == nullptr ||
            extension->TagExtension() != TCDescSupplementaryAudio::kTagExtension) {
            continue;
        }
        const auto* supplementary = static_cast<const TCDescSupplementaryAudio*>(extension);
        if (!supplementary->HasFixedPart()) continue;
        signals.has_supplementary = true;
        signals.mix_type = supplementary->MixType();
        signals.editorial_classification = supplementary->EditorialClassification();
        if (supplementary->HasLanguageCode()) {
            signals.supplementary_language = LanguageString(supplementary->Iso639LangCode());
        }
        return;
    }
}

// The role an editorial_classification names; null for reserved and user-defined values, which
// leave the role to the weaker signals.
const char* EditorialRole(uint8_t classification) {
    switch (classification) {
        case EDITORIAL_MAIN_AUDIO:
            return "main";
        case EDITORIAL_AUDIO_DESCRIPTION:
            return "audio-description";
        case EDITORIAL_CLEAN_AUDIO:
            return "clean-audio";
        case EDITORIAL_SPOKEN_SUBTITLES:
            return "spoken-subtitles";
        case EDITORIAL_UNSPECIFIED_SUPPLEMENTARY:
            return "supplementary";
        default:
            return nullptr;
    }
}

const char* ServiceTypeRole(uint8_t component_type) {
    const bool full_service = (component_type & 0x40) != 0;
    switch ((component_type >> 3) & 0x07) {
        case AC3_SERVICE_COMPLETE_MAIN:
            return "main";
        case AC3_SERVICE_MUSIC_AND_EFFECTS:
            return "music-and-effects";
        case AC3_SERVICE_VISUALLY_IMPAIRED:
            return "audio-description";
        case AC3_SERVICE_HEARING_IMPAIRED:
            return "clean-audio";
        case AC3_SERVICE_DIALOGUE:
            return "dialogue";
        case AC3_SERVICE_COMMENTARY:
            return "commentary";
        case AC3_SERVICE_EMERGENCY:
            return "emergency";
        default:
            return full_service ? "karaoke" : "voiceover";
    }
}

const char* AudioTypeRole(uint8_t audio_type) {
    switch (audio_type) {
        case AUDIO_TYPE_CLEAN_EFFECTS:  // no language: effects only
            return "music-and-effects";
        case AUDIO_TYPE_HEARING_IMPAIRED:
            return "clean-audio";
        case AUDIO_TYPE_VISUAL_IMPAIRED_COMMENTARY:
            return "audio-description";
        default:  // undefined, reserved, user private
            return "main";
    }
}

}  // namespace

AudioSignals ReadAudioSignals(const TCPMTElementary& es, AudioTypeEntry entry, int ac3_tag) {
    AudioSignals signals;
    signals.audio_type = ReadAudioType(es, entry);
    ReadComponentType(es, ac3_tag, signals);
    ReadSupplementary(es, signals);
    return signals;
}

std::string AudioRole(const AudioSignals& signals) {
    if (signals.has_supplementary) {
        if (const char* role = EditorialRole(signals.editorial_classification)) return role;
    }
    if (signals.has_component_type) return ServiceTypeRole(signals.component_type);
    return AudioTypeRole(signals.audio_type);
}

std::string AudioChannels(const AudioSignals& signals) {
    if (!signals.has_component_type) return "";
    switch (signals.component_type & 0x07) {
        case AC3_CHANNELS_MONO:
            return "mono";
        case AC3_CHANNELS_DUAL_MONO:
            return "dual-mono";
        case AC3_CHANNELS_STEREO:
            return "stereo";
        case AC3_CHANNELS_SURROUND_STEREO:
            return "surround";
        case AC3_CHANNELS_MULTICHANNEL:
        case AC3_CHANNELS_MULTICHANNEL_OVER_5_1:
            return "multichannel";
        default:  // independent substreams, reserved: the count is not given
            return "";
    }
}

std::string AudioMix(const AudioSignals& signals) {
    if (!signals.has_supplementary) return "";
    return signals.mix_type == TCDescSupplementaryAudio::kMixIndependent ? "broadcast" : "receiver";
}

std::string SpokenLanguage(const std::string& lang, const AudioSignals& signals) {
    return signals.supplementary_language.empty() ? lang : signals.supplementary_language;
}

bool HardOfHearing(bool teletext, uint8_t type) {
    if (teletext) return type == trevalo_mpeg::teletext_type::kHearingImpairedSubtitlePage;
    return type >= 0x20 && type <= 0x25;
}
