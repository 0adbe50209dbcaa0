// Hostile clients: a buffer at the bus's message-size limit, and a run of random requests, each
// answered while the service keeps serving. The service's memory over such runs (and 100,000
// requests) is measured by bench/abuse_bench, not here.
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>

#include "bus_fixture.h"
#include "random_requests.h"

namespace {

using test_support::Bytes;
using test_support::ParseJson;
using test_support::RawClient;
using test_support::Reply;

constexpr const char kServiceBusName[] = "org.ondrel.TCServer.trevalo_service";
// dbus-daemon's default max_message_size, which the system bus keeps; 1 KiB for the header.
constexpr size_t kBusMessageLimit = 32 * 1024 * 1024;
constexpr size_t kBufferAtTheLimit = kBusMessageLimit - 1024;
constexpr const char kInvalidMessage[] = "org.ondrel.TCServer.Error.InvalidMessage";

class Abuse : public ::testing::Test {
  protected:
    void SetUp() override {
        service_ = std::make_unique<test_support::ServiceProcess>(bus_, TREVALO_SERVICE_BINARY);
        ASSERT_TRUE(service_->WaitForName(kServiceBusName)) << service_->Log();
        client_ = std::make_unique<RawClient>(bus_, "trevalo_service");
    }
    void TearDown() override {
        client_.reset();
        EXPECT_EQ(service_->Stop(SIGTERM), 0) << service_->Log();
    }

    test_support::PrivateBus bus_;
    std::unique_ptr<test_support::ServiceProcess> service_;
    std::unique_ptr<RawClient> client_;
};

TEST_F(Abuse, BufferAtTheBusLimitIsAnsweredAndRelayed) {
    client_->Subscribe("TrevaloSignal");
    const Bytes huge(kBufferAtTheLimit, 0x47);
    const std::pair<const char*, const char*> calls[] = {
        {R"({"method":"SendPMTData","data":{"reset":true,"programNum":1}})",
         R"({"return_data":1})"},
        {R"({"method":"SaveCurrentVideoPlayingTime"})", R"({"return_data":0})"},
        {R"({"method":"SendPESDataWithFirstPTS"})", R"({"return_data":""})"},
    };
    for (const auto& [body, answer] : calls) {
        const Reply reply = client_->Request(body, huge, 120000);
        EXPECT_TRUE(reply.ok) << body << " -> " << reply.error_name << service_->Log();
        EXPECT_EQ(reply.body, answer) << body;
    }
    ASSERT_TRUE(client_->WaitForSignals(1, 120000));
    EXPECT_EQ(client_->Signals()[0].buffer.size(), kBufferAtTheLimit);
    EXPECT_EQ(client_->Request(R"({"method":"SizeOfAudio"})").body, R"({"return_data":0})");
}

TEST_F(Abuse, RandomRequestsAreAllAnswered) {
    abuse::RandomRequests requests(2026, abuse::CapturedSections(TREVALO_TESTDATA_DIR "/pmt"));
    for (int i = 0; i < 1000; ++i) {
        const abuse::RandomRequest request = requests.Next();
        const Reply reply = client_->Request(request.body, request.buffer, 30000);
        if (reply.ok) {
            ASSERT_TRUE(request.json) << request.body;
            ASSERT_TRUE(ParseJson(reply.body).isMember("return_data")) << reply.body;
        } else {  // only the framework's refusal of a body that is not JSON
            ASSERT_EQ(reply.error_name, kInvalidMessage) << request.body;
        }
    }
    EXPECT_TRUE(service_->Running());
    EXPECT_TRUE(client_->Request(R"({"method":"SizeOfVideo"})").ok);
}

}  // namespace
