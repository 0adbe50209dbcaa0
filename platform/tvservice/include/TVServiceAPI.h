// The TV-service library: navigation among services, AV control, and auxiliary service data.
//
// Ownership: the library owns every object it hands out. CreateServiceNavigation, CreateAVControl
// and ServiceDataAux give the same shared object for the same (profile, index) on every call; it
// stays valid for the life of the process and the caller never releases it. Asking again is cheap.
//
// All calls are synchronous and made on the caller's thread.
#ifndef TVSERVICE_API_H
#define TVSERVICE_API_H

#include "TVServiceTypes.h"

class IServiceNavigation {
  public:
    virtual ~IServiceNavigation() = default;
    // Fills `mode` with the current TV mode. Returns 1 or more on success.
    virtual int GetTvMode(TSTvMode* mode) = 0;
    // Fills `data` with the attributes `criteria` asks for, of the service the criteria select in
    // `mode`. Returns 1 or more on success.
    virtual int GetCurrentServiceInfo(TSTvMode mode, TCCriteriaHelper& criteria,
                                      TCServiceData* data) = 0;
};

class IAVControl {
  public:
    virtual ~IAVControl() = default;
    // Fills the ISO 639 language code (packed, first character highest) and the index, within the
    // current service, of the audio being played. Returns non-zero on success; the index may be
    // left untouched when the player has none selected.
    virtual int GetCurrentAudioInfo(int* language_code, int* current_index) = 0;
};

class IServiceDataAux {
  public:
    virtual ~IServiceDataAux() = default;
    // Fills `audio` with the audio track `audio_index` of service `service_id`. Returns exactly 1
    // on success (and only then touches `audio`).
    virtual int GetAudio(unsigned long long& service_id, int audio_index, TSAudio& audio) = 0;
};

class TCNavigationModeHelper {
  public:
    // Sets up `criteria` to select, in `tv_mode`, the service that `mode` names; `service_list`
    // narrows the search to a list (all bits set: no restriction). True when the criteria are set.
    static bool GetNavigationCriteria(TSTvMode tv_mode, ENavigationMode mode,
                                      TCCriteriaHelper& criteria, unsigned long long service_list);
};

class TVServiceAPI {
  public:
    // Hands out the navigation object through `navigation` (null on failure). Returns 0 on
    // success.
    static int CreateServiceNavigation(EProfile profile, int index,
                                       IServiceNavigation** navigation);
    // Hands out the AV-control object through `av_control` (null on failure). Returns 0 on
    // success.
    static int CreateAVControl(EProfile profile, int index, IAVControl** av_control);
    // The auxiliary service-data object, or null when it cannot be had.
    static IServiceDataAux* ServiceDataAux(EProfile profile, int index);
};

#endif
