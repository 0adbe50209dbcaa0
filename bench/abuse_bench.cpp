// The service's resident memory under hostile clients: after a warm-up, 100,000 random requests
// (random_requests.h), then buffers 1 KiB below the bus's 32 MiB message limit, which the
// framework refuses. Prints the answers counted and the resident memory (VmRSS, and the private
// RssAnon) at each step; exits 1 when a request went unanswered or was not refused, or the private
// memory ends more than 1 MiB above where it started.
//
//   abuse_bench [--requests N] [--huge N]
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "captured_sections.h"
#include "private_bus.h"
#include "random_requests.h"
#include "resident_memory.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace {

constexpr size_t kBufferAtTheLimit = 32 * 1024 * 1024 - 1024;
constexpr long kAllowedGrowthKiB = 1024;

// "VmRSS V KiB, RssAnon A KiB", and the growth of each from `from` when given.
std::string Described(const ResidentMemory& memory, const ResidentMemory* from = nullptr) {
    char text[160];
    if (from == nullptr) {
        std::snprintf(text, sizeof text, "VmRSS %ld KiB, RssAnon %ld KiB", memory.vm_rss_kib,
                      memory.rss_anon_kib);
    } else {
        std::snprintf(text, sizeof text, "VmRSS %ld KiB (%+ld), RssAnon %ld KiB (%+ld)",
                      memory.vm_rss_kib, memory.vm_rss_kib - from->vm_rss_kib, memory.rss_anon_kib,
                      memory.rss_anon_kib - from->rss_anon_kib);
    }
    return text;
}

// Sends `count` random requests; the number answered as the service promises.
long SendRandom(test_support::RawClient& client, abuse::RandomRequests& requests, long count) {
    long answered = 0;
    for (long i = 0; i < count; ++i) {
        const abuse::RandomRequest request = requests.Next();
        const test_support::Reply reply = client.Request(request.body, request.buffer, 30000);
        Json::Value body;
        const bool right = reply.ok ? request.json && trevalo_json::Parse(reply.body, body) &&
                                          body.isMember(trevalo_bus::member::kReturnData)
                                    : reply.error_name == trevalo_bus::kInvalidMessageError;
        if (right) ++answered;
    }
    return answered;
}

}  // namespace

int main(int argc, char** argv) {
    long request_count = 100000;
    long huge_count = 10;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--requests") == 0) request_count = std::atol(argv[i + 1]);
        if (std::strcmp(argv[i], "--huge") == 0) huge_count = std::atol(argv[i + 1]);
    }
    test_support::PrivateBus bus;
    test_support::ServiceProcess service(bus, TREVALO_SERVICE_BINARY);
    if (!service.WaitForName(trevalo_bus::kBusName)) {
        std::fprintf(stderr, "the service did not start:\n%s", service.Log().c_str());
        return 1;
    }
    test_support::RawClient client(bus);
    const pid_t pid = service.Pid();
    std::vector<test_support::Bytes> sections;
    for (const auto& captured : pmt_test::CapturedSections()) sections.push_back(captured.bytes);
    std::sort(sections.begin(), sections.end());  // by content: the requests follow no file name
    abuse::RandomRequests requests(2026, std::move(sections));

    // Warm-up: what the first requests create once (the parser, the readers) is not growth.
    const long warm = SendRandom(client, requests, 1000);
    const ResidentMemory start = ReadResidentMemory(pid);
    std::printf("after %d warm-up requests (%ld answered): %s\n", 1000, warm,
                Described(start).c_str());

    const auto began = std::chrono::steady_clock::now();
    const long answered = SendRandom(client, requests, request_count);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    const ResidentMemory after_random = ReadResidentMemory(pid);
    std::printf("%ld random requests, %ld answered, %.1f s: %s\n", request_count, answered, seconds,
                Described(after_random, &start).c_str());

    const test_support::Bytes huge(kBufferAtTheLimit, 0x47);
    const char* const bodies[] = {
        R"({"method":"SendPMTData","data":{"reset":true,"programNum":1}})",
        R"({"method":"SaveCurrentVideoPlayingTime"})", R"({"method":"SendPESDataWithFirstPTS"})"};
    long huge_refused = 0;
    long peak = after_random.vm_rss_kib;
    for (long i = 0; i < huge_count; ++i) {
        const test_support::Reply reply = client.Request(bodies[i % 3], huge, 120000);
        if (reply.error_name == trevalo_bus::kInvalidMessageError) ++huge_refused;
        peak = std::max(peak, ReadResidentMemory(pid).vm_rss_kib);
    }
    usleep(200 * 1000);
    const ResidentMemory end = ReadResidentMemory(pid);
    std::printf(
        "%ld buffers of %zu bytes, %ld refused: VmRSS peak %ld KiB, then %s from the "
        "start\n",
        huge_count, kBufferAtTheLimit, huge_refused, peak, Described(end, &start).c_str());

    // The bound is on the process's own memory; VmRSS also moves with shared library pages.
    const bool kept = answered == request_count && huge_refused == huge_count &&
                      end.rss_anon_kib - start.rss_anon_kib <= kAllowedGrowthKiB &&
                      service.Running();
    std::printf("%s\n", kept ? "within bounds" : "OUT OF BOUNDS");
    service.Stop(SIGTERM);
    return kept ? 0 : 1;
}
