// The service's component catalogue as the client reads it back: the video, audio and subtitle
// lists, each entry the JSON object the service rendered for it.
#ifndef TREVALO_CLI_CATALOGUE_H
#define TREVALO_CLI_CATALOGUE_H

#include <json/value.h>

#include <cstddef>
#include <string>
#include <vector>

namespace trevalo_cli {

enum class ComponentKind { kVideo, kAudio, kSubtitle };

constexpr ComponentKind kAllKinds[] = {ComponentKind::kVideo, ComponentKind::kAudio,
                                       ComponentKind::kSubtitle};

// "video", "audio", "subtitle".
const char* KindName(ComponentKind kind);

struct Catalogue {
    std::vector<Json::Value> video;
    std::vector<Json::Value> audio;
    std::vector<Json::Value> subtitles;
    // What each audio and subtitle entry is for ("main, stereo", "hard of hearing"), where the
    // service said it (its catalogue interface); empty lists from one that did not.
    std::vector<std::string> audio_roles;
    std::vector<std::string> subtitle_roles;

    std::vector<Json::Value>& List(ComponentKind kind);
    const std::vector<Json::Value>& List(ComponentKind kind) const;
};

// One line of a catalogue table: an entry, where it stands, and an optional change mark.
struct CatalogueRow {
    char mark = ' ';  // ' ', or '+' / '-' for an entry added or gone
    ComponentKind kind = ComponentKind::kVideo;
    size_t index = 0;
    Json::Value entry;
    std::string role;  // "" when not known
};

// The role of entry `index` of `kind`; "" when not known (and for video).
std::string RoleOf(const Catalogue& catalogue, ComponentKind kind, size_t index);

// Every entry in table order: video, audio, subtitles, each list by index.
std::vector<CatalogueRow> AllRows(const Catalogue& catalogue);

}  // namespace trevalo_cli

#endif
