#include "TrevaloCatalogueInterface.h"

#include <cstdio>

#include "TrevaloSelectTracks.h"
#include "TrevaloServiceServer.h"
#include "TrevaloTrackRoles.h"
#include "trevalo/bus_contract.h"
#include "trevalo/printable_text.h"

using Ondrel::TCValue;
namespace catalogue = trevalo_bus::catalogue;
namespace member = trevalo_bus::member;
// A D-Bus string must be valid UTF-8 without NUL: a language reads as PrintableText gives it.
using trevalo_text::PrintableText;

namespace {

void AddLanguage(TCValue::Dictionary& entry, const std::string& lang) {
    entry.push_back({member::kLang, TCValue::String(PrintableText(lang))});
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
    entry.push_back({member::kLanguage,
                     TCValue::String(PrintableText(SpokenLanguage(audio.lang, audio.signals)))});
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

// Answered as the same "GetPID" request through the dispatcher: the same answer, and the same
// log lines, from the request's text to its "ret_data".
std::vector<TCValue> GetPid(Ondrel::TCServer& service, const char* sender,
                            const std::vector<TCValue>& arguments) {
    Json::Value body(Json::objectValue);
    body[member::kMethod] = trevalo_bus::method::kGetPID;
    body[member::kData] = static_cast<int>(arguments.at(0).Number());
    const Ondrel::TCMessage request(std::move(body));
    Ondrel::TCMessage reply;
    service.IfMessageReceived(sender, &request, &reply, trevalo_bus::kObjectPath);
    const Json::Value& pid = reply.body[member::kReturnData];
    return {TCValue::UInt16(static_cast<uint16_t>(pid.isInt() ? pid.asInt() : 0))};
}

// The interface's properties and the values last announced, at first those it started with.
struct Announced {
    std::vector<Ondrel::TCProperty> properties;
    std::vector<TCValue> values;
};
Announced g_Announced;

// The names of the properties whose values differ from those last announced, which take the
// new values.
std::vector<std::string> TakeChangedProperties() {
    std::vector<std::string> changed;
    for (size_t i = 0; i < g_Announced.properties.size(); ++i) {
        TCValue value = g_Announced.properties[i].get();
        if (value == g_Announced.values[i]) continue;
        g_Announced.values[i] = std::move(value);
        changed.push_back(g_Announced.properties[i].name);
    }
    return changed;
}

// "CatalogueChanged" with the programme and the list sizes.
void SendCatalogueChanged() {
    Json::Value body(Json::objectValue);
    body[member::kProgramNum] =
        Json::Value(static_cast<int>(TrevaloServiceServer::m_ProgramNumber));
    body[member::kVideo] =
        Json::Value(static_cast<unsigned int>(TrevaloServiceServer::vidList->size()));
    body[member::kAudio] =
        Json::Value(static_cast<unsigned int>(TrevaloServiceServer::audList->size()));
    body[member::kSubtitle] =
        Json::Value(static_cast<unsigned int>(TrevaloServiceServer::sbtList->size()));
    const Ondrel::TCMessage signal(body);
    Ondrel::TCServer::SendSignal(trevalo_bus::kServerName, trevalo_bus::kCatalogueChanged, &signal);
}

}  // namespace

Ondrel::TCInterface CatalogueInterface(Ondrel::TCServer& service) {
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
                          [&service](const char* sender, const std::vector<TCValue>& arguments) {
                              return GetPid(service, sender, arguments);
                          }},
                         {catalogue::kSelectTracks,
                          "a{sv}",
                          {catalogue::kSelectTracksArgument},
                          "a{sv}",
                          {catalogue::kSelectTracksResult},
                          [](const char*, const std::vector<TCValue>& arguments) {
                              return SelectTracksCall(arguments);
                          }}};
    g_Announced.properties = interface.properties;
    g_Announced.values.clear();
    for (const Ondrel::TCProperty& property : interface.properties) {
        g_Announced.values.push_back(property.get());
    }
    return interface;
}

void AnnounceCatalogueChanges() {
    const std::vector<std::string> changed = TakeChangedProperties();
    if (changed.empty()) return;
    // The version alone is no new catalogue.
    if (changed.size() > 1 || changed[0] != catalogue::kPmtVersion) SendCatalogueChanged();
    Ondrel::TCServer::EmitPropertiesChanged(trevalo_bus::kServerName, catalogue::kInterface,
                                            changed);
}
