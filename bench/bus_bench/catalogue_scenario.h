// bus_bench: channel change with the whole catalogue in hand, on the service alone (an echo server
// has no catalogue).
#ifndef BENCH_BUS_BENCH_CATALOGUE_SCENARIO_H
#define BENCH_BUS_BENCH_CATALOGUE_SCENARIO_H

#include <vector>

#include "private_bus.h"
#include "requests.h"

namespace bus_bench {

// The classic way (the three sizes, every entry by index, GetPID for every tag) against
// "GetCatalogue", each timed from sending the PMT to holding the whole catalogue; and a listener
// that reads the catalogue when "CatalogueChanged" arrives, timed from the moment "SendPMTData"
// was answered. Prints its own lines.
void RunWholeCatalogueScenario(const test_support::PrivateBus& bus,
                               const std::vector<Section>& sections, int rounds);

}  // namespace bus_bench

#endif
