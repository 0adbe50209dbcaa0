// The component catalogue and the PMT path that rebuilds it: intake of the section, routing of
// each elementary stream by type, the descriptor scan, and the video and audio records.
#include "TrevaloServiceServer.h"

#include "Ondrel/TCServer.h"
#include "TCPMTParser.h"
#include "TVServiceAPI.h"
#include "TrevaloLanguageCode.h"
#include "TrevaloRequest.h"
#include "TrevaloServiceServerLog.h"
#include "trevalo/bus_contract.h"

using Ondrel::TCMessage;
using trevalo_request::Convert;
using trevalo_request::KindName;
using trevalo_request::Member;

ComponentList<AudioComponent>* TrevaloServiceServer::audList = nullptr;
ComponentList<VideoComponent>* TrevaloServiceServer::vidList = nullptr;
ComponentList<SbtComponent>* TrevaloServiceServer::sbtList = nullptr;
TCPMTParser* TrevaloServiceServer::m_pParser = nullptr;
uint32_t TrevaloServiceServer::m_CurrentVideoPlayingTime = 0;
double TrevaloServiceServer::m_TimeTicker = 0.0;

namespace {

// Stream types of ISO/IEC 13818-1 (0x80 and up: user private, as ATSC uses them).
enum StreamType : unsigned char {
    kMpeg1Video = 0x01,
    kMpeg2Video = 0x02,
    kMpeg1Audio = 0x03,
    kMpeg2Audio = 0x04,
    kPrivateSections = 0x05,
    kPrivatePes = 0x06,
    kAacAdts = 0x0F,
    kAacLatm = 0x11,
    kAvcVideo = 0x1B,
    kUserPrivateVideo = 0x80,
    kAtscAc3 = 0x81,
    kAtscEnhancedAc3 = 0x87,
};

constexpr uint8_t kNoComponentTag = 0xFF;

// Tells every listener that the catalogue was rebuilt, and of which programme: the signal
// "CatalogueChanged" from the server TrevaloService registers, with the list sizes.
void AnnounceCatalogue(unsigned short program_number) {
    Json::Value body(Json::objectValue);
    body["programNum"] = Json::Value(static_cast<int>(program_number));
    body["video"] = Json::Value(static_cast<unsigned int>(TrevaloServiceServer::vidList->size()));
    body["audio"] = Json::Value(static_cast<unsigned int>(TrevaloServiceServer::audList->size()));
    body["subtitle"] =
        Json::Value(static_cast<unsigned int>(TrevaloServiceServer::sbtList->size()));
    const TCMessage signal(body);
    Ondrel::TCServer::SendSignal(trevalo_bus::kServerName, trevalo_bus::kCatalogueChanged, &signal);
}

template <typename Component>
void ReleaseList(ComponentList<Component>*& list) {
    delete list;
    list = nullptr;
}

const char* YesNo(bool value) {
    return value ? "yes" : "no";
}

// The request's "reset" and "programNum" (inside "data"), read as asBool and asInt read them: a
// missing member is false or 0, a number is a flag (non-zero: true), a fraction is truncated.
// False with an error text where those conversions would throw.
bool ReadPmtRequest(const TCMessage& request, bool& reset, unsigned short& program_number,
                    std::string& error) {
    const Json::Value& data = Member(request.body, "data");
    if (!data.isObject() && !data.isNull()) {
        error = std::string("\"data\" is ") + KindName(data) + ", not an object";
        return false;
    }
    const Json::Value& reset_value = Member(data, "reset");
    if (!Convert(reset_value, reset)) {
        error = std::string("\"reset\" is ") + KindName(reset_value) + ", not a boolean";
        return false;
    }
    const Json::Value& program_value = Member(data, "programNum");
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
        const bool described = audio.IsAudioDescription() || audio.IsSpokenSubtitles();
        TREVALO_LOGI("ISO 639 Language, %s audio desc %s", lang.c_str(),
                     described ? "true" : "false");
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

void TrevaloServiceServer::InitTrevaloServiceServer() {
    vidList = new ComponentList<VideoComponent>();
    audList = new ComponentList<AudioComponent>();
    sbtList = new ComponentList<SbtComponent>();
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

void TrevaloServiceServer::ParsePMT(const TCMessage& request, TCMessage& reply) {
    bool reset = false;
    unsigned short program_number = 0;
    std::string error;
    if (!ReadPmtRequest(request, reset, program_number, error)) {
        TREVALO_LOGE("SendPMTData refused: %s", error.c_str());
        reply.body["return_data"] = Json::Value(1);
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
        reply.body["return_data"] = Json::Value(1);
        TREVALO_LOGE("failed to get instance");
    } else if (!instance->IsValid()) {
        TREVALO_LOGI("given section is not valid");
        reply.body["return_data"] = Json::Value(1);
    } else {
        TREVALO_LOGI("given section is valid");
        ClearCatalogue();
        const int streams = instance->NumOfElementary();
        TREVALO_LOGI("Number of elementary streams %d", streams);
        for (int index = 0; index < streams; ++index) m_ProcessComponents(instance, index);
        reply.body["return_data"] = Json::Value(0);
        AnnounceCatalogue(program_number);
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
    const unsigned char stream_type = es->StreamType();
    if (stream_type == kPrivateSections) {
        TREVALO_LOGI("Stream type is PMT_STREAM_TYPE_PRIVATE");
        return;
    }
    // Preset for every stream, so that none sees a code left from an earlier one.
    int video_encoding = -1;
    int audio_encoding = -1;
    switch (stream_type) {
        case kMpeg1Video:
        case kMpeg2Video:
        case kAvcVideo:
        case kUserPrivateVideo:
            GetAndFillVideoList(es, video_encoding);
            break;
        case kMpeg1Audio:
        case kMpeg2Audio:
        case kAacAdts:
        case kAacLatm:
        case kAtscAc3:
        case kAtscEnhancedAc3:
            TREVALO_LOGI("Audio stream type %d on pid %d", static_cast<int>(stream_type),
                         static_cast<int>(es->ElementaryPID()));
            GetAndFillAudioList(es, audio_encoding);
            break;
        case kPrivatePes:
            ProcessPrivatePESAndFillAudio(es, audio_encoding);
            break;
        default:
            TREVALO_LOGI("ProcessComponents::Neither Audio/Video");
            break;
    }
}

void TrevaloServiceServer::GetAndFillVideoList(TCPMTElementary* es, int& encoding) {
    const unsigned char stream_type = es->StreamType();
    TREVALO_LOGI("Video stream type %d on pid %d", static_cast<int>(stream_type),
                 static_cast<int>(es->ElementaryPID()));
    // MPEG-2 video keeps the -1 it came with.
    if (stream_type == kUserPrivateVideo || stream_type == kMpeg1Video) {
        encoding = 0;
    } else if (stream_type == kAvcVideo) {
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
        case kMpeg2Audio:
        case kMpeg1Audio:
            encoding = 2;
            break;
        case kAacAdts:
            encoding = 3;
            break;
        case kAtscAc3:
            encoding = 0;
            break;
        case kAacLatm:
            encoding = 4;
            break;
        case kAtscEnhancedAc3:
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
        new AudioComponent{es->ElementaryPID(), encoding, encrypted, comp_tag, lang, 2, false});
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
