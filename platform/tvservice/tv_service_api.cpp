// Hands out the library's objects: one per kind and (profile, index), owned here for the life of
// the process, so callers that never release them leak nothing.
#include <map>
#include <utility>

#include "TVServiceAPI.h"
#include "simulated_objects.h"
#include "simulated_tv_state.h"

namespace {

constexpr int kFailure = -1;

template <typename Object>
Object& SharedObject(EProfile profile, int index) {
    // Map nodes never move, so the objects handed out stay where they are.
    static std::map<std::pair<EProfile, int>, Object> objects;
    return objects.try_emplace({profile, index}).first->second;
}

template <typename Interface, typename Object>
int HandOut(EProfile profile, int index, const char* step, Interface** object) {
    if (object == nullptr) return kFailure;
    if (ReadSimulatedTvState().Fails(step)) {
        *object = nullptr;
        return kFailure;
    }
    *object = &SharedObject<Object>(profile, index);
    return 0;
}

}  // namespace

int TVServiceAPI::CreateServiceNavigation(EProfile profile, int index,
                                          IServiceNavigation** navigation) {
    return HandOut<IServiceNavigation, SimulatedNavigation>(profile, index, "navigation",
                                                            navigation);
}

int TVServiceAPI::CreateAVControl(EProfile profile, int index, IAVControl** avControl) {
    return HandOut<IAVControl, SimulatedAVControl>(profile, index, "av_control", avControl);
}

IServiceDataAux* TVServiceAPI::ServiceDataAux(EProfile profile, int index) {
    IServiceDataAux* serviceDataAux = nullptr;
    HandOut<IServiceDataAux, SimulatedServiceDataAux>(profile, index, "service_data_aux",
                                                      &serviceDataAux);
    return serviceDataAux;
}
