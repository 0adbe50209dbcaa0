// The TV-service library: the one header to include.
//
// Ownership: the library owns every object it hands out. For each (profile, index) pair there is
// one navigation object, one AV-control object and one auxiliary service-data object, made on
// the first request and kept until the process exits; every later request for the same pair
// hands out the same object. Callers never release them (their destructors are not public) and
// may ask for them on every use, as often as they like, without leaking anything.
//
// The library is not thread-safe: call it from one thread.
#ifndef TVSERVICE_TVSERVICEAPI_H
#define TVSERVICE_TVSERVICEAPI_H

#include "ENavigationMode.h"
#include "EProfile.h"
#include "IAVControl.h"
#include "IServiceDataAux.h"
#include "IServiceNavigation.h"
#include "TCCriteriaHelper.h"
#include "TCNavigationModeHelper.h"
#include "TCServiceData.h"
#include "TSAudio.h"
#include "TSTvMode.h"

class TVServiceAPI {
  public:
    TVServiceAPI() = delete;

    // Hands out the navigation object of (`profile`, `index`) through `navigation`. Returns 0 on
    // success; otherwise non-zero, with `navigation` (when not null) set to null.
    static int CreateServiceNavigation(EProfile profile, int index,
                                       IServiceNavigation** navigation);

    // Hands out the AV-control object of (`profile`, `index`) through `avControl`. Returns 0 on
    // success; otherwise non-zero, with `avControl` (when not null) set to null.
    static int CreateAVControl(EProfile profile, int index, IAVControl** avControl);

    // The auxiliary service-data object of (`profile`, `index`), or null when it cannot be had.
    static IServiceDataAux* ServiceDataAux(EProfile profile, int index);
};

#endif
