// bus_bench: the scenarios, each a function over the shared Bench, and the table they print.
#ifndef BENCH_BUS_BENCH_SCENARIOS_H
#define BENCH_BUS_BENCH_SCENARIOS_H

#include <string>
#include <vector>

#include "private_bus.h"
#include "requests.h"
#include "servers.h"
#include "statistics.h"

namespace bus_bench {

// What the scenarios share: the bus, the targets (the GDBus echo, the sd-bus echo, the service,
// in that order) and the captured sections.
struct Bench {
    const test_support::PrivateBus& bus;
    int rounds;
    int per_client;
    std::string samples;  // the file for every latency of the channel-change scenario
    std::vector<Target> targets;
    std::vector<Section> sections;
    const Section* largest = nullptr;
    int audio_tag = 0;  // the component tag of the first audio entry of the largest section

    Target& Service() { return targets.back(); }
};

// A scenario's series, one per target, in the order of the targets (the service last).
struct Outcome {
    std::string scenario;
    std::vector<Series> series;
};

void PrintHeader();
// `paired`: the series were filled request by request in turn, so the paired median means
// something.
void PrintOutcome(const Outcome& outcome, const std::vector<Target>& targets, bool paired = true);

// SizeOfAudio, GetAudio 0 and GetPID of the first audio tag, over the largest section's catalogue.
Outcome RunQueries(Bench& bench);
// SendPMTData of the largest section, without reset, the same each time.
Outcome RunSendPmt(Bench& bench);
// Every captured section in turn, each as a channel change shaped by the service's own answers;
// every latency goes to the samples file.
Outcome RunChannelChange(Bench& bench);
// 8 clients at once, in ten slices, the targets in turn; every reply is checked. Prints its
// table; false when a reply was lost or wrong.
bool RunLoad(Bench& bench);

}  // namespace bus_bench

#endif
