// The track selector: which audio and which subtitles to play, from the catalogue's records and
// a viewer's preferences, by the rules of docs/track-selection.md (whose row names the comments
// cite). A pure function: it reads the records and nothing else, and logs nothing.
#ifndef TREVALO_TRACK_SELECTOR_H
#define TREVALO_TRACK_SELECTOR_H

#include <string>
#include <vector>

#include "TrevaloServiceServer.h"

namespace track_selection {

// An ISO 639-2 code as the selector compares codes: lower case, in the terminology form ("ger"
// and "GER" read "deu"). False when `text` is not three ASCII letters.
bool NormalizeLanguage(const std::string& text, std::string& normalized);

enum class SubtitleMode { kOff, kAuto, kOn };

// Languages already normalized, in order of preference.
struct Preferences {
    std::vector<std::string> audio_languages;
    std::vector<std::string> subtitle_languages;
    bool audio_description = false;
    bool hard_of_hearing = false;
    SubtitleMode subtitles = SubtitleMode::kAuto;
    bool prefer_multichannel = false;
};

struct Choice {
    int audio = -1;  // index in the audio list; -1 for none
    int subtitle = -1;
    uint16_t audio_pid = 0;  // 0 with no track
    uint16_t subtitle_pid = 0;
    std::string audio_reason;  // one sentence, printable ASCII
    std::string subtitle_reason;
};

Choice SelectTracks(const ComponentList<AudioComponent>& audio,
                    const ComponentList<SbtComponent>& subtitles, const Preferences& preferences);

}  // namespace track_selection

#endif
