// bus_bench: the catalogue and the channel change as sd-bus clients see them (a GDBus client
// costs more than the service), against the sd-bus echo's round trip measured in the same run.
#ifndef BENCH_BUS_BENCH_SDBUS_CLIENT_SCENARIO_H
#define BENCH_BUS_BENCH_SDBUS_CLIENT_SCENARIO_H

#include <string>
#include <vector>

#include "requests.h"

namespace bus_bench {

// Over `rounds` rounds, in turn: the echo's round trip; the largest section's SendPMTData and
// three queries, each paired with the same message to the echo; the whole new catalogue on a
// second connection from PropertiesChanged alone, and from CatalogueChanged then GetCatalogue;
// GetAll of the catalogue interface against GetCatalogue. Prints its own lines.
void RunSdBusClientScenario(const std::string& bus_address, const std::string& echo_server,
                            const std::vector<Section>& sections, const Section& largest,
                            int audio_tag, int rounds);

}  // namespace bus_bench

#endif
