// Four clients, each with its own bare GDBus connection and thread, send 500 requests each to the
// real service at the same time. All of them use the catalogue of one PMT section, and some send
// that section again, so every answer is known beforehand from the same requests sent one by one.
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bus_fixture.h"

namespace {

using test_support::Bytes;
using test_support::ParseJson;
using test_support::RawClient;
using test_support::Reply;

constexpr const char kServiceBusName[] = "org.ondrel.TCServer.trevalo_service";
constexpr int kClients = 4;
constexpr int kRequestsPerClient = 500;

// The largest captured section: video, two audio tracks with languages, teletext.
const std::string kSectionFile = std::string(TREVALO_TESTDATA_DIR) + "/pmt/test-018.p1.v4.0.sec";
constexpr int kProgramNumber = 1;

struct Call {
    std::string body;
    Bytes buffer;
    std::string expected;  // the reply body the service gave when asked alone
};

std::string Query(const std::string& method) {
    return "{\"method\":\"" + method + "\"}";
}

std::string Query(const std::string& method, int data) {
    return "{\"method\":\"" + method + "\",\"data\":" + std::to_string(data) + "}";
}

std::string SendPmt(bool reset) {
    return std::string("{\"method\":\"SendPMTData\",\"data\":{\"reset\":") +
           (reset ? "true" : "false") + ",\"programNum\":" + std::to_string(kProgramNumber) + "}}";
}

// What one client saw: requests sent, replies received, replies equal to the expected ones, and
// the first wrong one.
// Occurrences of `text` in `log`.
size_t Count(const std::string& log, const std::string& text) {
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
        ++count;
    }
    return count;
}

struct Tally {
    int sent = 0;
    int received = 0;
    int right = 0;
    std::string first_wrong;
};

class ConcurrentClients : public ::testing::Test {
  protected:
    void SetUp() override {
        bus_ = std::make_unique<test_support::PrivateBus>();
        service_ = std::make_unique<test_support::ServiceProcess>(*bus_, TREVALO_SERVICE_BINARY);
        ASSERT_TRUE(service_->WaitForName(kServiceBusName)) << service_->Log();
        section_ = test_support::ReadFile(kSectionFile);
        ASSERT_FALSE(section_.empty()) << kSectionFile;
    }
    void TearDown() override {
        if (service_) {
            EXPECT_EQ(service_->Stop(SIGTERM), 0) << service_->Log();
        }
        service_.reset();
        bus_.reset();
    }

    // The mix of requests, each with the answer it gets when sent alone after the section.
    std::vector<Call> KnownCalls() {
        RawClient client(*bus_, "trevalo_service");
        std::vector<Call> calls{{SendPmt(true), section_, ""}, {SendPmt(false), section_, ""}};
        const Reply loaded = client.Request(calls[0].body, section_);
        EXPECT_EQ(ParseJson(loaded.body)["return_data"], 0) << loaded.body;

        for (const char* kind : {"Audio", "Video", "Subtitle"}) {
            const std::string size = Query(std::string("SizeOf") + kind);
            calls.push_back({size, {}, ""});
            const int entries = ParseJson(client.Request(size).body)["return_data"].asInt();
            EXPECT_GT(entries, 0) << kind;
            // One index past the end as well: its answer is the empty string.
            for (int index = 0; index <= entries; ++index) {
                calls.push_back({Query(std::string("Get") + kind, index), {}, ""});
            }
        }
        for (int tag : {0, 1, 2, 255}) calls.push_back({Query("GetPID", tag), {}, ""});

        for (Call& call : calls) {
            const Reply reply = client.Request(call.body, call.buffer);
            EXPECT_TRUE(reply.ok) << call.body << " -> " << reply.error_name;
            call.expected = reply.body;
        }
        // Sent alone, a section sent again answers as the first time did.
        EXPECT_EQ(ParseJson(calls[0].expected)["return_data"], 0);
        EXPECT_EQ(ParseJson(calls[1].expected)["return_data"], 0);
        return calls;
    }

    std::unique_ptr<test_support::PrivateBus> bus_;
    std::unique_ptr<test_support::ServiceProcess> service_;
    Bytes section_;
};

TEST_F(ConcurrentClients, EveryReplyArrivesAndIsRight) {
    const std::vector<Call> calls = KnownCalls();
    ASSERT_GT(calls.size(), 8u);

    std::vector<Tally> tallies(kClients);
    std::vector<std::thread> threads;
    for (int c = 0; c < kClients; ++c) {
        threads.emplace_back([&, c] {
            RawClient client(*bus_, "trevalo_service");
            Tally& tally = tallies[c];
            for (int i = 0; i < kRequestsPerClient; ++i) {
                // Each client walks the mix from its own place, so the service sees them mixed.
                const Call& call = calls[(static_cast<size_t>(i) + c * 5) % calls.size()];
                ++tally.sent;
                const Reply reply = client.Request(call.body, call.buffer, 30000);
                if (!reply.ok) {
                    if (tally.first_wrong.empty()) {
                        tally.first_wrong = call.body + " -> error " + reply.error_name;
                    }
                    continue;
                }
                ++tally.received;
                if (reply.body == call.expected && reply.buffer.empty()) {
                    ++tally.right;
                } else if (tally.first_wrong.empty()) {
                    tally.first_wrong =
                        call.body + " -> " + reply.body + ", expected " + call.expected;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    for (int c = 0; c < kClients; ++c) {
        SCOPED_TRACE("client " + std::to_string(c));
        EXPECT_EQ(tallies[c].sent, kRequestsPerClient);
        EXPECT_EQ(tallies[c].received, kRequestsPerClient) << tallies[c].first_wrong;
        EXPECT_EQ(tallies[c].right, kRequestsPerClient) << tallies[c].first_wrong;
    }
    EXPECT_TRUE(service_->Running());
}

TEST_F(ConcurrentClients, EachRequestIsLoggedOnceInWholeLines) {
    const std::vector<Call> calls = KnownCalls();
    std::vector<std::thread> threads;
    for (int c = 0; c < kClients; ++c) {
        threads.emplace_back([&, c] {
            RawClient client(*bus_, "trevalo_service");
            for (int i = 0; i < kRequestsPerClient; ++i) {
                const Call& call = calls[(static_cast<size_t>(i) + c * 5) % calls.size()];
                client.Request(call.body, call.buffer, 30000);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    // One round trip more: every line of the requests above is in the log when its reply is.
    RawClient last(*bus_, "trevalo_service");
    ASSERT_TRUE(last.Request(Query("SizeOfAudio")).ok);

    // Every line leaves in one write: a line prefix of the service's tag stands only at the start
    // of a line, never inside another (a reply text logged may span several lines).
    const std::string log = service_->Log();
    const std::string tag = "/TREVALO_SERVICE(";
    for (size_t at = log.find(tag); at != std::string::npos; at = log.find(tag, at + 1)) {
        ASSERT_TRUE(at == 1 || (at >= 2 && log[at - 2] == '\n'))
            << "a line broken at byte " << at << ": " << log.substr(at < 80 ? 0 : at - 80, 160);
    }
    // Each request opens and closes its lines once.
    const size_t received = Count(log, "IfMessageReceived!! message:");
    const size_t closed = Count(log, "] ret_data = ");
    EXPECT_EQ(received, closed);
    EXPECT_GE(received, static_cast<size_t>(kClients * kRequestsPerClient + 1));
}

}  // namespace
