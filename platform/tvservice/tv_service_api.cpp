// The library's objects over the simulated receiver. One shared object of each kind: the
// simulator has a single receiver, whatever the profile and index asked for.
#include "TVServiceAPI.h"
#include "simulated_tv_state.h"

namespace {

constexpr int kServiceIdAttribute = 12;

class SimulatedNavigation final : public IServiceNavigation {
  public:
    int GetTvMode(TSTvMode* mode) override {
        const SimulatedTvState state = ReadSimulatedTvState();
        if (mode == nullptr || state.Fails("tv_mode")) return 0;
        mode->mode[0] = state.tv_mode;
        mode->mode[1] = 0;
        return 1;
    }

    int GetCurrentServiceInfo(TSTvMode, TCCriteriaHelper& criteria, TCServiceData* data) override {
        const SimulatedTvState state = ReadSimulatedTvState();
        if (data == nullptr || !criteria.IsReady() || state.Fails("service_info")) return 0;
        TCServiceAttributeStore& store = data->Fill();
        if (state.has_service_id && criteria.IsFetched(kServiceIdAttribute)) {
            store.Set(kServiceIdAttribute, state.service_id);
        }
        return 1;
    }
};

class SimulatedAVControl final : public IAVControl {
  public:
    int GetCurrentAudioInfo(int* language_code, int* current_index) override {
        const SimulatedTvState state = ReadSimulatedTvState();
        if (language_code == nullptr || current_index == nullptr || state.Fails("current_audio")) {
            return 0;
        }
        *language_code = state.language_code;
        if (state.has_audio_index) *current_index = state.audio_index;
        return 1;
    }
};

class SimulatedServiceDataAux final : public IServiceDataAux {
  public:
    int GetAudio(unsigned long long&, int, TSAudio& audio) override {
        const SimulatedTvState state = ReadSimulatedTvState();
        if (state.Fails("audio_query")) return 0;
        audio.SetAudioDescription(state.audio_description);
        audio.SetSpokenSubtitles(state.spoken_subtitles);
        return 1;
    }
};

}  // namespace

bool TCNavigationModeHelper::GetNavigationCriteria(TSTvMode, ENavigationMode,
                                                   TCCriteriaHelper& criteria, unsigned long long) {
    const bool ready = !ReadSimulatedTvState().Fails("criteria");
    criteria.SetReady(ready);
    return ready;
}

int TVServiceAPI::CreateServiceNavigation(EProfile, int, IServiceNavigation** navigation) {
    static SimulatedNavigation shared;
    if (navigation == nullptr) return -1;
    const bool fails = ReadSimulatedTvState().Fails("navigation");
    *navigation = fails ? nullptr : &shared;
    return fails ? -1 : 0;
}

int TVServiceAPI::CreateAVControl(EProfile, int, IAVControl** av_control) {
    static SimulatedAVControl shared;
    if (av_control == nullptr) return -1;
    const bool fails = ReadSimulatedTvState().Fails("av_control");
    *av_control = fails ? nullptr : &shared;
    return fails ? -1 : 0;
}

IServiceDataAux* TVServiceAPI::ServiceDataAux(EProfile, int) {
    static SimulatedServiceDataAux shared;
    return ReadSimulatedTvState().Fails("service_data_aux") ? nullptr : &shared;
}
