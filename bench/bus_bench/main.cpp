// The service on the bus against the bus itself: a private dbus-daemon, two echo servers with the
// service's interface (this program again: a bare GDBus server with --echo-server, what a plain
// GLib server does; an sd-bus server in a GLib loop with --sd-echo-server, the best a server on
// this bus can do), and the real service, all driven by the same bare GDBus client, request by
// request in turn. Prints throughput and latency per scenario with the ratios of the service to
// each echo server, resident memory and start-up time.
//
//   bus_bench [--rounds N] [--per-client N] [--only SCENARIO] [--samples FILE] [--keep]
//             [--service PATH] [--wrap "COMMAND ..."] [--wrap-echo "COMMAND ..."]
//
//   --rounds       passes over each scenario's requests, in units of a few hundred (default 20)
//   --per-client   requests of each of the 8 concurrent clients (default 10000)
//   --only         one scenario after the start-up measurements: queries, pmt, channel,
//                  catalogue (the whole catalogue per channel change, classic way against
//                  GetCatalogue, and a listener of CatalogueChanged), sdbus (sd-bus clients:
//                  the largest section resent and a channel change, the queries, GetAll, and
//                  the values from PropertiesChanged against the reply, beside the sd-bus
//                  echo), sdbus-resend or sdbus-change (one of those SendPMTData alone, for
//                  --wrap "valgrind --tool=callgrind") or load
//   --samples      the file for every latency sample of the channel-change scenario
//                  (tab-separated: target, burst, method, microseconds), for plot_latency.sh
//   --keep         leaves the directory with the servers' logs in /tmp
//   --service      another build of the service (default: the one built beside this program)
//   --wrap         runs the service under another program, a profiler for instance:
//                  --wrap "valgrind --tool=callgrind"; --wrap-echo does so for the echo servers
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "catalogue_scenario.h"
#include "echo_servers.h"
#include "files.h"
#include "private_bus.h"
#include "scenarios.h"
#include "sdbus_client_scenario.h"
#include "trevalo/bus_contract.h"

namespace bus_bench {
namespace {

constexpr const char kEchoName[] = "bus_bench_echo";
constexpr const char kSdEchoName[] = "bus_bench_sd_echo";

struct Options {
    int rounds = 20;
    int per_client = 10000;
    std::string samples = "bus_bench_channel_change.tsv";
    bool keep = false;
    std::vector<std::string> wrap;       // before the service's command line
    std::vector<std::string> wrap_echo;  // before each echo server's
    std::string only;  // one scenario: queries, pmt, channel, catalogue, sdbus or load
    std::string service = TREVALO_SERVICE_BINARY;
};

std::string ReadLink(const char* path) {
    char buffer[4096];
    const ssize_t n = readlink(path, buffer, sizeof buffer - 1);
    if (n <= 0) throw std::runtime_error("cannot read /proc/self/exe");
    return std::string(buffer, static_cast<size_t>(n));
}

std::string FindInPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "/usr/bin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::string candidate = directory + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return program;
}

long FileSize(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    return file ? static_cast<long>(file.tellg()) : -1;
}

// One memory figure of every server at idle (and before and after the load when it ran), then
// the service's figure over each other server's.
void PrintMemoryTable(const char* name, const std::vector<const char*>& labels,
                      const std::vector<ResidentMemory>& idle,
                      const std::vector<ResidentMemory>& before,
                      const std::vector<ResidentMemory>& after, long ResidentMemory::*field) {
    const bool loaded = !before.empty();
    std::printf("resident memory (%s, KiB)  idle%s\n", name,
                loaded ? "  before-load  after-load  growth-over-load" : "");
    for (size_t k = 0; k < labels.size(); ++k) {
        std::printf("  %-24s %7ld", labels[k], idle[k].*field);
        if (loaded) {
            std::printf(" %12ld %11ld %17ld", before[k].*field, after[k].*field,
                        after[k].*field - before[k].*field);
        }
        std::printf("\n");
    }
    for (size_t k = 0; k + 1 < labels.size(); ++k) {
        std::printf("  service/%-15s %7.2f", labels[k],
                    static_cast<double>(idle.back().*field) / idle[k].*field);
        if (loaded) {
            std::printf(" %12.2f %11.2f",
                        static_cast<double>(before.back().*field) / before[k].*field,
                        static_cast<double>(after.back().*field) / after[k].*field);
        }
        std::printf("\n");
    }
}

int RunBenchmark(const Options& options) {
    test_support::TemporaryDirectory directory("bus-bench");
    if (options.keep) directory.Keep();
    const test_support::PrivateBus bus;
    if (!bus.Started()) throw std::runtime_error("dbus-daemon did not start");
    const std::string self = ReadLink("/proc/self/exe");
    const std::string state_path = directory.Path() + "/platform-state.json";
    // A receiver's platform state: the service stats it on every read of it.
    std::ofstream(state_path) << "{ \"system_info\": { \"709\": 200 },\n"
                                 "  \"tv_service\": { \"tv_mode\": 1, \"service_id\": 4660 } }\n";
    // Dated back: the run measures the steady state, not the seconds after a change of the
    // platform, when every read of the state compares the file's content.
    const timespec past[2] = {{time(nullptr) - 60, 0}, {time(nullptr) - 60, 0}};
    utimensat(AT_FDCWD, state_path.c_str(), past, 0);
    const std::vector<std::string> environment{"PLATFORM_SIM_STATE=" + state_path};

    struct Server {
        const char* label;
        const char* name;
        std::vector<std::string> command;
    };
    std::vector<Server> servers{{"gdbus-echo", kEchoName, options.wrap_echo},
                                {"sdbus-echo", kSdEchoName, options.wrap_echo},
                                {"service", trevalo_bus::kServerName, options.wrap}};
    servers[0].command.insert(servers[0].command.end(), {self, "--echo-server", kEchoName});
    servers[1].command.insert(servers[1].command.end(), {self, "--sd-echo-server", kSdEchoName});
    servers[2].command.push_back(options.service);
    const std::string service_log = directory.Path() + "/service.log";

    GDBusConnection* watcher = test_support::ConnectToBus(bus.Address());
    if (watcher == nullptr) throw std::runtime_error("cannot connect to " + bus.Address());

    // Start-up: exec to name owned, the servers in turn, the median of several starts of each.
    constexpr int kStarts = 7;
    std::vector<std::vector<double>> starts(servers.size());
    for (int i = 0; i < kStarts; ++i) {
        for (size_t k = 0; k < servers.size(); ++k) {
            const Server& server = servers[(i + k) % servers.size()];
            ServerProcess process(watcher, bus, server.command, server.name,
                                  directory.Path() + "/start.log", environment);
            starts[(i + k) % servers.size()].push_back(process.StartUpMs());
        }
    }

    std::vector<std::unique_ptr<ServerProcess>> processes;
    for (const Server& server : servers) {
        const bool is_service = &server == &servers.back();
        processes.push_back(std::make_unique<ServerProcess>(
            watcher, bus, server.command, server.name,
            is_service ? service_log : directory.Path() + "/" + server.label + ".log",
            environment));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::vector<ResidentMemory> idle;
    for (const auto& process : processes) idle.push_back(process->Memory());

    Bench bench{bus, options.rounds, options.per_client, options.samples, {}, ReadSections()};
    for (size_t k = 0; k < servers.size(); ++k) {
        bench.targets.push_back({servers[k].label,
                                 std::make_unique<test_support::RawClient>(bus, servers[k].name),
                                 processes[k].get(), servers[k].name});
    }
    bench.largest = &*std::max_element(
        bench.sections.begin(), bench.sections.end(),
        [](const Section& a, const Section& b) { return a.bytes.size() < b.bytes.size(); });
    if (ReturnData(*bench.Service().client, SendPmt(*bench.largest, true)).asInt() != 0) {
        throw std::runtime_error(bench.largest->name + " is not accepted");
    }
    bench.audio_tag =
        EntryOf(ReturnData(*bench.Service().client,
                           Query(trevalo_bus::method::kGetAudio, 0)))[trevalo_bus::member::kCompTag]
            .asInt();

    std::printf("bus_bench: %zu sections, the largest %s.sec (%zu bytes), %d rounds\n\n",
                bench.sections.size(), bench.largest->name.c_str(), bench.largest->bytes.size(),
                options.rounds);
    PrintHeader();
    const auto wanted = [&](const char* scenario) {
        return options.only.empty() || options.only == scenario;
    };
    if (wanted("queries")) PrintOutcome(RunQueries(bench), bench.targets);
    if (wanted("pmt")) PrintOutcome(RunSendPmt(bench), bench.targets);
    if (wanted("channel")) PrintOutcome(RunChannelChange(bench), bench.targets);
    if (wanted("catalogue")) RunWholeCatalogueScenario(bus, bench.sections, options.rounds);
    if (wanted("sdbus")) {
        RunSdBusClientScenario(bus.Address(), kSdEchoName, bench.sections, *bench.largest,
                               bench.audio_tag, options.rounds);
    }
    for (const char* part : {"resend", "change"}) {
        if (options.only == std::string("sdbus-") + part) {
            RunSdBusClientScenario(bus.Address(), kSdEchoName, bench.sections, *bench.largest,
                                   bench.audio_tag, options.rounds, part);
        }
    }
    bool all_right = true;
    std::vector<ResidentMemory> before, after;
    if (wanted("load")) {
        for (const auto& process : processes) before.push_back(process->Memory());
        all_right = RunLoad(bench);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        for (const auto& process : processes) after.push_back(process->Memory());
    }
    // VmRSS counts the shared library pages every process on the box shares; RssAnon is the
    // server's own memory.
    std::vector<const char*> labels;
    for (const Server& server : servers) labels.push_back(server.label);
    for (long ResidentMemory::*field :
         {&ResidentMemory::vm_rss_kib, &ResidentMemory::rss_anon_kib}) {
        PrintMemoryTable(field == &ResidentMemory::vm_rss_kib ? "VmRSS" : "RssAnon", labels, idle,
                         before, after, field);
    }
    std::printf("\nstart-up, exec to name owned (median of %d):", kStarts);
    for (size_t k = 0; k < servers.size(); ++k) {
        std::printf(" %s %.1f ms%s", servers[k].label, Median(starts[k]),
                    k + 1 < servers.size() ? "," : "\n");
    }
    for (size_t k = 0; k + 1 < servers.size(); ++k) {
        std::printf("  ratio service/%s %.2f\n", servers[k].label,
                    Median(starts.back()) / Median(starts[k]));
    }
    std::printf("service log: %ld bytes\n", FileSize(service_log));
    if (options.keep) std::printf("logs kept in %s\n", directory.Path().c_str());

    bench.targets.clear();
    processes.clear();
    g_dbus_connection_close_sync(watcher, nullptr, nullptr);
    g_object_unref(watcher);
    return all_right ? 0 : 1;
}

int Main(int argc, char** argv) {
    try {
        if (argc == 3 && std::strcmp(argv[1], "--echo-server") == 0) {
            return RunGDBusEchoServer(argv[2]);
        }
        if (argc == 3 && std::strcmp(argv[1], "--sd-echo-server") == 0) {
            return RunSdBusEchoServer(argv[2]);
        }
        Options options;
        for (int i = 1; i < argc; ++i) {
            const std::string arg = argv[i];
            if (arg == "--rounds" && i + 1 < argc) {
                options.rounds = std::max(1, std::atoi(argv[++i]));
            } else if (arg == "--per-client" && i + 1 < argc) {
                options.per_client = std::max(1, std::atoi(argv[++i]));
            } else if (arg == "--samples" && i + 1 < argc) {
                options.samples = argv[++i];
            } else if (arg == "--service" && i + 1 < argc) {
                options.service = argv[++i];
            } else if (arg == "--only" && i + 1 < argc) {
                options.only = argv[++i];
            } else if (arg == "--keep") {
                options.keep = true;
            } else if ((arg == "--wrap" || arg == "--wrap-echo") && i + 1 < argc) {
                std::vector<std::string>& wrap = arg == "--wrap" ? options.wrap : options.wrap_echo;
                std::istringstream words(argv[++i]);
                for (std::string word; words >> word;) wrap.push_back(word);
                // execv needs a path: look the wrapper up as a shell would.
                if (!wrap.empty() && wrap[0].find('/') == std::string::npos) {
                    wrap[0] = FindInPath(wrap[0]);
                }
            } else {
                std::fprintf(
                    stderr,
                    "usage: %s [--rounds N] [--per-client N] [--samples FILE] [--keep] "
                    "[--wrap \"COMMAND ...\"] [--wrap-echo \"COMMAND ...\"] "
                    "[--only queries|pmt|channel|catalogue|sdbus|sdbus-resend|sdbus-change|load] "
                    "[--service PATH]\n",
                    argv[0]);
                return 2;
            }
        }
        signal(SIGPIPE, SIG_IGN);
        return RunBenchmark(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bus_bench: %s\n", failure.what());
        return 1;
    }
}

}  // namespace
}  // namespace bus_bench

int main(int argc, char** argv) {
    return bus_bench::Main(argc, argv);
}
