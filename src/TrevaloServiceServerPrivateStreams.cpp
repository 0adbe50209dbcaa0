// Private PES streams (stream type 0x06): DVB subtitles and teletext go to the subtitle list;
// AC-3 and Enhanced AC-3 signalled by descriptors get an audio record each.
#include "TCPMTParser.h"
#include "TVServiceAPI.h"
#include "TrevaloLanguageCode.h"
#include "TrevaloServiceServer.h"
#include "TrevaloServiceServerLog.h"

namespace {

constexpr uint8_t kNoComponentTag = 0xFF;
constexpr int kAc3DescriptorTag = 0x6A;
constexpr int kEnhancedAc3DescriptorTag = 0x7A;
constexpr int kAc3Encoding = 0;
constexpr int kEnhancedAc3Encoding = 5;
constexpr uint8_t kTeletextSubtitlePage = 0x02;
constexpr uint8_t kTeletextSubtitlePageHardOfHearing = 0x05;

// The audio being played carries audio description, or spoken subtitles.
bool IsDescribed(const TSAudio& audio) {
    return audio.IsAudioDescription() || audio.IsSpokenSubtitles();
}

}  // namespace

void TrevaloServiceServer::ProcessPrivatePESAndFillAudio(TCPMTElementary* es, int& encoding) {
    // The component tag of this stream, once a stream identifier descriptor has given it.
    unsigned char comp_tag = kNoComponentTag;
    const int descriptors = es->NumOfDescriptor();
    if (descriptors <= 0) return;
    const int pid = es->ElementaryPID();

    for (int position = 0; position < descriptors; ++position) {
        TCDescriptor* descriptor = es->Descriptor(position);
        if (descriptor == nullptr) continue;
        switch (descriptor->Tag()) {
            case TCDescStreamIdentifier::kTag:
                comp_tag = static_cast<TCDescStreamIdentifier*>(descriptor)->ComponentTag();
                TREVALO_LOGI("PRIVATE PES Stream ID, component tag %d", static_cast<int>(comp_tag));
                break;

            case TCDescTeletext::kTag: {
                TREVALO_LOGI("PRIVATE PES Teletext Descriptor on pid %d", pid);
                const auto* teletext = static_cast<TCDescTeletext*>(descriptor);
                const int entries = teletext->NumOfTeletext();
                for (int entry = 0; entry < entries; ++entry) {
                    const uint8_t type = teletext->TeletextType(entry);
                    if (type != kTeletextSubtitlePage &&
                        type != kTeletextSubtitlePageHardOfHearing) {
                        TREVALO_LOGI("Not Teletext Type: 0x2 or 0x5..continuing LOOP");
                        continue;
                    }
                    const std::string lang = LanguageString(teletext->Iso639LangCode(entry));
                    TREVALO_LOGI("Teletext ISO 639 Language, %s", lang.c_str());
                    if (comp_tag == kNoComponentTag) updateCompTag(comp_tag, es);
                    TREVALO_LOGI(
                        "Teletext stream component being added==> num_ofdescs:%d comp tag:%d",
                        entries, static_cast<int>(comp_tag));
                    sbtList->emplace_back(
                        new SbtComponent{es->ElementaryPID(), false, comp_tag, lang, false});
                }
                break;
            }

            case TCDescSubtitling::kTag: {
                TREVALO_LOGI("PRIVATE PES Subtile Descriptor type on pid %d", pid);
                const auto* subtitling = static_cast<TCDescSubtitling*>(descriptor);
                const int entries = subtitling->NumOfSubtitling();
                for (int entry = 0; entry < entries; ++entry) {
                    const std::string lang = LanguageString(subtitling->Iso639LangCode(entry));
                    TREVALO_LOGI("Subtitle ISO 639 Language, %s", lang.c_str());
                    if (comp_tag == kNoComponentTag) updateCompTag(comp_tag, es);
                    TREVALO_LOGI(
                        "Subtitle stream component being added==> num_ofdescs:%d comp tag:%d",
                        entries, static_cast<int>(comp_tag));
                    sbtList->emplace_back(
                        new SbtComponent{es->ElementaryPID(), false, comp_tag, lang, false});
                }
                break;
            }

            case kAc3DescriptorTag:
                encoding = kAc3Encoding;
                TREVALO_LOGI("PRIVATE PES AC3 Descriptor on pid %d", pid);
                GetAudioAndSetAudioList(es, comp_tag, encoding);
                break;

            case kEnhancedAc3DescriptorTag:
                encoding = kEnhancedAc3Encoding;
                TREVALO_LOGI("PRIVATE PES Enhanced AC3 Descriptor on pid %d", pid);
                GetAudioAndSetAudioList(es, comp_tag, encoding);
                break;

            default:
                break;
        }
    }
}

void TrevaloServiceServer::GetAudioAndSetAudioList(TCPMTElementary* es, unsigned char& comp_tag,
                                                   int encoding) {
    std::string lang = "zzzz";
    const int language_descriptors = es->NumOfDescriptorByTag(TCDescLanguage::kTag);
    TSAudio audio;
    if (GetAudioInfo(audio) != 0) {
        TREVALO_LOGE("GetAudioInfo fails");
        return;
    }
    const bool described = IsDescribed(audio);
    TREVALO_LOGI("Number of Language Descriptors :%d", language_descriptors);
    // Every entry of every language descriptor replaces the language: the last one read wins.
    for (int i = 0; i < language_descriptors; ++i) {
        const auto* language =
            static_cast<TCDescLanguage*>(es->DescriptorByTag(TCDescLanguage::kTag, i));
        const int entries = language != nullptr ? language->NumOfLanguage() : 0;
        TREVALO_LOGI("Loop [%d] of Lang Descriptor, num_of_langDescs:%d", i, language_descriptors);
        for (int j = 0; j < entries; ++j) {
            ELanguageCode code = LANGUAGE_CODE_NONE;
            EAudioType type = AUDIO_TYPE_UNDEFINED;
            language->Language(j, &code, &type);
            TREVALO_LOGI("Loop [%d] of LangsInDescriptor %d", i, language_descriptors);
            lang = LanguageString(code);
            TREVALO_LOGI("ISO 639 Language, %s audio desc %s", lang.c_str(),
                         described ? "true" : "false");
        }
    }

    if (comp_tag == kNoComponentTag) updateCompTag(comp_tag, es);

    // Only the first CA descriptor is looked at.
    bool encrypted = false;
    if (es->NumOfDescriptorByTag(TCDescCA::kTag) != 0) {
        const auto* ca = static_cast<TCDescCA*>(es->DescriptorByTag(TCDescCA::kTag, 0));
        if (ca != nullptr) {
            TREVALO_LOGI("AUDIO CA Decription in Enhanced AC3 for ES Loop, System ID = %d",
                         static_cast<int>(ca->CASystemID()));
            encrypted = true;
        }
    }
    TREVALO_LOGI(
        "Audio stream component Enhanced AC3 being added==> num_ofdescs:%d comp tag:%d "
        "encrypted:%s audioencoding:%d",
        es->NumOfDescriptor(), static_cast<int>(comp_tag), encrypted ? "yes" : "no", encoding);

    audList->emplace_back(new AudioComponent{es->ElementaryPID(), encoding, encrypted, comp_tag,
                                             lang, 2, IsDescribed(audio)});
}
