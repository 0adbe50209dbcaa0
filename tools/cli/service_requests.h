// The service's methods as calls with typed answers. Each throws FailureAnswer when the answer
// is not of the documented shape, besides what ServiceConnection::Request throws.
#ifndef TREVALO_CLI_SERVICE_REQUESTS_H
#define TREVALO_CLI_SERVICE_REQUESTS_H

#include <cstdint>
#include <vector>

#include "catalogue.h"
#include "service_connection.h"

namespace trevalo_cli {

// "SendPMTData": true when the service rebuilt its catalogue from the section, false when it
// found no valid PMT of the programme in it.
bool SendPmtSection(ServiceConnection& service, const std::vector<uint8_t>& section,
                    uint16_t program_number, bool reset);

// The three lists, through "SizeOf..." and "Get..." for every index.
Catalogue ReadCatalogue(ServiceConnection& service);

// The three lists in one "GetCatalogue" call; through ReadCatalogue when the service answers it
// as an unknown method (a service from before that method).
Catalogue ReadWholeCatalogue(ServiceConnection& service);

// The three lists and the programme number from the properties of the catalogue interface, in
// one GetAll call. False when the service has no such interface (or its properties make no
// catalogue): the caller then asks as a service without it is asked. Throws as
// ServiceConnection::Request does for any other failure (nobody answering, a refusal).
bool ReadCatalogueProperties(ServiceConnection& service, Catalogue& catalogue, int& program_number);

// The three lists the shortest way the service offers them: ReadCatalogueProperties, else
// ReadWholeCatalogue.
Catalogue ReadCurrentCatalogue(ServiceConnection& service);

// "GetPID": the PID carrying component tag `tag`, 0 when none does.
int LookUpPid(ServiceConnection& service, int tag);

// "SaveCurrentVideoPlayingTime" and "GetCurrentVideoPlayingTime", in milliseconds.
void SavePlayingTime(ServiceConnection& service, uint32_t milliseconds);
uint32_t ReadPlayingTime(ServiceConnection& service);

}  // namespace trevalo_cli

#endif
