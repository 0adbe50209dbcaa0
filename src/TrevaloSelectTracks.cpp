#include "TrevaloSelectTracks.h"

#include "Ondrel/TCServer.h"
#include "TrevaloServiceServer.h"
#include "TrevaloTrackSelector.h"
#include "trevalo/bus_contract.h"

using Ondrel::TCValue;
namespace catalogue = trevalo_bus::catalogue;
namespace preference = trevalo_bus::catalogue::preference;
namespace choice_member = trevalo_bus::catalogue::choice;

namespace {

[[noreturn]] void Refuse(const std::string& message) {
    throw Ondrel::TCMethodError{catalogue::kInvalidArgsError, message};
}

// The value of a member, which must have the type `type`.
void RequireType(const Ondrel::TCDictEntry& entry, TCValue::Type type, const char* signature) {
    if (entry.value.GetType() != type) {
        Refuse(entry.name + " must be of type " + signature + ", not " + entry.value.Signature());
    }
}

// A code as the client sent it, quoted with anything unprintable escaped, for the error text.
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const unsigned char byte : text) {
        if (byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\') {
            quoted += static_cast<char>(byte);
        } else {
            static const char kHex[] = "0123456789ABCDEF";
            quoted += "\\x";
            quoted += kHex[byte >> 4];
            quoted += kHex[byte & 0x0F];
        }
    }
    return quoted + "\"";
}

std::vector<std::string> Languages(const Ondrel::TCDictEntry& entry) {
    RequireType(entry, TCValue::Type::kStrings, "as");
    std::vector<std::string> languages;
    for (const std::string& text : entry.value.StringList()) {
        std::string normalized;
        if (!track_selection::NormalizeLanguage(text, normalized)) {
            Refuse(entry.name + ": " + Quoted(text) + " is not an ISO 639-2 code of three letters");
        }
        languages.push_back(normalized);
    }
    return languages;
}

bool Flag(const Ondrel::TCDictEntry& entry) {
    RequireType(entry, TCValue::Type::kBoolean, "b");
    return entry.value.Number() != 0;
}

track_selection::SubtitleMode Mode(const Ondrel::TCDictEntry& entry) {
    RequireType(entry, TCValue::Type::kString, "s");
    const std::string& text = entry.value.Text();
    if (text == preference::kSubtitlesOff) return track_selection::SubtitleMode::kOff;
    if (text == preference::kSubtitlesAuto) return track_selection::SubtitleMode::kAuto;
    if (text == preference::kSubtitlesOn) return track_selection::SubtitleMode::kOn;
    Refuse(entry.name + ": " + Quoted(text) + " is none of \"off\", \"auto\", \"on\"");
}

// Members of other names are left for later versions to read.
track_selection::Preferences ReadPreferences(const TCValue::Dictionary& members) {
    track_selection::Preferences preferences;
    for (const Ondrel::TCDictEntry& entry : members) {
        if (entry.name == preference::kAudioLanguages) {
            preferences.audio_languages = Languages(entry);
        } else if (entry.name == preference::kSubtitleLanguages) {
            preferences.subtitle_languages = Languages(entry);
        } else if (entry.name == preference::kAudioDescription) {
            preferences.audio_description = Flag(entry);
        } else if (entry.name == preference::kHardOfHearing) {
            preferences.hard_of_hearing = Flag(entry);
        } else if (entry.name == preference::kSubtitles) {
            preferences.subtitles = Mode(entry);
        } else if (entry.name == preference::kPreferMultichannel) {
            preferences.prefer_multichannel = Flag(entry);
        }
    }
    return preferences;
}

}  // namespace

std::vector<TCValue> SelectTracksCall(const std::vector<TCValue>& arguments) {
    const track_selection::Preferences preferences =
        ReadPreferences(arguments.empty() ? TCValue::Dictionary() : arguments[0].Members());
    static const ComponentList<AudioComponent> kNoAudio;
    static const ComponentList<SbtComponent> kNoSubtitles;
    const auto* audio = TrevaloServiceServer::audList;
    const auto* subtitles = TrevaloServiceServer::sbtList;
    const track_selection::Choice choice = track_selection::SelectTracks(
        audio != nullptr ? *audio : kNoAudio, subtitles != nullptr ? *subtitles : kNoSubtitles,
        preferences);
    return {TCValue::OneDictionary({
        {choice_member::kAudio, TCValue::Int32(choice.audio)},
        {choice_member::kAudioPid, TCValue::UInt16(choice.audio_pid)},
        {choice_member::kAudioReason, TCValue::String(choice.audio_reason)},
        {choice_member::kSubtitle, TCValue::Int32(choice.subtitle)},
        {choice_member::kSubtitlePid, TCValue::UInt16(choice.subtitle_pid)},
        {choice_member::kSubtitleReason, TCValue::String(choice.subtitle_reason)},
    })};
}
