#include "scenarios.h"

#include <atomic>
#include <cstdio>
#include <fstream>
#include <functional>
#include <thread>

#include "trevalo/bus_contract.h"

namespace bus_bench {
namespace {

namespace method = trevalo_bus::method;

constexpr int kCallTimeoutMs = 30000;

// Runs `script` `repeat` times against the target, adding to `series`.
void RunScript(test_support::RawClient& client, const ServerProcess& server,
               const std::vector<Request>& script, int repeat, Series& series) {
    const double cpu = server.CpuSeconds();
    const auto start = Clock::now();
    for (int r = 0; r < repeat; ++r) {
        for (const Request& request : script) {
            const auto before = Clock::now();
            if (!client.Request(request.body, request.buffer, kCallTimeoutMs).ok) ++series.failures;
            series.latency_us.push_back(Microseconds(Clock::now() - before));
        }
    }
    series.seconds += std::chrono::duration<double>(Clock::now() - start).count();
    series.server_cpu += server.CpuSeconds() - cpu;
}

// Called for every timed request: target index, round, pass within the round, request index
// within the script, microseconds.
using OnSample = std::function<void(size_t, int, int, size_t, double)>;

// Request by request, in turn: each request of the script goes to every target, one after the
// other, the order rotating with every request, so that all meet the same moments of a busy
// machine. `rounds` times `repeat` passes over the script. A target's throughput is its requests
// over the time its own calls took; its CPU time is read from /proc around the whole.
Outcome Alternate(const std::string& scenario, std::vector<Target>& targets,
                  const std::vector<Request>& script, int rounds, int repeat,
                  const OnSample& on_sample) {
    Outcome outcome{scenario, std::vector<Series>(targets.size())};
    // One untimed pass each, so that none pays for first-time work in the timed rounds.
    for (Target& target : targets) {
        Series warm;
        RunScript(*target.client, *target.process, script, 1, warm);
    }
    std::vector<double> cpu_before;
    for (const Target& target : targets) cpu_before.push_back(target.process->CpuSeconds());
    size_t turn = 0;
    for (int round = 0; round < rounds; ++round) {
        for (int r = 0; r < repeat; ++r) {
            for (size_t i = 0; i < script.size(); ++i, ++turn) {
                for (size_t k = 0; k < targets.size(); ++k) {
                    const size_t t = (turn + k) % targets.size();
                    Series& series = outcome.series[t];
                    const auto before = Clock::now();
                    const bool ok =
                        targets[t]
                            .client->Request(script[i].body, script[i].buffer, kCallTimeoutMs)
                            .ok;
                    const double us = Microseconds(Clock::now() - before);
                    if (!ok) ++series.failures;
                    series.latency_us.push_back(us);
                    series.seconds += us / 1e6;
                    if (on_sample) on_sample(t, round, r, i, us);
                }
            }
        }
    }
    for (size_t t = 0; t < targets.size(); ++t) {
        outcome.series[t].server_cpu = targets[t].process->CpuSeconds() - cpu_before[t];
    }
    return outcome;
}

// Clients at once, each its own connection and thread.
struct LoadResult {
    size_t sent = 0;
    size_t received = 0;
    size_t right = 0;
    double seconds = 0;
    Series series;
};

LoadResult Load(const test_support::PrivateBus& bus, const std::string& server,
                const ServerProcess& process, const std::vector<Request>& mix,
                const std::vector<std::string>& expected, int clients, int per_client) {
    std::vector<LoadResult> parts(clients);
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            test_support::RawClient client(bus, server);
            LoadResult& part = parts[c];
            part.series.latency_us.reserve(per_client);
            ++ready;
            while (!go) std::this_thread::yield();
            for (int i = 0; i < per_client; ++i) {
                // Each client starts elsewhere in the mix, so the servers see them interleaved.
                const size_t k = (static_cast<size_t>(i) + c * 3) % mix.size();
                const auto before = Clock::now();
                ++part.sent;
                const test_support::Reply reply =
                    client.Request(mix[k].body, mix[k].buffer, kCallTimeoutMs);
                part.series.latency_us.push_back(Microseconds(Clock::now() - before));
                if (!reply.ok) continue;
                ++part.received;
                if (reply.body == expected[k]) ++part.right;
            }
        });
    }
    while (ready < clients) std::this_thread::yield();
    const double cpu = process.CpuSeconds();
    const auto start = Clock::now();
    go = true;
    for (auto& thread : threads) thread.join();
    LoadResult total;
    total.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    total.series.server_cpu = process.CpuSeconds() - cpu;
    for (const LoadResult& part : parts) {
        total.sent += part.sent;
        total.received += part.received;
        total.right += part.right;
        total.series.latency_us.insert(total.series.latency_us.end(),
                                       part.series.latency_us.begin(),
                                       part.series.latency_us.end());
    }
    total.series.seconds = total.seconds;
    total.series.failures = total.sent - total.received;
    return total;
}

void Add(LoadResult& total, const LoadResult& part) {
    total.sent += part.sent;
    total.received += part.received;
    total.right += part.right;
    total.seconds += part.seconds;
    total.series.latency_us.insert(total.series.latency_us.end(), part.series.latency_us.begin(),
                                   part.series.latency_us.end());
    total.series.seconds += part.series.seconds;
    total.series.server_cpu += part.series.server_cpu;
    total.series.failures += part.series.failures;
}

}  // namespace

void PrintHeader() {
    std::printf("%-16s %-11s %9s %10s %9s %9s %12s %7s\n", "scenario", "target", "requests",
                "req/s", "p50 us", "p99 us", "cpu us/req", "lost");
}

void PrintOutcome(const Outcome& outcome, const std::vector<Target>& targets, bool paired) {
    for (size_t t = 0; t < targets.size(); ++t) {
        const Series& series = outcome.series[t];
        std::printf("%-16s %-11s %9zu %10.0f %9.1f %9.1f %12.1f %7zu\n", outcome.scenario.c_str(),
                    targets[t].label, series.latency_us.size(), series.Rate(),
                    series.Percentile(0.50), series.Percentile(0.99), series.CpuPerRequestUs(),
                    series.failures);
    }
    const Series& service = outcome.series.back();
    for (size_t t = 0; t + 1 < targets.size(); ++t) {
        const Series& echo = outcome.series[t];
        std::printf(
            "%-16s service/%-11s throughput %.3f (%.3f without the slowest 1 %%, %.3f paired "
            "median), p50 %.2fx, p99 %.2fx, server cpu %.2fx\n",
            outcome.scenario.c_str(), targets[t].label, service.Rate() / echo.Rate(),
            echo.TrimmedMeanUs() / service.TrimmedMeanUs(),
            paired ? PairedMedianRatio(echo, service) : 0.0,
            service.Percentile(0.5) / echo.Percentile(0.5),
            service.Percentile(0.99) / echo.Percentile(0.99),
            service.CpuPerRequestUs() / echo.CpuPerRequestUs());
    }
    std::printf("\n");
    std::fflush(stdout);
}

Outcome RunQueries(Bench& bench) {
    const std::vector<Request> queries{Query(method::kSizeOfAudio), Query(method::kGetAudio, 0),
                                       Query(method::kGetPID, bench.audio_tag)};
    return Alternate("queries", bench.targets, queries, bench.rounds, 200, nullptr);
}

Outcome RunSendPmt(Bench& bench) {
    return Alternate(method::kSendPMTData, bench.targets, {SendPmt(*bench.largest, false)},
                     bench.rounds, 300, nullptr);
}

Outcome RunChannelChange(Bench& bench) {
    std::vector<std::vector<Request>> bursts;
    for (const Section& section : bench.sections) {
        bursts.push_back(ChannelChange(*bench.Service().client, section));
    }
    std::vector<Request> script;
    std::vector<size_t> burst_of;  // request index -> burst index within one cycle
    for (size_t b = 0; b < bursts.size(); ++b) {
        for (const Request& request : bursts[b]) {
            script.push_back(request);
            burst_of.push_back(b);
        }
    }
    std::ofstream samples(bench.samples);
    samples << "target\tburst\tmethod\tlatency_us\n";
    constexpr int kCycles = 2;
    Outcome outcome =
        Alternate("channel change", bench.targets, script, bench.rounds, kCycles,
                  [&](size_t target, int round, int r, size_t i, double us) {
                      const size_t burst =
                          (static_cast<size_t>(round) * kCycles + r) * bursts.size() + burst_of[i];
                      samples << bench.targets[target].label << '\t' << burst << '\t'
                              << script[i].method << '\t' << us << '\n';
                  });
    std::printf("channel change: %zu requests per cycle; samples in %s\n", script.size(),
                bench.samples.c_str());
    return outcome;
}

bool RunLoad(Bench& bench) {
    const Section& largest = *bench.largest;
    const std::vector<Request> mix{
        SendPmt(largest, false),        Query(method::kSizeOfAudio),
        Query(method::kGetAudio, 0),    Query(method::kGetPID, bench.audio_tag),
        Query(method::kSizeOfVideo),    Query(method::kGetVideo, 0),
        Query(method::kSizeOfSubtitle), Query(method::kGetPID, 255)};
    // The echo servers answer the request body; the service, what it answers the request alone.
    std::vector<std::vector<std::string>> expected(bench.targets.size());
    test_support::RawClient& service = *bench.Service().client;
    ReturnData(service, SendPmt(largest, true));
    for (const Request& request : mix) {
        const std::string body = service.Request(request.body, request.buffer, kCallTimeoutMs).body;
        for (size_t t = 0; t < bench.targets.size(); ++t) {
            expected[t].push_back(t + 1 == bench.targets.size() ? body : request.body);
        }
    }
    constexpr int kClients = 8;
    constexpr int kSlices = 10;
    std::vector<LoadResult> results(bench.targets.size());
    for (int slice = 0; slice < kSlices; ++slice) {
        const int count = bench.per_client / kSlices + (slice < bench.per_client % kSlices ? 1 : 0);
        if (count == 0) continue;
        for (size_t k = 0; k < bench.targets.size(); ++k) {
            const size_t t = (slice + k) % bench.targets.size();
            const Target& target = bench.targets[t];
            Add(results[t], Load(bench.bus, target.server_name, *target.process, mix, expected[t],
                                 kClients, count));
        }
    }
    Outcome printed{"8 clients", {}};
    bool all_right = true;
    for (size_t t = 0; t < bench.targets.size(); ++t) {
        const LoadResult& result = results[t];
        printed.series.push_back(result.series);
        std::printf("load: %-11s sent %zu, received %zu, right %zu\n", bench.targets[t].label,
                    result.sent, result.received, result.right);
        all_right = all_right && result.received == result.sent && result.right == result.sent;
    }
    PrintOutcome(printed, bench.targets, false);  // concurrent clients: no pairs
    return all_right;
}

}  // namespace bus_bench
