#include "statistics.h"

#include <algorithm>

namespace bus_bench {

double Microseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

double Mean(const std::vector<double>& values) {
    double sum = 0;
    for (double value : values) sum += value;
    return values.empty() ? 0 : sum / values.size();
}

double Series::TrimmedMeanUs() const {
    if (latency_us.empty()) return 0;
    std::vector<double> sorted = latency_us;
    std::sort(sorted.begin(), sorted.end());
    const size_t kept = sorted.size() - sorted.size() / 100;
    double sum = 0;
    for (size_t i = 0; i < kept; ++i) sum += sorted[i];
    return sum / kept;
}

double Series::Percentile(double p) const {
    if (latency_us.empty()) return 0;
    std::vector<double> sorted = latency_us;
    const size_t at = std::min(sorted.size() - 1, static_cast<size_t>(p * sorted.size()));
    std::nth_element(sorted.begin(), sorted.begin() + at, sorted.end());
    return sorted[at];
}

double PairedMedianRatio(const Series& echo, const Series& service) {
    const size_t pairs = std::min(echo.latency_us.size(), service.latency_us.size());
    if (pairs == 0) return 0;
    std::vector<double> ratios(pairs);
    for (size_t i = 0; i < pairs; ++i) ratios[i] = echo.latency_us[i] / service.latency_us[i];
    std::nth_element(ratios.begin(), ratios.begin() + pairs / 2, ratios.end());
    return ratios[pairs / 2];
}

}  // namespace bus_bench
