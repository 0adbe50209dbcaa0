// The service over a long run: a million mixed requests from one client on a private bus
// (channel changes and resends of every captured PMT section, the size and entry queries,
// GetPID, GetCatalogue, GetAll of the catalogue interface, the playing time saved and read),
// with the service's private memory (RssAnon, beside VmRSS), open descriptors and threads
// sampled every 100,000. Prints a line per sample and the rate; exits 1 when a request went
// unanswered or, after the first 100,000, the descriptors or threads grew at all or RssAnon by
// more than 64 KiB.
//
//   soak_bench [--requests N] [--every N]
#include <dirent.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "bus_bench/requests.h"
#include "private_bus.h"
#include "resident_memory.h"
#include "trevalo/bus_contract.h"

namespace {

using bus_bench::Request;
namespace method = trevalo_bus::method;

constexpr long kAllowedGrowthKiB = 64;

struct Sample {
    long requests = 0;
    ResidentMemory memory;
    long descriptors = 0;
    long threads = 0;
};

long EntriesOf(const std::string& directory) {
    long count = 0;
    if (DIR* listing = opendir(directory.c_str())) {
        while (const dirent* entry = readdir(listing)) count += entry->d_name[0] != '.';
        closedir(listing);
    }
    return count;
}

Sample Take(pid_t pid, long requests) {
    const std::string proc = "/proc/" + std::to_string(pid);
    return {requests, ReadResidentMemory(pid), EntriesOf(proc + "/fd"), EntriesOf(proc + "/task")};
}

// One round of the mix: per section a channel change, a resend and the queries a player makes
// after it, then the whole catalogue both ways and the playing time.
std::vector<Request> Mix(const std::vector<bus_bench::Section>& sections) {
    std::vector<Request> mix;
    const test_support::Bytes time{0x10, 0x27, 0x00, 0x00};  // 10 s, host order on x86 and ARM
    for (const bus_bench::Section& section : sections) {
        mix.push_back(bus_bench::SendPmt(section, true));
        mix.push_back(bus_bench::SendPmt(section, false));
        for (const char* query : {method::kSizeOfAudio, method::kSizeOfVideo,
                                  method::kSizeOfSubtitle, method::kGetCatalogue}) {
            mix.push_back(bus_bench::Query(query));
        }
        for (const char* entry : {method::kGetAudio, method::kGetVideo, method::kGetSubtitle}) {
            mix.push_back(bus_bench::Query(entry, 0));
        }
        mix.push_back(bus_bench::Query(method::kGetPID, 1));
        mix.push_back({"GetAll", "", {}});  // the catalogue interface's properties
        Request save = bus_bench::Query(method::kSaveCurrentVideoPlayingTime);
        save.buffer = time;
        mix.push_back(save);
        mix.push_back(bus_bench::Query(method::kGetCurrentVideoPlayingTime));
    }
    return mix;
}

bool GetAll(test_support::RawClient& client) {
    GVariant* reply = g_dbus_connection_call_sync(
        client.Connection(), trevalo_bus::kBusName, trevalo_bus::kObjectPath,
        trevalo_bus::catalogue::kPropertiesInterface, "GetAll",
        g_variant_new("(s)", trevalo_bus::catalogue::kInterface), G_VARIANT_TYPE("(a{sv})"),
        G_DBUS_CALL_FLAGS_NONE, 30000, nullptr, nullptr);
    if (reply == nullptr) return false;
    g_variant_unref(reply);
    return true;
}

void Print(const Sample& sample, const Sample* baseline, double seconds) {
    std::printf("  %9ld %9ld %9ld", sample.requests, sample.memory.vm_rss_kib,
                sample.memory.rss_anon_kib);
    if (baseline != nullptr) {
        std::printf(" %+9ld", sample.memory.rss_anon_kib - baseline->memory.rss_anon_kib);
    } else {
        std::printf(" %9s", "");
    }
    std::printf(" %11ld %7ld %8.1f\n", sample.descriptors, sample.threads, seconds);
    std::fflush(stdout);  // a line per sample as it comes, over a run of minutes
}

int Run(long total, long every) {
    const test_support::PrivateBus bus;
    if (!bus.Started()) throw std::runtime_error("dbus-daemon did not start");
    // The service's lines are made as always and thrown away: a million requests write gigabytes.
    test_support::ServiceProcess service(bus, TREVALO_SERVICE_BINARY, {}, {}, "/dev/null");
    if (!service.WaitForName(trevalo_bus::kBusName)) throw std::runtime_error("no service");
    test_support::RawClient client(bus);
    const std::vector<Request> mix = Mix(bus_bench::ReadSections());

    std::printf("soak_bench: %ld requests, a mix of %zu over %zu captured sections\n", total,
                mix.size(), bus_bench::ReadSections().size());
    std::printf("  %9s %9s %9s %9s %11s %7s %8s\n", "requests", "VmRSS", "RssAnon", "growth",
                "descriptors", "threads", "seconds");
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    std::vector<Sample> samples{Take(service.Pid(), 0)};
    Print(samples[0], nullptr, 0);
    long failed = 0;
    for (long sent = 1; sent <= total; ++sent) {
        const Request& request = mix[static_cast<size_t>(sent) % mix.size()];
        const bool answered = request.method == "GetAll"
                                  ? GetAll(client)
                                  : client.Request(request.body, request.buffer, 30000).ok;
        failed += !answered;
        if (sent % every == 0) {
            samples.push_back(Take(service.Pid(), sent));
            Print(samples.back(), samples.size() > 2 ? &samples[1] : nullptr, elapsed());
        }
    }
    const double seconds = elapsed();
    std::printf("%ld requests in %.1f s (%.0f a second), %ld unanswered\n", total, seconds,
                total / seconds, failed);

    // From the first sample after warm-up on, nothing may grow.
    bool grew = false;
    for (size_t k = 2; k < samples.size(); ++k) {
        grew = grew || samples[k].descriptors > samples[1].descriptors ||
               samples[k].threads > samples[1].threads ||
               samples[k].memory.rss_anon_kib > samples[1].memory.rss_anon_kib + kAllowedGrowthKiB;
    }
    std::printf("after the first %ld: %s\n", every,
                grew ? "GREW (descriptors, threads, or RssAnon by more than 64 KiB)"
                     : "descriptors and threads steady, RssAnon within 64 KiB");
    return failed == 0 && !grew && service.Stop(SIGTERM) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    long total = 1000000;
    long every = 100000;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--requests") == 0 && i + 1 < argc) {
            total = std::max(1L, std::atol(argv[++i]));
        } else if (std::strcmp(argv[i], "--every") == 0 && i + 1 < argc) {
            every = std::max(1L, std::atol(argv[++i]));
        } else {
            std::fprintf(stderr, "usage: %s [--requests N] [--every N]\n", argv[0]);
            return 2;
        }
    }
    signal(SIGPIPE, SIG_IGN);
    try {
        return Run(total, every);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "soak_bench: %s\n", failure.what());
        return 1;
    }
}
