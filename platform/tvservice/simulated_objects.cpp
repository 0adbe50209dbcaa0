#include "simulated_objects.h"

#include "simulated_tv_state.h"

namespace {
// The simulated receiver has one kind of source, so its sub-mode is always the first.
constexpr int kSubMode = 0;
}  // namespace

int SimulatedNavigation::GetTvMode(TSTvMode* mode) {
    const SimulatedTvState state = ReadSimulatedTvState();
    if (mode == nullptr || state.Fails("tv_mode")) return 0;
    mode->mode[0] = state.tvMode;
    mode->mode[1] = kSubMode;
    return 1;
}

// There is one service being watched whatever the TV mode, so the mode picks nothing here.
int SimulatedNavigation::GetCurrentServiceInfo(TSTvMode, TCCriteriaHelper& criteria,
                                               TCServiceData* data) {
    const SimulatedTvState state = ReadSimulatedTvState();
    if (data == nullptr || !criteria.IsReady() || state.Fails("service_info")) return 0;
    TCServiceAttributeStore& store = data->ResetAttributeStore();
    if (state.serviceId && criteria.IsFetched(SERVICE_ATTRIBUTE_SERVICE_ID)) {
        store.Set(SERVICE_ATTRIBUTE_SERVICE_ID, *state.serviceId);
    }
    return 1;
}

int SimulatedAVControl::GetCurrentAudioInfo(int* languageCode, int* currentIndex) {
    const SimulatedTvState state = ReadSimulatedTvState();
    if (languageCode == nullptr || currentIndex == nullptr || state.Fails("current_audio")) {
        return 0;
    }
    *languageCode = state.languageCode;
    if (state.audioIndex) *currentIndex = *state.audioIndex;
    return 1;
}

// The simulated receiver describes every track of every service alike, as the state's "audio".
int SimulatedServiceDataAux::GetAudio(unsigned long long&, int, TSAudio& audio) {
    const SimulatedTvState state = ReadSimulatedTvState();
    if (state.Fails("audio_query")) return 0;
    audio.SetAudioDescription(state.audioDescription);
    audio.SetSpokenSubtitles(state.spokenSubtitles);
    return 1;
}
