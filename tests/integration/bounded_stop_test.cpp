// The real service under load on a private bus: two clients flooding it with no-reply requests
// must neither starve another client nor hold up a stop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

#include "bus_load.h"
#include "service_on_bus.h"

namespace {

using Clock = std::chrono::steady_clock;
using test_support::Flooder;
using test_support::kStopBoundMs;
namespace member = trevalo_bus::member;

// The heaviest request: the largest captured section parsed and the catalogue rebuilt.
constexpr const char kFloodBody[] =
    R"({"method":"SendPMTData","data":{"reset":true,"programNum":1}})";
constexpr const char kFloodSection[] = "pmt/test-018.p1.v4.0.sec";
// Large relays: what the daemon holds for a listener counts against the service, and past its
// limit (127 MiB by default) the daemon stops reading from the service.
constexpr const char kRelayBody[] = R"({"method":"SendPESDataWithFirstPTS","data":{"pts":0}})";
constexpr size_t kRelayBytes = 512 * 1024;
// Relays from each flooder before the test acts: 256 MiB in all.
constexpr size_t kRelaysUnderWay = 256;
// Requests from each flooder before the test acts: the flood is well under way.
constexpr size_t kFloodUnderWay = 2048;

long MillisecondsSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

class UnderFlood : public ServiceOnBus {
  protected:
    void StartFlood(const std::string& body = kFloodBody,
                    const test_support::Bytes& buffer = test_support::ReadTestData(kFloodSection),
                    size_t under_way = kFloodUnderWay) {
        for (auto& flooder : flooders_) flooder = std::make_unique<Flooder>(*bus_, body, buffer);
        for (auto& flooder : flooders_) ASSERT_TRUE(flooder->WaitForSent(under_way));
    }

    // Sends `signal_number` and expects the service gone with status 0 within the bound.
    void ExpectStopWithin(int signal_number) {
        const auto sent = Clock::now();
        service_->Signal(signal_number);
        ExpectEndWithin(sent, 0, "");
    }

    // Expects the service gone within the bound from `since`, with `status`, its log ending with
    // the closing line of its teardown, after `last_line` if one is given.
    void ExpectEndWithin(Clock::time_point since, int status, const std::string& last_line) {
        const int exit_status = service_->Wait(10 * kStopBoundMs);
        const long took = MillisecondsSince(since);
        std::cout << "ended " << took << " ms after the cause\n";
        // The log of a flood is long: its end tells how the service ended.
        const std::string log = service_->Log();
        const std::string end = log.substr(log.size() < 1000 ? 0 : log.size() - 1000);
        EXPECT_EQ(exit_status, status) << end;
        EXPECT_LE(took, kStopBoundMs);
        EXPECT_THAT(end, testing::EndsWith("Trevalo service OnTerminate \n\n"));
        if (!last_line.empty()) {
            EXPECT_LT(end.find(last_line), end.rfind("OnTerminate")) << end;
        }
        service_.reset();
    }

    std::unique_ptr<Flooder> flooders_[2];  // they stop when the bus goes, at the latest
};

// A third client's query is answered while two others flood, how long it took reported; then
// SIGTERM ends the service within the bound.
TEST_F(UnderFlood, AQueryIsAnsweredAndSigtermEndsTheServiceWhileTwoClientsFlood) {
    StartFlood();
    const auto asked = Clock::now();
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData].isUInt(), true);
    const long took = MillisecondsSince(asked);
    std::cout << "query answered in " << took << " ms during the flood\n";
    ExpectStopWithin(SIGTERM);
}

// Relays pile up in the daemon for a listener that reads nothing; the stop does not wait for it.
TEST_F(UnderFlood, SigtermEndsTheServiceWithinTheBoundWithAStalledListener) {
    const test_support::StalledListener listener(*bus_, trevalo_bus::kTrevaloSignal);
    ASSERT_TRUE(listener.Subscribed());
    StartFlood(kRelayBody, test_support::Bytes(kRelayBytes, 0xBD), kRelaysUnderWay);
    ExpectStopWithin(SIGTERM);
}

TEST_F(UnderFlood, LosingTheBusEndsTheServiceThroughItsTeardown) {
    StartFlood();
    const auto killed = Clock::now();
    bus_->Kill();
    ExpectEndWithin(killed, 1, "): server trevalo_service: lost the bus (");
}

}  // namespace
