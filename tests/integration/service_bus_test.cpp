// The service process on a private bus: lifecycle, the signal, bad requests.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "service_on_bus.h"

using ::testing::HasSubstr;
using trevalo_bus::kTrevaloSignal;
namespace member = trevalo_bus::member;

namespace {

test_support::Bytes TimeBytes(uint32_t milliseconds) {
    test_support::Bytes bytes(4);
    std::memcpy(bytes.data(), &milliseconds, 4);
    return bytes;
}

uint32_t TimeOf(const test_support::Bytes& bytes) {
    EXPECT_EQ(bytes.size(), 4u);
    uint32_t time = 0;
    if (bytes.size() == 4) std::memcpy(&time, bytes.data(), 4);
    return time;
}

}  // namespace

TEST_F(ServiceOnBus, RelaysTheSignalWithTheVeryRequest) {
    test_support::RawClient listener(*bus_);
    listener.Subscribe(kTrevaloSignal);
    const test_support::Bytes pes = {0x00, 0x00, 0x01, 0xBD, 0x42};
    const Json::Value reply =
        Call(R"({"method":"SendPESDataWithFirstPTS","data":{"pts":900000}})", pes);
    EXPECT_EQ(reply[member::kReturnData], Json::Value(""));
    ASSERT_TRUE(listener.WaitForSignals(1));
    const test_support::Reply& signal = listener.Signals()[0];
    EXPECT_EQ(signal.error_name, kTrevaloSignal);
    const Json::Value body = test_support::ParseJson(signal.body);
    EXPECT_EQ(body[member::kMethod], Json::Value(trevalo_bus::method::kSendPESDataWithFirstPTS));
    EXPECT_EQ(body[member::kData]["pts"], Json::Value(900000));
    EXPECT_EQ(signal.buffer, pes);
    // Exactly one signal per request.
    Call(R"({"method":"SizeOfAudio"})");
    EXPECT_FALSE(listener.WaitForSignals(2, 200));
}

// The platform read again on the next request after it changed (the handler tests run the
// arithmetic).
TEST_F(ServiceOnBus, KeepsThePlayingTimeAcrossARealDelay) {
    SetPlatformState(R"({"system_info": {"709": 200}})");
    const Json::Value saved = Call(R"({"method":"SaveCurrentVideoPlayingTime"})", TimeBytes(60000));
    EXPECT_EQ(saved[member::kReturnData], Json::Value(0));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const Json::Value got = Call(R"({"method":"GetCurrentVideoPlayingTime"})");
    EXPECT_EQ(got[member::kReturnData], Json::Value(0));
    const uint32_t now = TimeOf(last_.buffer);
    EXPECT_GE(now, 60000u + 500 - 200);
    EXPECT_LT(now, 60000u + 500 - 200 + 400);  // generous for a loaded machine
    // The platform changes while the service runs: the next query sees the new delay.
    SetPlatformState(R"({"system_info": {"709": null}})");
    Call(R"({"method":"GetCurrentVideoPlayingTime"})");
    EXPECT_GE(TimeOf(last_.buffer), now + 200);
}

TEST_F(ServiceOnBus, BadRequestsAreAnsweredAndTheNextIsServed) {
    const struct {
        std::string body;
        bool bus_error;
    } requests[] = {
        {R"({"method":)", true},
        {"not json", true},
        {R"({"method":"SizeOfAudio"} trailing)", true},
        {std::string(100000, '['), true},  // nesting deeper than the parser goes
        {R"([1,2,3])", false},             // JSON, so the dispatcher's to refuse
        {R"({"method":"SaveCurrentVideoPlayingTime"})", false},
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(request.body);
        test_support::Reply reply = client_->Request(request.body);
        if (request.bus_error) {
            EXPECT_FALSE(reply.ok);
            EXPECT_EQ(reply.error_name, trevalo_bus::kInvalidMessageError);
        } else {
            ASSERT_TRUE(reply.ok) << reply.error_name;
            EXPECT_TRUE(test_support::ParseJson(reply.body).isMember(member::kReturnData));
        }
        EXPECT_EQ(Call(R"({"method":"SizeOfVideo"})")[member::kReturnData], Json::Value(0));
    }
    EXPECT_TRUE(service_->Running());
    // A non-JSON body never reaches the service: no request line is logged for it.
    EXPECT_EQ(service_->Log().find("[message:not json]"), std::string::npos);
}

TEST_F(ServiceOnBus, StartsAndStopsInOrderOnSigtermAndSigint) {
    EXPECT_EQ(service_->Stop(SIGTERM), 0);
    std::string log = service_->Log();
    const size_t constructor = log.find("E/TREVALO_SERVICE(");
    EXPECT_THAT(log.substr(constructor, log.find('\n', constructor) - constructor),
                HasSubstr("] TrevaloService constructor!!"));
    const size_t main_begin = log.find("] Main Begin\n");
    const size_t on_create = log.find("] Trevalo service OnCreate \n\n");
    EXPECT_LT(constructor, main_begin);
    EXPECT_LT(main_begin, on_create);
    EXPECT_LT(on_create, log.find("] Trevalo service OnTerminate \n\n"));
    EXPECT_NE(log.find("] Trevalo service OnTerminate \n\n"), std::string::npos);
    EXPECT_EQ(log.find("destructor!!"), std::string::npos);  // the object is never deleted

    StartService();
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData], Json::Value(0));
    EXPECT_EQ(service_->Stop(SIGINT), 0);
    EXPECT_THAT(service_->Log(), HasSubstr("] Trevalo service OnTerminate \n\n"));
    service_.reset();
}

TEST_F(ServiceOnBus, SecondInstanceEndsWith255WhenTheNameIsTaken) {
    test_support::ServiceProcess second(*bus_, TREVALO_SERVICE_BINARY);
    EXPECT_EQ(second.Wait(), 255);
    const std::string log = second.Log();
    const size_t main_begin = log.find("] Main Begin\n");
    const size_t create_failed = log.find("E/TREVALO_SERVICE(", main_begin);
    const size_t service_failed = log.find("] Failed to create the service\n");
    const size_t on_terminate = log.find("] Trevalo service OnTerminate \n\n");
    ASSERT_NE(main_begin, std::string::npos) << log;
    EXPECT_THAT(log.substr(create_failed), testing::StartsWith("E/TREVALO_SERVICE("));
    EXPECT_THAT(log, HasSubstr("] Create DBus server fail!\n"));
    EXPECT_LT(log.find("] Create DBus server fail!"), service_failed);
    EXPECT_LT(service_failed, on_terminate);
    EXPECT_THAT(log, HasSubstr("E/TREVALO_SERVICE("));
    // The first instance is untouched.
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData], Json::Value(0));
}

TEST(ServiceWithoutBus, EndsWith255) {
    test_support::PrivateBus bus;
    for (const std::string& address :
         {"unix:path=" + bus.Directory() + "/nothing", std::string()}) {
        SCOPED_TRACE(address);
        // No session bus: the service falls back to the system bus, made absent here too.
        test_support::ServiceProcess service(
            bus, TREVALO_SERVICE_BINARY,
            {"DBUS_SESSION_BUS_ADDRESS=" + address,
             "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + bus.Directory() + "/no-system-bus"});
        EXPECT_EQ(service.Wait(), 255);
        const std::string log = service.Log();
        EXPECT_LT(log.find("] Create DBus server fail!\n"),
                  log.find("] Failed to create the service\n"));
        EXPECT_NE(log.find("] Trevalo service OnTerminate \n\n"), std::string::npos);
    }
}
