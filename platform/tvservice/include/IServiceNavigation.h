#ifndef TVSERVICE_ISERVICENAVIGATION_H
#define TVSERVICE_ISERVICENAVIGATION_H

#include "TCCriteriaHelper.h"
#include "TCServiceData.h"
#include "TSTvMode.h"

// Finds the services of the receiver and reads their data. Handed out by
// TVServiceAPI::CreateServiceNavigation and owned by the library: the destructor is not public,
// so a caller cannot delete it.
class IServiceNavigation {
  public:
    // Fills `mode` with the receiver's current TV mode. Returns 1 or more on success; 0 or less
    // on failure, with `mode` untouched.
    virtual int GetTvMode(TSTvMode* mode) = 0;

    // Fills `data` with the attributes that `criteria` fetch, of the service that `criteria`
    // select in `mode`. The criteria must have been set up by
    // TCNavigationModeHelper::GetNavigationCriteria. Returns 1 or more on success, `data` then
    // holding a store (which lacks the attributes the service does not have); 0 or less on
    // failure, with `data` untouched.
    virtual int GetCurrentServiceInfo(TSTvMode mode, TCCriteriaHelper& criteria,
                                      TCServiceData* data) = 0;

  protected:
    ~IServiceNavigation() = default;
};

#endif
