// The real service on a private bus that lets through messages far above the framework's limits:
// the framework refuses what is too large before parsing it, with one error line, and the
// service's private memory is back where it was, after the largest request it takes and after
// one it refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "Ondrel/TCServer.h"
#include "resident_memory.h"
#include "service_on_bus.h"

namespace {

// Private memory may end this far above where it was idle.
constexpr long kAllowedGrowthKiB = 64;
constexpr size_t kMiB = 1024 * 1024;

// Occurrences of `text` in `log`.
size_t Count(const std::string& log, const std::string& text) {
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
        ++count;
    }
    return count;
}

// A body of `bytes` bytes: a GetAudio whose "data" is an array of zeros.
std::string LargeBody(size_t bytes) {
    std::string body = R"({"method":"GetAudio","data":[0)";
    while (body.size() + 4 < bytes) body += ",0";
    return body + "]}";
}

class BoundedMemory : public ServiceOnBus {
  protected:
    // Messages up to 64 MiB pass the daemon, as on a session bus.
    std::string BusConfig() const override {
        return test_support::PrivateBus::OpenSessionConfig() +
               "<limit name=\"max_message_size\">67108864</limit>";
    }

    // The service's private memory once everything it was sent is answered and what follows an
    // answer (a turn of the main loop) is done.
    long SettledRssAnonKiB() {
        Call(R"({"method":"SizeOfAudio"})");
        Call(R"({"method":"SizeOfAudio"})");
        return ReadResidentMemory(service_->Pid()).rss_anon_kib;
    }

    void ExpectRefused(const std::string& body, const test_support::Bytes& buffer,
                       const std::string& reason) {
        const size_t lines_before = Count(service_->Log(), "E/ONDREL(");
        const test_support::Reply reply = client_->Request(body, buffer, 60000);
        EXPECT_FALSE(reply.ok);
        EXPECT_EQ(reply.error_name, trevalo_bus::kInvalidMessageError);
        Call(R"({"method":"SizeOfAudio"})");  // the line is logged by now
        const std::string log = service_->Log();
        EXPECT_EQ(Count(log, "E/ONDREL("), lines_before + 1);
        EXPECT_THAT(log, testing::HasSubstr(" refused: the " + reason + " bytes\n"));
    }
};

TEST_F(BoundedMemory, TooLargeIsRefusedAndPrivateMemoryReturnsToIdle) {
    const std::string pmt_body = R"({"method":"SendPMTData","data":{"reset":true,"programNum":1}})";
    const std::string relay_body = R"({"method":"SendPESDataWithFirstPTS"})";
    const test_support::Bytes largest_buffer(Ondrel::TCServer::kMaxBufferBytes, 0x47);
    // Warm-up: what the first requests of each kind create once is not growth.
    for (int round = 0; round < 2; ++round) {
        Call(pmt_body, test_support::ReadTestData("pmt/test-018.p1.v4.0.sec"));
        Call(R"({"method":"GetAudio","data":0})");
        Call(relay_body, {0x00, 0x00, 0x01, 0xBD});
    }
    const long idle = SettledRssAnonKiB();

    // The largest accepted: a body and a buffer at the limits.
    Call(LargeBody(Ondrel::TCServer::kMaxBodyBytes));
    const long after_body = SettledRssAnonKiB();
    Call(pmt_body, largest_buffer);
    Call(relay_body, largest_buffer);
    const long after_largest = SettledRssAnonKiB();

    const std::string huge_body = LargeBody(32 * 1000 * 1000);
    ExpectRefused(huge_body, {},
                  "body of " + std::to_string(huge_body.size()) + " bytes is above the limit of " +
                      std::to_string(Ondrel::TCServer::kMaxBodyBytes));
    ExpectRefused(relay_body, test_support::Bytes(40 * kMiB, 0x47),
                  "buffer of 41943040 bytes is above the limit of " +
                      std::to_string(Ondrel::TCServer::kMaxBufferBytes));
    const long after_refused = SettledRssAnonKiB();

    std::cout << "RssAnon idle " << idle << " KiB, after the largest accepted " << after_largest
              << " KiB, after the refused " << after_refused << " KiB\n";
#if defined(__SANITIZE_ADDRESS__) || defined(TREVALO_EMULATED)
    // AddressSanitizer's allocator holds freed blocks in quarantine and ignores malloc_trim, and
    // an emulator's private memory grows with the code it translates for each new path: the
    // bound is the real allocator's on the real processor.
    (void)after_body;
    (void)after_largest;
    (void)after_refused;
#else
    EXPECT_LE(after_body - idle, kAllowedGrowthKiB);
    EXPECT_LE(after_largest - idle, kAllowedGrowthKiB);
    EXPECT_LE(after_refused - idle, kAllowedGrowthKiB);
#endif
}

}  // namespace
