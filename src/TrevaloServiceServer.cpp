// The TrevaloServiceServer class: the component catalogue, the PMT path that rebuilds it (intake,
// routing of each elementary stream by type, the descriptor scan, the video and audio records, the
// private PES streams), the queries on the catalogue, the playing-time store, and the lookups
// asked of the TV-service library.
#include "TrevaloServiceServer.h"

#include <Ecore.h>

#include <cmath>
#include <cstring>

#include "Ondrel/TCServer.h"
#include "TCPMTParser.h"
#include "TVServiceAPI.h"
#include "TrevaloCatalogueInterface.h"
#include "TrevaloLog.h"
#include "TrevaloRequest.h"
#include "system_info.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"
#include "trevalo/language_code.h"
#include "trevalo/mpeg_constants.h"

using Ondrel::TCMessage;
using trevalo_mpeg::LanguageString;
using trevalo_request::Convert;
using trevalo_request::KindName;
using trevalo_request::Member;
namespace member = trevalo_bus::member;
namespace stream_type = trevalo_mpeg::stream_type;
namespace teletext_type = trevalo_mpeg::teletext_type;

ComponentList<AudioComponent>* TrevaloServiceServer::audList = nullptr;
ComponentList<VideoComponent>* TrevaloServiceServer::vidList = nullptr;
ComponentList<SbtComponent>* TrevaloServiceServer::sbtList = nullptr;
uint16_t TrevaloServiceServer::m_ProgramNumber = 0;
int TrevaloServiceServer::m_PmtVersion = -1;
TCPMTParser* TrevaloServiceServer::m_pParser = nullptr;
uint32_t TrevaloServiceServer::m_CurrentVideoPlayingTime = 0;
double TrevaloServiceServer::m_TimeTicker = 0.0;

namespace {

constexpr uint8_t kNoComponentTag = TCDescStreamIdentifier::kNoComponentTag;

const char* YesNo(bool value) {
    return value ? "yes" : "no";
}

// The audio being played carries audio description, or spoken subtitles.
bool IsDescribed(const TSAudio& audio) {
    return audio.IsAudioDescription() || audio.IsSpokenSubtitles();
}

}  // namespace

// ---- The catalogue ----

namespace {

template <typename Component>
void ReleaseList(ComponentList<Component>*& list) {
    delete list;
    list = nullptr;
}

}  // namespace

void TrevaloServiceServer::InitTrevaloServiceServer() {
    vidList = new ComponentList<VideoComponent>();
    audList = new ComponentList<AudioComponent>();
    sbtList = new ComponentList<SbtComponent>();
    m_ProgramNumber = 0;
    m_PmtVersion = -1;
}

void TrevaloServiceServer::FiniTrevaloServiceServer() {
    ReleaseList(vidList);
    ReleaseList(audList);
    ReleaseList(sbtList);
}

void TrevaloServiceServer::ClearCatalogue() {
    vidList->clear();
    audList->clear();
    sbtList->clear();
}

// ---- PMT intake: the section, the programme, and each elementary stream routed by type ----

namespace {

// The request's "reset" and "programNum" (inside "data"), read as asBool and asInt read them: a
// missing member is false or 0, a number is a flag (non-zero: true), a fraction is truncated.
// False with an error text where those conversions would throw.
bool ReadPmtRequest(const TCMessage& request, bool& reset, unsigned short& program_number,
                    std::string& error) {
    const Json::Value& data = Member(request.body, member::kData);
    if (!data.isObject() && !data.isNull()) {
        error = std::string("\"data\" is ") + KindName(data) + ", not an object";
        return false;
    }
    const Json::Value& reset_value = Member(data, member::kReset);
    if (!Convert(reset_value, reset)) {
        error = std::string("\"reset\" is ") + KindName(reset_value) + ", not a boolean";
        return false;
    }
    const Json::Value& program_value = Member(data, member::kProgramNum);
    int program = 0;
    if (!Convert(program_value, program)) {
        error = std::string("\"programNum\" is ") + KindName(program_value) +
                ", not a number within the signed 32-bit range";
        return false;
    }
    // Only the low 16 bits count.
    program_number = static_cast<unsigned short>(program);
    return true;
}

}  // namespace

void TrevaloServiceServer::ParsePMT(const TCMessage& request, TCMessage& reply) {
    bool reset = false;
    unsigned short program_number = 0;
    std::string error;
    if (!ReadPmtRequest(request, reset, program_number, error)) {
        TREVALO_LOGE("SendPMTData refused: %s", error.c_str());
        reply.body[member::kReturnData] = Json::Value(1);
        TREVALO_LOGI("Data parsing is done!");
        return;
    }
    unsigned char* section = nullptr;
    request.GetBuffer(section);

    if (m_pParser == nullptr) {
        m_pParser = new TCPMTParser(TVSHandle{1, 0, 0});
        m_pParser->Initialize();
    }
    if (reset) {
        TREVALO_LOGI("reset parser");
        m_pParser->Reset();
    }
    m_pParser->Parse(0, section);

    TCPMTInstance* instance = m_pParser->PMTInstance(program_number);
    if (instance == nullptr) {
        reply.body[member::kReturnData] = Json::Value(1);
        TREVALO_LOGE("failed to get instance");
    } else if (!instance->IsValid()) {
        TREVALO_LOGI("given section is not valid");
        reply.body[member::kReturnData] = Json::Value(1);
    } else {
        TREVALO_LOGI("given section is valid");
        ClearCatalogue();
        const int streams = instance->NumOfElementary();
        TREVALO_LOGI("Number of elementary streams %d", streams);
        for (int index = 0; index < streams; ++index) m_ProcessComponents(instance, index);
        reply.body[member::kReturnData] = Json::Value(0);
        m_ProgramNumber = program_number;
        m_PmtVersion = instance->VersionNumber();
        AnnounceCatalogueChanges();
    }
    TREVALO_LOGI("Data parsing is done!");
}

void TrevaloServiceServer::m_ProcessComponents(TCPMTInstance* instance, int index) {
    TREVALO_LOGI("index=%d", index);
    TCPMTElementary* es = (m_pParser != nullptr && instance != nullptr)
                              ? instance->PMTElementary(static_cast<unsigned int>(index))
                              : nullptr;
    if (es == nullptr) {
        TREVALO_LOGE("NULL Pointer");
        return;
    }
    const unsigned char type = es->StreamType();
    if (type == stream_type::kPrivateSections) {
        TREVALO_LOGI("Stream type is PMT_STREAM_TYPE_PRIVATE");
        return;
    }
    // Preset for every stream, so that none sees a code left from an earlier one.
    int video_encoding = -1;
    int audio_encoding = -1;
    switch (type) {
        case stream_type::kMpeg1Video:
        case stream_type::kMpeg2Video:
        case stream_type::kAvcVideo:
        case stream_type::kUserPrivateVideo:
            GetAndFillVideoList(es, video_encoding);
            break;
        case stream_type::kMpeg1Audio:
        case stream_type::kMpeg2Audio:
        case stream_type::kAacAdts:
        case stream_type::kAacLatm:
        case stream_type::kAc3Audio:
        case stream_type::kEnhancedAc3Audio:
            TREVALO_LOGI("Audio stream type %d on pid %d", static_cast<int>(type),
                         static_cast<int>(es->ElementaryPID()));
            GetAndFillAudioList(es, audio_encoding);
            break;
        case stream_type::kPrivatePes:
            ProcessPrivatePESAndFillAudio(es, audio_encoding);
            break;
        default:
            TREVALO_LOGI("ProcessComponents::Neither Audio/Video");
            break;
    }
}

// ---- The descriptor scan of a video or audio stream ----

namespace {

// Folds the descriptor at `position` of the stream's ES_info loop into the running values: the
// component tag, the CA system id and encrypted flag, and the language. Later descriptors
// overwrite what earlier ones set.
void Update_Pmt_Info(TCPMTElementary* es, int position, unsigned char& comp_tag,
                     unsigned short& ca_system_id, bool& encrypted, std::string& lang) {
    TCDescriptor* descriptor = es->Descriptor(position);
    if (descriptor == nullptr) return;
    const int tag = descriptor->Tag();
    if (tag == TCDescLanguage::kTag) {
        const auto* language = static_cast<TCDescLanguage*>(descriptor);
        if (language->NumOfLanguage() == 0) return;
        TSAudio audio;
        if (TrevaloServiceServer::GetAudioInfo(audio) != 0) {
            TREVALO_LOGE("GetAudioInfo fails");
            return;
        }
        ELanguageCode code = LANGUAGE_CODE_NONE;
        EAudioType type = AUDIO_TYPE_UNDEFINED;
        language->Language(0, &code, &type);
        lang = LanguageString(code);
        TREVALO_LOGI("ISO 639 Language, %s audio desc %s", lang.c_str(),
                     IsDescribed(audio) ? "true" : "false");
    } else if (tag == TCDescStreamIdentifier::kTag) {
        comp_tag = static_cast<TCDescStreamIdentifier*>(descriptor)->ComponentTag();
        TREVALO_LOGI("Stream ID, component tag %d", static_cast<int>(comp_tag));
    } else if (tag == TCDescCA::kTag) {
        ca_system_id = static_cast<TCDescCA*>(descriptor)->CASystemID();
        encrypted = true;
        TREVALO_LOGI("AUDIO/VIDEO CA Decription, System ID = %d", static_cast<int>(ca_system_id));
    } else {
        TREVALO_LOGI("Audio/Video stream contains descriptor tag %d", tag);
    }
}

}  // namespace

// ---- Video and audio records ----

void TrevaloServiceServer::GetAndFillVideoList(TCPMTElementary* es, int& encoding) {
    const unsigned char type = es->StreamType();
    TREVALO_LOGI("Video stream type %d on pid %d", static_cast<int>(type),
                 static_cast<int>(es->ElementaryPID()));
    // MPEG-2 video keeps the -1 it came with.
    if (type == stream_type::kUserPrivateVideo || type == stream_type::kMpeg1Video) {
        encoding = 0;
    } else if (type == stream_type::kAvcVideo) {
        encoding = 1;
    }

    unsigned char comp_tag = kNoComponentTag;
    unsigned short ca_system_id = 0;
    bool encrypted = false;
    std::string lang = "zzz";
    const int descriptors = es->NumOfDescriptor();
    for (int position = 0; position < descriptors; ++position) {
        Update_Pmt_Info(es, position, comp_tag, ca_system_id, encrypted, lang);
    }
    TREVALO_LOGI(
        "Video stream component being added==> num_ofdescs:%d compt tag:%d encrypted:%s "
        "videoencoding=%d",
        es->NumOfDescriptor(), static_cast<int>(comp_tag), YesNo(encrypted), encoding);

    vidList->emplace_back(
        new VideoComponent{es->ElementaryPID(), encoding, encrypted, ca_system_id, comp_tag, 100});
}

void TrevaloServiceServer::GetAndFillAudioList(TCPMTElementary* es, int& encoding) {
    switch (es->StreamType()) {
        case stream_type::kMpeg2Audio:
        case stream_type::kMpeg1Audio:
            encoding = 2;
            break;
        case stream_type::kAacAdts:
            encoding = 3;
            break;
        case stream_type::kAc3Audio:
            encoding = 0;
            break;
        case stream_type::kAacLatm:
            encoding = 4;
            break;
        case stream_type::kEnhancedAc3Audio:
            encoding = 5;
            break;
        default:
            break;
    }

    std::string lang = "zzz";
    unsigned short ca_system_id = 0;
    bool encrypted = false;
    unsigned char comp_tag = kNoComponentTag;
    const int descriptors = es->NumOfDescriptor();
    for (int position = 0; position < descriptors; ++position) {
        Update_Pmt_Info(es, position, comp_tag, ca_system_id, encrypted, lang);
    }
    TREVALO_LOGI(
        "Audio stream component being added==> num_ofdescs:%d comp tag:%d encypted:%s "
        "audioencoding:%d",
        es->NumOfDescriptor(), static_cast<int>(comp_tag), YesNo(encrypted), encoding);

    audList->emplace_back(
        new AudioComponent{es->ElementaryPID(), encoding, encrypted, comp_tag, lang, 2, false,
                           ReadAudioSignals(*es, AudioTypeEntry::kFirstOfLast, 0)});
}

// ---- Private PES streams (stream type 0x06) ----
// DVB subtitles and teletext go to the subtitle list; AC-3 and Enhanced AC-3 signalled by
// descriptors get an audio record each.

namespace {

constexpr int kAc3Encoding = 0;
constexpr int kEnhancedAc3Encoding = 5;

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
                    if (type != teletext_type::kSubtitlePage &&
                        type != teletext_type::kHearingImpairedSubtitlePage) {
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
                        new SbtComponent{es->ElementaryPID(), false, comp_tag, lang, false, true,
                                         type, teletext->TeletextMagazineNumber(entry),
                                         teletext->TeletextPageNumber(entry), 0, 0});
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
                    sbtList->emplace_back(new SbtComponent{
                        es->ElementaryPID(), false, comp_tag, lang, false, false,
                        subtitling->SubtitlingType(entry), 0, 0,
                        subtitling->CompositionPageId(entry), subtitling->AncillaryPageId(entry)});
                }
                break;
            }

            case TCDescAC3::kTag:
                encoding = kAc3Encoding;
                TREVALO_LOGI("PRIVATE PES AC3 Descriptor on pid %d", pid);
                GetAudioAndSetAudioList(es, comp_tag, encoding);
                break;

            case TCDescEnhancedAC3::kTag:
                encoding = kEnhancedAc3Encoding;
                TREVALO_LOGI("PRIVATE PES Enhanced AC3 Descriptor on pid %d", pid);
                GetAudioAndSetAudioList(es, comp_tag, encoding);
                break;

            default:
                break;
        }
    }
}

void TrevaloServiceServer::updateCompTag(unsigned char& comp_tag, TCPMTElementary* es) {
    TREVALO_LOGI("comp_tag not acquired Yet!");
    if (es->NumOfDescriptorByTag(TCDescStreamIdentifier::kTag) == 0) {
        TREVALO_LOGI("Stream Identifier NOT FOUND!");
        return;
    }
    TREVALO_LOGI("FOUND Stream Identifier!");
    const auto* identifier =
        static_cast<TCDescStreamIdentifier*>(es->DescriptorByTag(TCDescStreamIdentifier::kTag, 0));
    if (identifier != nullptr) comp_tag = identifier->ComponentTag();
    TREVALO_LOGI("component tag %d", static_cast<int>(comp_tag));
}

// The audio record of an AC-3 or Enhanced AC-3 descriptor, with the language of the stream's
// language descriptors.
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
        es->NumOfDescriptor(), static_cast<int>(comp_tag), YesNo(encrypted), encoding);

    const int ac3_tag = encoding == kAc3Encoding ? TCDescAC3::kTag : TCDescEnhancedAC3::kTag;
    audList->emplace_back(
        new AudioComponent{es->ElementaryPID(), encoding, encrypted, comp_tag, lang, 2, described,
                           ReadAudioSignals(*es, AudioTypeEntry::kLastOfAll, ac3_tag)});
}

// ---- Catalogue queries: list sizes, entries by index, the whole catalogue, PID by tag ----

namespace {

// The entry index in "data", as asUInt reads it (missing: 0, 1.5: 1). False when "data" is of
// a kind asUInt throws on: a negative number, a string, an array, an object.
bool ReadIndex(const TCMessage& request, unsigned int& index) {
    return Convert(Member(request.body, member::kData), index);
}

// The first record of `list` carrying `tag`, or null.
template <typename Component>
const Component* FirstWithTag(const ComponentList<Component>& list, uint8_t tag) {
    for (const auto& component : list) {
        if (component->comp_tag == tag) return component.get();
    }
    return nullptr;
}

// The entry objects of the entry queries, one member per record field. "GetCatalogue" answers
// the very same objects, so the two ways of reading the catalogue cannot disagree.
Json::Value EntryObject(const AudioComponent& audio) {
    Json::Value entry;
    entry[member::kPid] = Json::Value(static_cast<int>(audio.pid));
    entry[member::kEncoding] = Json::Value(static_cast<int>(audio.encoding));
    entry[member::kEncrypted] = Json::Value(audio.encrypted);
    entry[member::kCompTag] = Json::Value(static_cast<int>(audio.comp_tag));
    entry[member::kLang] = Json::Value(audio.lang);
    entry[member::kAudioChannels] = Json::Value(static_cast<int>(audio.audio_channels));
    entry[member::kAudioDesc] = Json::Value(audio.audio_desc);
    return entry;
}

Json::Value EntryObject(const VideoComponent& video) {
    Json::Value entry;
    entry[member::kPid] = Json::Value(static_cast<int>(video.pid));
    entry[member::kEncoding] = Json::Value(static_cast<int>(video.encoding));
    entry[member::kEncrypted] = Json::Value(video.encrypted);
    entry[member::kCompTag] = Json::Value(static_cast<int>(video.comp_tag));
    entry[member::kCaSid] = Json::Value(static_cast<int>(video.ca_sid));
    entry[member::kAspectRatio] = Json::Value(static_cast<int>(video.aspect_ratio));
    return entry;
}

Json::Value EntryObject(const SbtComponent& subtitle) {
    Json::Value entry;
    entry[member::kPid] = Json::Value(static_cast<int>(subtitle.pid));
    entry[member::kEncrypted] = Json::Value(subtitle.encrypted);
    entry[member::kCompTag] = Json::Value(static_cast<int>(subtitle.comp_tag));
    entry[member::kLang] = Json::Value(subtitle.lang);
    entry[member::kHearingImpaired] = Json::Value(subtitle.hearing_impaired);
    return entry;
}

template <typename Component>
Json::Value EntryArray(const ComponentList<Component>& list) {
    Json::Value entries(Json::arrayValue);
    for (const auto& component : list) entries.append(EntryObject(*component));
    return entries;
}

// The answer of an entry query: the entry as Json::Value::toStyledString writes it.
void AnswerEntry(TCMessage& reply, const Json::Value& entry) {
    reply.body[member::kCallApiSuccess] = Json::Value(true);
    reply.body[member::kReturnData] = Json::Value(trevalo_json::WriteStyled(entry));
}

}  // namespace

void TrevaloServiceServer::SizeOfAudio(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Size of Audio is %d", static_cast<int>(audList->size()));
    reply.body[member::kReturnData] = Json::Value(static_cast<unsigned int>(audList->size()));
}

void TrevaloServiceServer::SizeOfVideo(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Size of Video is %d", static_cast<int>(vidList->size()));
    reply.body[member::kReturnData] = Json::Value(static_cast<unsigned int>(vidList->size()));
}

void TrevaloServiceServer::SizeOfSubtitle(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Size of Subtitle is %d", static_cast<int>(sbtList->size()));
    reply.body[member::kReturnData] = Json::Value(static_cast<unsigned int>(sbtList->size()));
}

void TrevaloServiceServer::GetAudio(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get Audio");
    unsigned int index = 0;
    if (!ReadIndex(request, index)) {
        TREVALO_LOGE("invalid index: \"data\" is %s",
                     KindName(Member(request.body, member::kData)));
        return;
    }
    TREVALO_LOGI("Received index is %d", static_cast<int>(index));
    if (index >= audList->size()) {
        TREVALO_LOGE("invalid index");
        return;
    }
    AnswerEntry(reply, EntryObject(*(*audList)[index]));
}

void TrevaloServiceServer::GetVideo(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get Video");
    unsigned int index = 0;
    if (!ReadIndex(request, index)) {
        TREVALO_LOGE("invalid index: \"data\" is %s",
                     KindName(Member(request.body, member::kData)));
        return;
    }
    TREVALO_LOGI("Received index is %d", static_cast<int>(index));
    if (index >= vidList->size()) {
        TREVALO_LOGE("invalid index");
        return;
    }
    AnswerEntry(reply, EntryObject(*(*vidList)[index]));
}

void TrevaloServiceServer::GetSubtitle(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get Subtitle");
    unsigned int index = 0;
    if (!ReadIndex(request, index)) {
        TREVALO_LOGE("invalid index: \"data\" is %s",
                     KindName(Member(request.body, member::kData)));
        return;
    }
    TREVALO_LOGI("Received index is %d", static_cast<int>(index));
    if (index >= sbtList->size()) {
        TREVALO_LOGE("invalid index");
        return;
    }
    const SbtComponent& subtitle = *(*sbtList)[index];
    TREVALO_LOGE("Get Subtitle of index %d are %d %d %d %s %d", static_cast<int>(index),
                 static_cast<int>(subtitle.pid), subtitle.encrypted ? 1 : 0,
                 static_cast<int>(subtitle.comp_tag), subtitle.lang.c_str(),
                 subtitle.hearing_impaired ? 1 : 0);
    AnswerEntry(reply, EntryObject(subtitle));
    TREVALO_LOGI("Get Subtitle");
}

void TrevaloServiceServer::GetCatalogue(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Get Catalogue: %d video, %d audio, %d subtitle",
                 static_cast<int>(vidList->size()), static_cast<int>(audList->size()),
                 static_cast<int>(sbtList->size()));
    Json::Value catalogue(Json::objectValue);
    catalogue[member::kVideo] = EntryArray(*vidList);
    catalogue[member::kAudio] = EntryArray(*audList);
    catalogue[member::kSubtitle] = EntryArray(*sbtList);
    reply.body[member::kReturnData] = catalogue;
    reply.body[member::kCallApiSuccess] = Json::Value(true);
}

void TrevaloServiceServer::GetPID(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get PID for input component tag");
    const Json::Value& data = Member(request.body, member::kData);
    int pid = 0;
    int requested_tag = 0;
    if (!Convert(data, requested_tag)) {
        TREVALO_LOGE("invalid component tag: \"data\" is %s", KindName(data));
    } else {
        // Only the low 8 bits count: 256 searches for tag 0 and -1 for tag 255.
        const auto tag = static_cast<uint8_t>(requested_tag);
        TREVALO_LOGI("compTag=%d", static_cast<int>(tag));
        if (const AudioComponent* audio = FirstWithTag(*audList, tag)) {
            pid = audio->pid;
            TREVALO_LOGI("Found the Audio PID %d", pid);
        } else if (const SbtComponent* subtitle = FirstWithTag(*sbtList, tag)) {
            pid = subtitle->pid;
            TREVALO_LOGI("Found the Subtitle PID %d", pid);
        } else if (const VideoComponent* video = FirstWithTag(*vidList, tag)) {
            pid = video->pid;
            TREVALO_LOGI("Found the Video PID %d", pid);
        }
    }
    reply.body[member::kReturnData] = Json::Value(pid);
    TREVALO_LOGI("Got the PID,returning to trevalo-api");
}

// ---- The playing-time store ----
// The client's last reported time, extrapolated on the monotonic clock and less the platform's
// subtitle delay.

namespace {

constexpr unsigned int kTimeBytes = 4;

// Milliseconds elapsed, truncated toward zero and taken modulo 2^32. Within the signed 32-bit
// range this is the plain truncation; beyond it (over 24.8 days without a save) the count wraps
// like the playing time it is added to, instead of being undefined.
uint32_t ElapsedMilliseconds(double seconds) {
    const double milliseconds = std::trunc(seconds * 1000.0);
    if (!std::isfinite(milliseconds)) return 0;
    constexpr double kWrap = 4294967296.0;
    double wrapped = std::fmod(milliseconds, kWrap);
    if (wrapped < 0) wrapped += kWrap;
    return static_cast<uint32_t>(wrapped);
}

}  // namespace

void TrevaloServiceServer::SaveCurrentVideoPlayingTimeAtTrevaloService(const TCMessage& request,
                                                                       TCMessage& reply) {
    TREVALO_LOGI("");
    unsigned char* bytes = nullptr;
    const unsigned int length = request.GetBuffer(bytes);
    if (length < kTimeBytes) {
        TREVALO_LOGE("the playing time needs %u bytes, the buffer holds %u: time not saved",
                     kTimeBytes, length);
    } else {
        uint32_t time = 0;
        std::memcpy(&time, bytes, kTimeBytes);  // host byte order
        TREVALO_LOGI(" SERVER: SAVED currentVideotime= %lu", static_cast<unsigned long>(time));
        m_CurrentVideoPlayingTime = time;
        m_TimeTicker = ecore_time_get();
    }
    reply.body[member::kReturnData] = Json::Value(0);
}

void TrevaloServiceServer::GetCurrentVideoPlayingTimeFromTrevaloService(const TCMessage&,
                                                                        TCMessage& reply) {
    int delay = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_SUBTITLE_DELAY_ADJUSTMENT, &delay) != 0) {
        delay = 0;
        TREVALO_LOGE("failed to get subtitle delay time");
    } else {
        TREVALO_LOGI("subtitleDelayAdjustment value is %d", delay);
    }

    const uint32_t elapsed = ElapsedMilliseconds(ecore_time_get() - m_TimeTicker);
    const uint32_t total = elapsed + m_CurrentVideoPlayingTime;  // wraps modulo 2^32
    const auto unsigned_delay = static_cast<uint32_t>(delay);
    // A delay larger than the total (a negative setting among them) is not applied.
    const uint32_t answer = total >= unsigned_delay ? total - unsigned_delay : total;
    TREVALO_LOGI(" SERVER: SAVED currentVideotime= %lu timeTickerDiff=%lu",
                 static_cast<unsigned long>(answer), static_cast<unsigned long>(total));

    reply.body[member::kReturnData] = Json::Value(0);
    unsigned char bytes[kTimeBytes];
    std::memcpy(bytes, &answer, kTimeBytes);
    reply.SetBuffer(bytes, kTimeBytes);
}

// ---- TV-service lookups: the tuned service and the audio being played ----

namespace {

constexpr EProfile kProfile = PROFILE_MAIN;
constexpr int kDeviceIndex = 0;
constexpr ENavigationMode kNavigationMode = NAVIGATION_MODE_CURRENT;
constexpr unsigned long long kAllOnes = ~0ULL;

}  // namespace

bool TrevaloServiceServer::get_service_id(unsigned long long& id) {
    TSTvMode tv_mode;
    IServiceNavigation* navigation = nullptr;
    TVServiceAPI::CreateServiceNavigation(kProfile, kDeviceIndex, &navigation);
    if (navigation == nullptr || navigation->GetTvMode(&tv_mode) < 1) {
        TREVALO_LOGE("GetTvMode failed");
        return false;
    }
    TREVALO_LOGI("TV mode is %d", static_cast<int>(tv_mode.mode[0]));

    TCCriteriaHelper criteria;
    if (!TCNavigationModeHelper::GetNavigationCriteria(tv_mode, kNavigationMode, criteria,
                                                       kAllOnes)) {
        TREVALO_LOGE("Get navigation criteria failed");
        return false;
    }
    criteria.Fetch(SERVICE_ATTRIBUTE_SERVICE_ID);

    TCServiceData service_data;
    if (navigation->GetCurrentServiceInfo(tv_mode, criteria, &service_data) < 1) {
        TREVALO_LOGE("getcurrentserviceinfor failed");
        return false;
    }
    // A service whose data holds no id is reported with all bits set.
    const TCServiceAttributeStore* store = service_data.AttributeStore();
    const TCServiceAttribute* attribute =
        store != nullptr ? store->Find(SERVICE_ATTRIBUTE_SERVICE_ID) : nullptr;
    id = attribute != nullptr ? attribute->GetUInt64() : kAllOnes;
    TREVALO_LOGI("service id is %llu", id);
    return true;
}

int TrevaloServiceServer::GetAudioInfo(TSAudio& audio) {
    IAVControl* av_control = nullptr;
    if (TVServiceAPI::CreateAVControl(kProfile, kDeviceIndex, &av_control) != 0 ||
        av_control == nullptr) {
        TREVALO_LOGE("TVServiceAPI::CreateAVControl fails");
        return -1;
    }
    int language_code = 0;
    int current_index = -1;
    if (av_control->GetCurrentAudioInfo(&language_code, &current_index) == 0) {
        TREVALO_LOGE("GetCurrentAudioInfo fails");
        return -1;
    }
    TREVALO_LOGI("languageCode : %d, currentIndex : %d", language_code, current_index);

    unsigned long long service_id = 0;
    if (!get_service_id(service_id)) {
        TREVALO_LOGE("GetCurrentServiceId fails");
        return -1;
    }
    TREVALO_LOGI("serviceId %llu", service_id);

    // A missing auxiliary object counts as a failed audio query.
    IServiceDataAux* service_data_aux = TVServiceAPI::ServiceDataAux(kProfile, kDeviceIndex);
    if (service_data_aux != nullptr &&
        service_data_aux->GetAudio(service_id, current_index, audio) == 1) {
        TREVALO_LOGI("SUCCESS");
        return 0;
    }
    TREVALO_LOGE("get audio fails");
    return -1;
}
