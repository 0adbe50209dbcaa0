// The TrevaloServiceServer class is one unit spread over several files (catalogue and PMT path,
// private streams, queries, playing time, TV-service lookups); all of them log under the unit's
// name, so a line reads the same whichever file its code lives in.
#ifndef TREVALO_SERVICE_SERVER_LOG_H
#define TREVALO_SERVICE_SERVER_LOG_H

#include "TrevaloLog.h"

#undef TREVALO_LOG_UNIT
#define TREVALO_LOG_UNIT "TrevaloServiceServer.cpp"

#endif
