#ifndef TVSERVICE_ISERVICEDATAAUX_H
#define TVSERVICE_ISERVICEDATAAUX_H

#include "TSAudio.h"

// Further data of services that navigation does not carry, such as the nature of their audio
// tracks. Handed out by TVServiceAPI::ServiceDataAux and owned by the library: the destructor is
// not public, so a caller cannot delete it.
class IServiceDataAux {
  public:
    // Describes audio track `audioIndex` of service `serviceId` in `audio`. `serviceId` is read,
    // not changed. Returns exactly 1 on success; any other value is a failure, and `audio` is
    // then untouched.
    virtual int GetAudio(unsigned long long& serviceId, int audioIndex, TSAudio& audio) = 0;

  protected:
    ~IServiceDataAux() = default;
};

#endif
