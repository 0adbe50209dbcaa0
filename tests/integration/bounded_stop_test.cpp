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
// Requests from each flooder before the test acts: the flood is well under way.
constexpr size_t kFloodUnderWay = 2048;

long MillisecondsSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

class UnderFlood : public ServiceOnBus {
  protected:
    void StartFlood() {
        for (auto& flooder : flooders_) {
            flooder = std::make_unique<Flooder>(*bus_, kFloodBody,
                                                test_support::ReadTestData(kFloodSection));
        }
        for (auto& flooder : flooders_) ASSERT_TRUE(flooder->WaitForSent(kFloodUnderWay));
    }
    void StopFlood() {
        for (auto& flooder : flooders_) flooder.reset();
    }

    // Sends `signal_number` and expects the service gone with `status` within the bound.
    void ExpectStopWithin(int signal_number, int status) {
        const auto sent = Clock::now();
        const int exit_status = service_->Stop(signal_number, 10 * kStopBoundMs);
        const long took = MillisecondsSince(sent);
        RecordProperty("stop_ms", std::to_string(took));
        std::cout << "stopped " << took << " ms after the signal\n";
        // The log of a flood is long: its end tells how the service ended.
        const std::string log = service_->Log();
        const std::string end = log.substr(log.size() < 1000 ? 0 : log.size() - 1000);
        EXPECT_EQ(exit_status, status) << end;
        EXPECT_LE(took, kStopBoundMs);
        EXPECT_THAT(end, testing::EndsWith("Trevalo service OnTerminate \n\n"));
        service_.reset();
    }

    std::unique_ptr<Flooder> flooders_[2];
};

// A third client's query is answered while two others flood; how long it took is reported.
TEST_F(UnderFlood, AQueryIsAnsweredWhileTwoClientsFlood) {
    StartFlood();
    const auto asked = Clock::now();
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData].isUInt(), true);
    const long took = MillisecondsSince(asked);
    RecordProperty("query_ms", std::to_string(took));
    std::cout << "query answered in " << took << " ms during the flood\n";
    ExpectStopWithin(SIGTERM, 0);
    StopFlood();
}

TEST_F(UnderFlood, SigtermEndsTheServiceWithinTheBound) {
    StartFlood();
    ExpectStopWithin(SIGTERM, 0);
    StopFlood();
}

}  // namespace
