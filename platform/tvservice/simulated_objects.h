// The library's objects over the simulated receiver. They hold nothing: each call answers from
// the simulated state as it is at that moment.
#ifndef TVSERVICE_SIMULATED_OBJECTS_H
#define TVSERVICE_SIMULATED_OBJECTS_H

#include "IAVControl.h"
#include "IServiceDataAux.h"
#include "IServiceNavigation.h"

class SimulatedNavigation final : public IServiceNavigation {
  public:
    int GetTvMode(TSTvMode* mode) override;
    int GetCurrentServiceInfo(TSTvMode mode, TCCriteriaHelper& criteria,
                              TCServiceData* data) override;
};

class SimulatedAVControl final : public IAVControl {
  public:
    int GetCurrentAudioInfo(int* languageCode, int* currentIndex) override;
};

class SimulatedServiceDataAux final : public IServiceDataAux {
  public:
    int GetAudio(unsigned long long& serviceId, int audioIndex, TSAudio& audio) override;
};

#endif
