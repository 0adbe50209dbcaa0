// The simulated receiver behind the TV-service library: the "tv_service" block of the simulated
// platform state, read afresh (one stat) on every library call so a test can change it at any time.
#ifndef TVSERVICE_SIMULATED_TV_STATE_H
#define TVSERVICE_SIMULATED_TV_STATE_H

#include <optional>
#include <string>

struct SimulatedTvState {
    int tvMode = 1;
    std::optional<unsigned long long> serviceId = 1;  // none: the service has no attribute 12
    int languageCode = 0x656E67;                      // "eng"
    std::optional<int> audioIndex = 0;  // none: the player knows no index for its track
    bool audioDescription = false;
    bool spokenSubtitles = false;
    // The one library step that fails: "navigation", "tv_mode", "criteria", "service_info",
    // "av_control", "current_audio", "service_data_aux" or "audio_query"; empty when none does.
    std::string failingStep;

    bool Fails(const char* step) const { return failingStep == step; }
};

// The state now. Members that are absent or of the wrong JSON type keep the defaults above, and
// so does everything when there is no state, or it cannot be read.
SimulatedTvState ReadSimulatedTvState();

#endif
