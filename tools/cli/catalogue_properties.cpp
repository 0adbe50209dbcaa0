#include "catalogue_properties.h"

#include <string>

#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
namespace {

using Ondrel::TCValue;
namespace member = trevalo_bus::member;
namespace properties = trevalo_bus::catalogue;

const TCValue* Find(const TCValue::Dictionary& dictionary, const char* name) {
    for (const Ondrel::TCDictEntry& entry : dictionary) {
        if (entry.name == name) return &entry.value;
    }
    return nullptr;
}

// The members the interface adds to the entries of the JSON queries.
bool InterfaceOnly(const std::string& name) {
    for (const char* own :
         {member::kLangBytes, member::kKind, member::kType, member::kPage, member::kCompositionPage,
          member::kAncillaryPage, member::kAudioType, member::kRole, member::kChannels,
          member::kMix, member::kLanguage, member::kHardOfHearing}) {
        if (name == own) return true;
    }
    return false;
}

Json::Value JsonValue(const TCValue& value) {
    switch (value.GetType()) {
        case TCValue::Type::kBoolean:
            return Json::Value(value.Number() != 0);
        case TCValue::Type::kString:
            return Json::Value(value.Text());
        case TCValue::Type::kBytes:
            return Json::Value(std::string(value.ByteList().begin(), value.ByteList().end()));
        case TCValue::Type::kDictionaries:
            return Json::Value();
        default:  // y q i: numbers, as the JSON text of the queries reads them
            return Json::Value(static_cast<Json::Int64>(value.Number()));
    }
}

// The language as it reads after travelling in the JSON text of the queries: the bytes as
// broadcast, written and read back (the interface's string escapes the unprintable ones).
Json::Value LanguageAsJsonReadsIt(const TCValue& bytes) {
    Json::Value language;
    trevalo_json::Parse(trevalo_json::WriteCompact(JsonValue(bytes)), language);
    return language;
}

// An entry as the queries render it.
Json::Value EntryOf(const TCValue::Dictionary& dictionary) {
    Json::Value entry(Json::objectValue);
    for (const Ondrel::TCDictEntry& member : dictionary) {
        if (!InterfaceOnly(member.name)) entry[member.name] = JsonValue(member.value);
    }
    if (const TCValue* bytes = Find(dictionary, member::kLangBytes)) {
        entry[member::kLang] = LanguageAsJsonReadsIt(*bytes);
    }
    return entry;
}

// What an audio entry is for ("main, stereo", "audio-description, stereo, broadcast mix") or a
// subtitle entry ("hard of hearing", or "" for ordinary subtitles).
std::string RoleOf(ComponentKind kind, const TCValue::Dictionary& dictionary) {
    if (kind == ComponentKind::kSubtitle) {
        const TCValue* hard_of_hearing = Find(dictionary, member::kHardOfHearing);
        return hard_of_hearing != nullptr && hard_of_hearing->Number() != 0 ? "hard of hearing"
                                                                            : "";
    }
    std::string text;
    for (const char* name : {member::kRole, member::kChannels, member::kMix}) {
        const TCValue* value = Find(dictionary, name);
        if (value == nullptr || value->GetType() != TCValue::Type::kString ||
            value->Text().empty()) {
            continue;
        }
        text += (text.empty() ? "" : ", ") + value->Text();
        if (name == std::string(member::kMix)) text += " mix";
    }
    return text;
}

}  // namespace

bool CatalogueFromProperties(const TCValue::Dictionary& values, Catalogue& catalogue,
                             int& program_number) {
    const TCValue* program = Find(values, properties::kProgramNumber);
    if (program == nullptr || program->GetType() != TCValue::Type::kUInt16) return false;
    Catalogue read;
    const struct {
        ComponentKind kind;
        const char* property;
    } lists[] = {{ComponentKind::kVideo, properties::kVideo},
                 {ComponentKind::kAudio, properties::kAudio},
                 {ComponentKind::kSubtitle, properties::kSubtitles}};
    for (const auto& list : lists) {
        const TCValue* entries = Find(values, list.property);
        if (entries == nullptr || entries->GetType() != TCValue::Type::kDictionaries) return false;
        for (const TCValue::Dictionary& dictionary : entries->DictionaryList()) {
            read.List(list.kind).push_back(EntryOf(dictionary));
            if (list.kind == ComponentKind::kAudio) {
                read.audio_roles.push_back(RoleOf(list.kind, dictionary));
            } else if (list.kind == ComponentKind::kSubtitle) {
                read.subtitle_roles.push_back(RoleOf(list.kind, dictionary));
            }
        }
    }
    catalogue = std::move(read);
    program_number = static_cast<int>(program->Number());
    return true;
}

}  // namespace trevalo_cli
