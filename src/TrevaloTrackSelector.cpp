#include "TrevaloTrackSelector.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace track_selection {
namespace {

// ISO 639-2's twenty bibliographic codes and their terminology forms.
constexpr std::pair<const char*, const char*> kBibliographic[] = {
    {"alb", "sqi"}, {"arm", "hye"}, {"baq", "eus"}, {"bur", "mya"}, {"chi", "zho"},
    {"cze", "ces"}, {"dut", "nld"}, {"fre", "fra"}, {"geo", "kat"}, {"ger", "deu"},
    {"gre", "ell"}, {"ice", "isl"}, {"mac", "mkd"}, {"mao", "mri"}, {"may", "msa"},
    {"per", "fas"}, {"rum", "ron"}, {"slo", "slk"}, {"tib", "bod"}, {"wel", "cym"},
};

constexpr char kAudioDescription[] = "audio-description";
constexpr char kSpokenSubtitles[] = "spoken-subtitles";
constexpr char kCleanAudio[] = "clean-audio";
constexpr char kMain[] = "main";
constexpr char kMultichannel[] = "multichannel";

// A track's language as the selector compares it; "" when it is no language code.
std::string TrackLanguage(const std::string& lang) {
    std::string normalized;
    return NormalizeLanguage(lang, normalized) ? normalized : "";
}

// How a track's language stands against a list of preferred ones: its place in the list, or
// the list's size when it is not there.
size_t LanguageRank(const std::string& language, const std::vector<std::string>& preferred) {
    if (language.empty()) return preferred.size();
    return static_cast<size_t>(std::find(preferred.begin(), preferred.end(), language) -
                               preferred.begin());
}

bool DescribesPicture(const std::string& role) {
    return role == kAudioDescription || role == kSpokenSubtitles;
}

// Rows A5 to A7: the order of roles, lowest first.
int RoleRank(const std::string& role, const Preferences& preferences) {
    if (preferences.audio_description && role == kAudioDescription) return 0;
    if (preferences.audio_description && role == kSpokenSubtitles) return 1;
    if (preferences.hard_of_hearing && role == kCleanAudio) return 2;
    if (role == kMain) return 3;
    if (DescribesPicture(role)) return 5;
    return 4;
}

std::string Ordinal(size_t place) {
    static const char* const kOrdinals[] = {"first", "second", "third", "fourth", "fifth"};
    return place < 5 ? kOrdinals[place] : "preferred no. " + std::to_string(place + 1);
}

std::string Spoken(const std::string& language) {
    return language.empty() ? "an unnamed language" : language;
}

std::string RoleText(const std::string& role) {
    if (role == kMain) return "Main audio";
    std::string text = role;
    std::replace(text.begin(), text.end(), '-', ' ');
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

struct AudioPick {
    int index = -1;
    std::string language;  // normalized, "" when none
};

AudioPick PickAudio(const ComponentList<AudioComponent>& tracks, const Preferences& preferences,
                    std::string& reason) {
    if (tracks.empty()) {  // A1
        reason = "The programme carries no audio.";
        return {};
    }
    struct Candidate {
        int index;
        std::string role;
        std::string language;
        bool multichannel;
    };
    std::vector<Candidate> candidates;
    for (size_t i = 0; i < tracks.size(); ++i) {
        const AudioComponent& track = *tracks[i];
        candidates.push_back({static_cast<int>(i), AudioRole(track.signals),
                              TrackLanguage(SpokenLanguage(track.lang, track.signals)),
                              AudioChannels(track.signals) == kMultichannel});
    }
    // A2: audio description only when asked, or when nothing else is there.
    const bool other_than_description =
        std::any_of(candidates.begin(), candidates.end(),
                    [](const Candidate& c) { return !DescribesPicture(c.role); });
    if (!preferences.audio_description && other_than_description) {
        candidates.erase(
            std::remove_if(candidates.begin(), candidates.end(),
                           [](const Candidate& c) { return DescribesPicture(c.role); }),
            candidates.end());
    }
    // A3, A4: the tracks in the earliest preferred language any of them is in, else all.
    size_t best_language = preferences.audio_languages.size();
    for (const Candidate& c : candidates) {
        best_language =
            std::min(best_language, LanguageRank(c.language, preferences.audio_languages));
    }
    const bool language_matched = best_language < preferences.audio_languages.size();
    if (language_matched) {
        const std::string& wanted = preferences.audio_languages[best_language];
        candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                        [&](const Candidate& c) { return c.language != wanted; }),
                         candidates.end());
    }
    // A5 to A8, then A9: the broadcaster's order, which stable sorting keeps.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [&](const Candidate& a, const Candidate& b) {
                         const int role_a = RoleRank(a.role, preferences);
                         const int role_b = RoleRank(b.role, preferences);
                         if (role_a != role_b) return role_a < role_b;
                         if (preferences.prefer_multichannel)
                             return a.multichannel > b.multichannel;
                         return false;
                     });
    const Candidate& chosen = candidates.front();

    reason = RoleText(chosen.role) + " in " + Spoken(chosen.language);
    if (language_matched) {
        reason += ", the " + Ordinal(best_language) + " preferred language";
    } else if (!preferences.audio_languages.empty()) {
        reason += ": no track in a preferred language";
    }
    if (preferences.audio_description && !DescribesPicture(chosen.role)) {
        reason += "; no audio description to be had";
    }
    if (preferences.prefer_multichannel && chosen.multichannel) reason += ", multichannel";
    reason += ".";
    return {chosen.index, chosen.language};
}

int PickSubtitle(const ComponentList<SbtComponent>& tracks, const Preferences& preferences,
                 const std::string& audio_language, std::string& reason) {
    if (preferences.subtitles == SubtitleMode::kOff) {  // S1
        reason = "Subtitles are off.";
        return -1;
    }
    if (tracks.empty()) {  // S2
        reason = "The programme carries no subtitles.";
        return -1;
    }
    // S3
    const std::vector<std::string>& languages = preferences.subtitle_languages.empty()
                                                    ? preferences.audio_languages
                                                    : preferences.subtitle_languages;
    // S4: asking for subtitles for the hard of hearing turns them on.
    const bool on = preferences.subtitles == SubtitleMode::kOn || preferences.hard_of_hearing;
    if (!on && languages.empty()) {  // S5
        reason = "No subtitle language is preferred.";
        return -1;
    }
    if (!on && !audio_language.empty() && audio_language == languages.front()) {  // S6
        reason = "The audio is already in " + audio_language + ".";
        return -1;
    }
    struct Candidate {
        int index;
        std::string language;
        bool hard_of_hearing;
    };
    std::vector<Candidate> candidates;
    size_t best_language = languages.size();
    for (size_t i = 0; i < tracks.size(); ++i) {
        const SbtComponent& track = *tracks[i];
        candidates.push_back({static_cast<int>(i), TrackLanguage(track.lang),
                              HardOfHearing(track.teletext, track.type)});
        best_language =
            std::min(best_language, LanguageRank(candidates.back().language, languages));
    }
    std::string how;
    if (best_language < languages.size()) {  // S7
        const std::string& wanted = languages[best_language];
        candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                        [&](const Candidate& c) { return c.language != wanted; }),
                         candidates.end());
        how = ", the " + Ordinal(best_language) + " preferred language";
    } else if (!on) {  // S8
        reason = "No subtitles in a preferred language.";
        return -1;
    } else if (std::any_of(candidates.begin(), candidates.end(), [&](const Candidate& c) {
                   return !audio_language.empty() && c.language == audio_language;
               })) {  // S9
        candidates.erase(
            std::remove_if(candidates.begin(), candidates.end(),
                           [&](const Candidate& c) { return c.language != audio_language; }),
            candidates.end());
        how = ": none in a preferred language, those in the audio's";
    } else {  // S9
        how = ": none in a preferred language nor the audio's, the first listed";
    }
    // S10, then S11: the broadcaster's order.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [&](const Candidate& a, const Candidate& b) {
                         return (a.hard_of_hearing == preferences.hard_of_hearing) >
                                (b.hard_of_hearing == preferences.hard_of_hearing);
                     });
    const Candidate& chosen = candidates.front();
    reason =
        std::string(chosen.hard_of_hearing ? "Subtitles for the hard of hearing" : "Subtitles") +
        " in " + Spoken(chosen.language) + how + ".";
    return chosen.index;
}

}  // namespace

bool NormalizeLanguage(const std::string& text, std::string& normalized) {
    if (text.size() != 3) return false;
    std::string lower;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80 || !std::isalpha(byte)) return false;
        lower += static_cast<char>(std::tolower(byte));
    }
    for (const auto& pair : kBibliographic) {
        if (lower == pair.first) {
            normalized = pair.second;
            return true;
        }
    }
    normalized = lower;
    return true;
}

Choice SelectTracks(const ComponentList<AudioComponent>& audio,
                    const ComponentList<SbtComponent>& subtitles, const Preferences& preferences) {
    Choice choice;
    const AudioPick picked = PickAudio(audio, preferences, choice.audio_reason);
    choice.audio = picked.index;
    if (picked.index >= 0) choice.audio_pid = static_cast<uint16_t>(audio[picked.index]->pid);
    choice.subtitle = PickSubtitle(subtitles, preferences, picked.language, choice.subtitle_reason);
    if (choice.subtitle >= 0) {
        choice.subtitle_pid = static_cast<uint16_t>(subtitles[choice.subtitle]->pid);
    }
    return choice;
}

}  // namespace track_selection
