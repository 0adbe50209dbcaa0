// bus_bench: the catalogue and the channel change as sd-bus clients see them (a GDBus client
// costs more than the service), against the sd-bus echo's round trip measured in the same run.
#ifndef BENCH_BUS_BENCH_SDBUS_CLIENT_SCENARIO_H
#define BENCH_BUS_BENCH_SDBUS_CLIENT_SCENARIO_H

#include <string>
#include <vector>

#include "requests.h"

namespace bus_bench {

// Over `rounds` rounds, in turn: two SendPMTData, the largest section resent unchanged and a
// channel change alternating between it and the largest section of another programme, and three
// queries, each paired with the same message to the echo; GetAll of the catalogue interface
// against GetCatalogue; and for the channel change, when a listener on a second connection holds
// the new values from PropertiesChanged against when the requester holds its reply. `part`
// "resend" or "change" runs only that SendPMTData (for a profiler). Prints its own lines.
void RunSdBusClientScenario(const std::string& bus_address, const std::string& echo_server,
                            const std::vector<Section>& sections, const Section& largest,
                            int audio_tag, int rounds, const std::string& part = "");

}  // namespace bus_bench

#endif
