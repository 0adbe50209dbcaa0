// Four clients, each with its own bare GDBus connection and thread, send 250 requests each to the
// real service at the same time. All of them use the catalogue of one PMT section, and some send
// that section again, so every answer is known beforehand from the same requests sent one by one.
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "service_on_bus.h"
#include "trevalo/json_text.h"

namespace {

using test_support::Bytes;
using test_support::RawClient;
using test_support::Reply;
namespace member = trevalo_bus::member;

constexpr int kClients = 4;
constexpr int kRequestsPerClient = 250;

// The largest captured section: video, two audio tracks with languages, teletext.
const std::string kSectionFile = "pmt/test-018.p1.v4.0.sec";
constexpr int kProgramNumber = 1;

struct KnownCall {
    std::string body;
    Bytes buffer;
    std::string expected;  // the reply body the service gave when asked alone
};

std::string Query(const std::string& method, const Json::Value& data = Json::Value()) {
    Json::Value request;
    request[member::kMethod] = method;
    if (!data.isNull()) request[member::kData] = data;
    return trevalo_json::WriteCompact(request);
}

std::string SendPmt(bool reset) {
    Json::Value data;
    data[member::kReset] = reset;
    data[member::kProgramNum] = kProgramNumber;
    return Query(trevalo_bus::method::kSendPMTData, data);
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

class ConcurrentClients : public ServiceOnBus {
  protected:
    // The mix of requests, each with the answer it gets when sent alone after the section.
    std::vector<KnownCall> KnownCalls() {
        const Bytes section = test_support::ReadTestData(kSectionFile);
        std::vector<KnownCall> calls{{SendPmt(true), section, ""}, {SendPmt(false), section, ""}};
        EXPECT_EQ(Call(calls[0].body, section)[member::kReturnData], 0);
        namespace method = trevalo_bus::method;
        for (const auto& [size_of, get] : {std::pair{method::kSizeOfAudio, method::kGetAudio},
                                           {method::kSizeOfVideo, method::kGetVideo},
                                           {method::kSizeOfSubtitle, method::kGetSubtitle}}) {
            const std::string size = Query(size_of);
            calls.push_back({size, {}, ""});
            const int entries = Call(size)[member::kReturnData].asInt();
            EXPECT_GT(entries, 0) << size_of;
            // One index past the end as well: its answer is the empty string.
            for (int index = 0; index <= entries; ++index) {
                calls.push_back({Query(get, index), {}, ""});
            }
        }
        for (int tag : {0, 1, 2, 255}) calls.push_back({Query(method::kGetPID, tag), {}, ""});
        for (auto& call : calls) {
            Call(call.body, call.buffer);
            call.expected = last_.body;
        }
        return calls;
    }
};

// Every reply arrives and is the one the request gets alone; every log line leaves whole, and
// each request opens and closes its lines once.
TEST_F(ConcurrentClients, EveryReplyIsRightAndEveryLogLineWhole) {
    const std::vector<KnownCall> calls = KnownCalls();
    std::vector<Tally> tallies(kClients);
    std::vector<std::thread> threads;
    for (int c = 0; c < kClients; ++c) {
        threads.emplace_back([&, c] {
            RawClient client(*bus_);
            Tally& tally = tallies[c];
            for (int i = 0; i < kRequestsPerClient; ++i) {
                // Each client walks the mix from its own place, so the service sees them mixed.
                const KnownCall& call = calls[(static_cast<size_t>(i) + c * 5) % calls.size()];
                ++tally.sent;
                const Reply reply = client.Request(call.body, call.buffer, 30000);
                if (reply.ok) ++tally.received;
                if (reply.ok && reply.body == call.expected && reply.buffer.empty()) {
                    ++tally.right;
                } else if (tally.first_wrong.empty()) {
                    tally.first_wrong = call.body + " -> " + reply.error_name + reply.body +
                                        ", expected " + call.expected;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int c = 0; c < kClients; ++c) {
        SCOPED_TRACE("client " + std::to_string(c));
        EXPECT_EQ(tallies[c].received, kRequestsPerClient) << tallies[c].first_wrong;
        EXPECT_EQ(tallies[c].right, kRequestsPerClient) << tallies[c].first_wrong;
    }
    // One round trip more: every line of the requests above is in the log when its reply is.
    Call(Query(trevalo_bus::method::kSizeOfAudio));
    const std::string log = service_->Log();
    const std::string tag = "/TREVALO_SERVICE(";
    for (size_t at = log.find(tag); at != std::string::npos; at = log.find(tag, at + 1)) {
        ASSERT_TRUE(at == 1 || (at >= 2 && log[at - 2] == '\n'))
            << "a line broken at byte " << at << ": " << log.substr(at < 80 ? 0 : at - 80, 160);
    }
    EXPECT_EQ(Count(log, "IfMessageReceived!! message:"), Count(log, "] ret_data = "));
}

}  // namespace
