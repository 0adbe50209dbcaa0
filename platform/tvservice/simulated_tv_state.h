// The simulated receiver behind the TV-service library: the "tv_service" block of the simulated
// platform state, read afresh (one stat) on every library call.
#ifndef TVSERVICE_SIMULATED_TV_STATE_H
#define TVSERVICE_SIMULATED_TV_STATE_H

#include <string>

struct SimulatedTvState {
    int tv_mode = 1;
    bool has_service_id = true;  // false: the service data holds no attribute 12
    unsigned long long service_id = 1;
    int language_code = 0x656E67;  // "eng"
    bool has_audio_index = true;   // false: the current-audio query leaves the index alone
    int audio_index = 0;
    bool audio_description = false;
    bool spoken_subtitles = false;
    // The one step that fails: "navigation", "tv_mode", "criteria", "service_info",
    // "av_control", "current_audio", "service_data_aux", "audio_query"; empty when none.
    std::string fail;

    bool Fails(const char* step) const { return fail == step; }
};

// The current state; members absent or of the wrong JSON kind keep their defaults.
SimulatedTvState ReadSimulatedTvState();

#endif
