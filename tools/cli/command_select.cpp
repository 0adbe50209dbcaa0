// select [--audio-lang L,...] [--subtitle-lang L,...] [--ad] [--hoh] [--subtitles off|auto|on]
// [--multichannel] [--json]: the tracks the service's selector chooses for these preferences.
#include <cctype>
#include <cstdio>
#include <iostream>

#include "command_error.h"
#include "commands.h"
#include "service_connection.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
namespace {

using Ondrel::TCValue;
namespace catalogue = trevalo_bus::catalogue;
namespace preference = trevalo_bus::catalogue::preference;
namespace choice = trevalo_bus::catalogue::choice;

// "fra,deu" as a list; each must be three ASCII letters, as the service asks.
std::vector<std::string> LanguageList(const std::string& option, const std::string& text) {
    std::vector<std::string> languages;
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string language = text.substr(start, comma - start);
        bool letters = language.size() == 3;
        for (const char c : language) {
            letters = letters && static_cast<unsigned char>(c) < 0x80 &&
                      std::isalpha(static_cast<unsigned char>(c));
        }
        if (!letters) {
            throw UsageError(option +
                             " takes ISO 639-2 codes of three letters, separated by "
                             "commas, not '" +
                             language + "'");
        }
        languages.push_back(language);
        if (comma == std::string::npos) return languages;
        start = comma + 1;
    }
}

TCValue::Dictionary Preferences(const Arguments& arguments) {
    TCValue::Dictionary preferences;
    if (const auto audio = arguments.Value("--audio-lang")) {
        preferences.push_back(
            {preference::kAudioLanguages, TCValue::Strings(LanguageList("--audio-lang", *audio))});
    }
    if (const auto subtitles = arguments.Value("--subtitle-lang")) {
        preferences.push_back({preference::kSubtitleLanguages,
                               TCValue::Strings(LanguageList("--subtitle-lang", *subtitles))});
    }
    if (const auto mode = arguments.Value("--subtitles")) {
        if (*mode != preference::kSubtitlesOff && *mode != preference::kSubtitlesAuto &&
            *mode != preference::kSubtitlesOn) {
            throw UsageError("--subtitles is off, auto or on, not '" + *mode + "'");
        }
        preferences.push_back({preference::kSubtitles, TCValue::String(*mode)});
    }
    const std::pair<const char*, const char*> flags[] = {
        {"--ad", preference::kAudioDescription},
        {"--hoh", preference::kHardOfHearing},
        {"--multichannel", preference::kPreferMultichannel}};
    for (const auto& [option, name] : flags) {
        if (arguments.Flag(option)) preferences.push_back({name, TCValue::Boolean(true)});
    }
    return preferences;
}

const TCValue* Member(const TCValue::Dictionary& dictionary, const char* name) {
    for (const Ondrel::TCDictEntry& entry : dictionary) {
        if (entry.name == name) return &entry.value;
    }
    return nullptr;
}

// One line: "audio     #1  PID 431 (0x01AF)  reason", or "audio     none  reason".
std::string ChoiceLine(const char* kind, const TCValue* index, const TCValue* pid,
                       const TCValue* reason) {
    std::string line = kind;
    line += std::string(10 - line.size(), ' ');
    if (index->Number() < 0) {
        line += "none";
    } else {
        char text[64];
        std::snprintf(text, sizeof text, "#%lld  PID %lld (0x%04llX)",
                      static_cast<long long>(index->Number()),
                      static_cast<long long>(pid->Number()),
                      static_cast<unsigned long long>(pid->Number()));
        line += text;
    }
    return line + "  " + reason->Text() + "\n";
}

}  // namespace

int RunSelect(const CommandContext& context, const Arguments& arguments) {
    if (!arguments.Operands().empty()) {
        throw UsageError("unexpected '" + arguments.Operands()[0] + "'");
    }
    const TCValue::Dictionary preferences = Preferences(arguments);
    ServiceConnection service(context);
    const TCValue::Dictionary answer =
        service.CallWithDictionary(catalogue::kInterface, catalogue::kSelectTracks, preferences);
    const char* const names[] = {choice::kAudio,    choice::kAudioPid,    choice::kAudioReason,
                                 choice::kSubtitle, choice::kSubtitlePid, choice::kSubtitleReason};
    const TCValue* values[6];
    for (int i = 0; i < 6; ++i) {
        values[i] = Member(answer, names[i]);
        if (values[i] == nullptr) {
            throw FailureAnswer(std::string("the service's choice lacks \"") + names[i] + "\"");
        }
    }
    if (arguments.Flag("--json")) {
        Json::Value json(Json::objectValue);
        for (int i = 0; i < 6; ++i) {
            json[names[i]] = values[i]->GetType() == TCValue::Type::kString
                                 ? Json::Value(values[i]->Text())
                                 : Json::Value(static_cast<Json::Int64>(values[i]->Number()));
        }
        std::cout << trevalo_json::WriteCompact(json) << "\n";
    } else {
        std::cout << ChoiceLine("audio", values[0], values[1], values[2])
                  << ChoiceLine("subtitle", values[3], values[4], values[5]);
    }
    return kExitSuccess;
}

}  // namespace trevalo_cli
