// bus_bench: the figures of a series of timed requests, and the ratios between two series.
#ifndef BENCH_BUS_BENCH_STATISTICS_H
#define BENCH_BUS_BENCH_STATISTICS_H

#include <chrono>
#include <cstddef>
#include <vector>

namespace bus_bench {

using Clock = std::chrono::steady_clock;

double Microseconds(Clock::duration duration);

double Median(std::vector<double> values);
double Mean(const std::vector<double>& values);

// The requests of one target in one scenario.
struct Series {
    std::vector<double> latency_us;
    double seconds = 0;
    double server_cpu = 0;  // seconds of CPU the server spent meanwhile
    size_t failures = 0;

    double Rate() const { return seconds > 0 ? latency_us.size() / seconds : 0; }
    double CpuPerRequestUs() const {
        return latency_us.empty() ? 0 : server_cpu * 1e6 / latency_us.size();
    }
    // The mean latency with the slowest 1 % set aside: on a shared machine a few stalls of
    // milliseconds (the process waiting for a CPU) otherwise decide a ratio of means.
    double TrimmedMeanUs() const;
    double Percentile(double p) const;
};

// The median over the requests of echo latency / service latency, each request taken by both
// back to back: a stall of the machine lands on one of the two calls of a pair, and the median
// leaves it out. Only for series filled request by request in turn.
double PairedMedianRatio(const Series& echo, const Series& service);

}  // namespace bus_bench

#endif
