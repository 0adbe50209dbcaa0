#include "TrevaloCatalogueInterface.h"

#include <cstdio>

#include "TrevaloSelectTracks.h"
#include "TrevaloServiceServer.h"
#include "TrevaloTrackRoles.h"
#include "trevalo/bus_contract.h"

using Ondrel::TCValue;
namespace catalogue = trevalo_bus::catalogue;
namespace member = trevalo_bus::member;

namespace {

// A D-Bus string must be valid UTF-8 without NUL, and a language code is three bytes as
// broadcast: printable ASCII passes unchanged, any other byte (and the backslash) reads \xNN.
std::string PrintableLanguage(const std::string& bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
            text += static_cast<char>(byte);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
            text += escaped;
        }
    }
    return text;
}

void AddLanguage(TCValue::Dictionary& entry, const std::string& lang) {
    entry.push_back({member::kLang, TCValue::String(PrintableLanguage(lang))});
    entry.push_back(
        {member::kLangBytes, TCValue::Bytes(std::vector<uint8_t>(lang.begin(), lang.end()))});
}

// The members the entry queries answer, in their order, then the interface's own.
TCValue::Dictionary EntryDictionary(const VideoComponent& video) {
    return {{member::kPid, TCValue::UInt16(static_cast<uint16_t>(video.pid))},
            {member::kEncoding, TCValue::Int32(video.encoding)},
            {member::kEncrypted, TCValue::Boolean(video.encrypted)},
            {member::kCompTag, TCValue::Byte(video.comp_tag)},
            {member::kCaSid, TCValue::UInt16(video.ca_sid)},
            {member::kAspectRatio, TCValue::Int32(video.aspect_ratio)}};
}

TCValue::Dictionary EntryDictionary(const AudioComponent& audio) {
    TCValue::Dictionary entry = {{member::kPid, TCValue::UInt16(static_cast<uint16_t>(audio.pid))},
                                 {member::kEncoding, TCValue::Int32(audio.encoding)},
                                 {member::kEncrypted, TCValue::Boolean(audio.encrypted)},
                                 {member::kCompTag, TCValue::Byte(audio.comp_tag)}};
    AddLanguage(entry, audio.lang);
    entry.push_back({member::kAudioChannels, TCValue::Int32(audio.audio_channels)});
    entry.push_back({member::kAudioDesc, TCValue::Boolean(audio.audio_desc)});
    // What the broadcast says the track is for.
    entry.push_back({member::kAudioType, TCValue::Byte(audio.signals.audio_type)});
    entry.push_back({member::kRole, TCValue::String(AudioRole(audio.signals))});
    entry.push_back({member::kChannels, TCValue::String(AudioChannels(audio.signals))});
    const std::string mix = AudioMix(audio.signals);
    if (!mix.empty()) entry.push_back({member::kMix, TCValue::String(mix)});
    entry.push_back({member::kLanguage, TCValue::String(PrintableLanguage(
                                            SpokenLanguage(audio.lang, audio.signals)))});
    return entry;
}

TCValue::Dictionary EntryDictionary(const SbtComponent& subtitle) {
    TCValue::Dictionary entry = {
        {member::kPid, TCValue::UInt16(static_cast<uint16_t>(subtitle.pid))},
        {member::kEncrypted, TCValue::Boolean(subtitle.encrypted)},
        {member::kCompTag, TCValue::Byte(subtitle.comp_tag)}};
    AddLanguage(entry, subtitle.lang);
    entry.push_back({member::kHearingImpaired, TCValue::Boolean(subtitle.hearing_impaired)});
    entry.push_back({member::kKind, TCValue::String(subtitle.teletext ? member::kKindTeletext
                                                                      : member::kKindDvbSubtitle)});
    entry.push_back({member::kType, TCValue::Byte(subtitle.type)});
    entry.push_back({member::kHardOfHearing,
                     TCValue::Boolean(HardOfHearing(subtitle.teletext, subtitle.type))});
    if (subtitle.teletext) {
        // Magazine 0 is magazine 8 on the screen.
        char page[8];
        std::snprintf(page, sizeof page, "%X%02X", subtitle.magazine == 0 ? 8 : subtitle.magazine,
                      subtitle.page);
        entry.push_back({member::kPage, TCValue::String(page)});
    } else {
        entry.push_back({member::kCompositionPage, TCValue::UInt16(subtitle.composition_page)});
        entry.push_back({member::kAncillaryPage, TCValue::UInt16(subtitle.ancillary_page)});
    }
    return entry;
}

template <typename Component>
TCValue Entries(const ComponentList<Component>* list) {
    std::vector<TCValue::Dictionary> entries;
    if (list != nullptr) {
        for (const auto& component : *list) entries.push_back(EntryDictionary(*component));
    }
    return TCValue::Dictionaries(std::move(entries));
}

// Answered by the "GetPID" handler itself, so that the two cannot disagree.
std::vector<TCValue> GetPid(const std::vector<TCValue>& arguments) {
    Ondrel::TCMessage request;
    request.body[member::kMethod] = trevalo_bus::method::kGetPID;
    request.body[member::kData] = static_cast<int>(arguments.at(0).Number());
    Ondrel::TCMessage reply;
    TrevaloServiceServer::GetPID(request, reply);
    return {TCValue::UInt16(static_cast<uint16_t>(reply.body[member::kReturnData].asInt()))};
}

}  // namespace

Ondrel::TCInterface CatalogueInterface() {
    Ondrel::TCInterface interface;
    interface.name = catalogue::kInterface;
    interface.properties = {
        {catalogue::kProgramNumber, "q",
         [] { return TCValue::UInt16(TrevaloServiceServer::m_ProgramNumber); }},
        {catalogue::kPmtVersion, "i",
         [] { return TCValue::Int32(TrevaloServiceServer::m_PmtVersion); }},
        {catalogue::kVideo, "aa{sv}", [] { return Entries(TrevaloServiceServer::vidList); }},
        {catalogue::kAudio, "aa{sv}", [] { return Entries(TrevaloServiceServer::audList); }},
        {catalogue::kSubtitles, "aa{sv}", [] { return Entries(TrevaloServiceServer::sbtList); }},
    };
    interface.methods = {{catalogue::kGetPid,
                          "y",
                          {catalogue::kGetPidArgument},
                          "q",
                          {catalogue::kGetPidResult},
                          GetPid},
                         {catalogue::kSelectTracks,
                          "a{sv}",
                          {catalogue::kSelectTracksArgument},
                          "a{sv}",
                          {catalogue::kSelectTracksResult},
                          SelectTracksCall}};
    return interface;
}

void AnnounceCatalogueProperties() {
    Ondrel::TCServer::EmitPropertiesChanged(
        trevalo_bus::kServerName, catalogue::kInterface,
        {catalogue::kProgramNumber, catalogue::kPmtVersion, catalogue::kVideo, catalogue::kAudio,
         catalogue::kSubtitles});
}
