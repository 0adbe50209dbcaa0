// The service process on a private bus: lifecycle, every method, the signal, bad requests.
#include <dirent.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "Ondrel/TCServer.h"
#include "service_on_bus.h"
#include "trevalo/json_text.h"

using ::testing::HasSubstr;
using trevalo_bus::kCatalogueChanged;
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

// The clock's Ecore leaves nothing of its main loop open in the running service (its pipes, epoll
// and timerfd descriptors); GLib's loop needs none of those kinds.
TEST_F(ServiceOnBus, HoldsNoDescriptorOfEcoresLoop) {
    const std::string fd_dir = "/proc/" + std::to_string(service_->Pid()) + "/fd";
    std::string held;
    DIR* directory = opendir(fd_dir.c_str());
    ASSERT_NE(directory, nullptr);
    for (dirent* entry = readdir(directory); entry != nullptr; entry = readdir(directory)) {
        char target[256] = {};
        const std::string path = fd_dir + "/" + entry->d_name;
        if (readlink(path.c_str(), target, sizeof target - 1) > 0)
            held += std::string(target) + "\n";
    }
    closedir(directory);
    EXPECT_THAT(held, testing::Not(testing::HasSubstr("[timerfd]")));
    EXPECT_THAT(held, testing::Not(testing::HasSubstr("[eventpoll]")));
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

// The largest buffer the framework takes in, sent to the handlers that read buffers and relayed
// as a signal (a larger one is refused: bounded_memory_test.cpp).
TEST_F(ServiceOnBus, BufferAtTheFrameworkLimitIsAnsweredAndRelayed) {
    client_->Subscribe(kTrevaloSignal);
    const test_support::Bytes huge(Ondrel::TCServer::kMaxBufferBytes, 0x47);
    const std::pair<const char*, const char*> calls[] = {
        {R"({"method":"SendPMTData","data":{"reset":true,"programNum":1}})",
         R"({"return_data":1})"},
        {R"({"method":"SaveCurrentVideoPlayingTime"})", R"({"return_data":0})"},
        {R"({"method":"SendPESDataWithFirstPTS"})", R"({"return_data":""})"},
    };
    for (const auto& [body, answer] : calls) {
        const test_support::Reply reply = client_->Request(body, huge, 120000);
        EXPECT_TRUE(reply.ok) << body << " -> " << reply.error_name << service_->Log();
        EXPECT_EQ(reply.body, answer) << body;
    }
    ASSERT_TRUE(client_->WaitForSignals(1, 120000));
    EXPECT_EQ(client_->Signals()[0].buffer.size(), huge.size());
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData], Json::Value(0));
}

TEST_F(ServiceOnBus, AnswersOnTheWellKnownNameWithIntrospection) {
    GVariant* xml = g_dbus_connection_call_sync(
        client_->Connection(), trevalo_bus::kBusName, trevalo_bus::kObjectPath,
        "org.freedesktop.DBus.Introspectable", "Introspect", nullptr, G_VARIANT_TYPE("(s)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    ASSERT_NE(xml, nullptr);
    const gchar* text = nullptr;
    g_variant_get(xml, "(&s)", &text);
    const std::string introspection = text;
    g_variant_unref(xml);
    EXPECT_THAT(introspection,
                HasSubstr(std::string("<interface name=\"") + trevalo_bus::kInterface + "\">"));
    EXPECT_THAT(introspection,
                HasSubstr(std::string("<method name=\"") + trevalo_bus::kRequestMethod + "\">"));
    EXPECT_THAT(introspection, HasSubstr(std::string("<signal name=\"") + kTrevaloSignal + "\">"));
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

// "CatalogueChanged" goes out once for every section that rebuilt the catalogue into a new one,
// carrying its programme and list sizes, and never for a refused one; the catalogue a listener
// then reads is the one announced.
TEST_F(ServiceOnBus, AnnouncesEachNewCatalogueAndNoRefusedSection) {
    test_support::RawClient listener(*bus_);
    listener.Subscribe(kCatalogueChanged);
    const test_support::Bytes ac3 = test_support::ReadTestData("pmt/test-020.p8803.v13.2.sec");
    const test_support::Bytes mpeg = test_support::ReadTestData("pmt/test-012.p4006.v2.0.sec");
    test_support::Bytes damaged = ac3;
    damaged.back() ^= 0x01;
    const struct {
        const char* data;
        test_support::Bytes section;
        int answer;
        bool announced;
    } sends[] = {
        {R"({"reset":true,"programNum":8803})", ac3, 0, true},
        {R"({"reset":true,"programNum":8804})", ac3, 1, false},
        {R"({"reset":true,"programNum":8803})", damaged, 1, false},
        {R"({"reset":true,"programNum":8803})", {}, 1, false},
        {R"({"reset":"yes","programNum":8803})", ac3, 1, false},
        {R"({"reset":true,"programNum":4006})", mpeg, 0, true},
        {R"({"reset":false,"programNum":4006})", mpeg, 0, false},  // the same again: nothing new
    };
    std::vector<Json::Value> announced;  // what each accepted section should announce
    for (const auto& send : sends) {
        SCOPED_TRACE(send.data);
        const Json::Value data = test_support::ParseJson(send.data);
        Json::Value request;
        request[member::kMethod] = trevalo_bus::method::kSendPMTData;
        request[member::kData] = data;
        ASSERT_EQ(Call(trevalo_json::WriteCompact(request), send.section)[member::kReturnData],
                  Json::Value(send.answer));
        if (!send.announced) continue;
        const Json::Value lists = Call(R"({"method":"GetCatalogue"})")[member::kReturnData];
        Json::Value expected;
        expected[member::kProgramNum] = data[member::kProgramNum];
        for (const char* kind : {member::kVideo, member::kAudio, member::kSubtitle}) {
            expected[kind] = static_cast<int>(lists[kind].size());
        }
        announced.push_back(expected);
    }
    ASSERT_TRUE(listener.WaitForSignals(announced.size()));
    EXPECT_FALSE(listener.WaitForSignals(announced.size() + 1, 200));
    for (size_t i = 0; i < announced.size(); ++i) {
        const test_support::Reply& signal = listener.Signals()[i];
        EXPECT_EQ(signal.error_name, kCatalogueChanged);
        EXPECT_EQ(test_support::ParseJson(signal.body), announced[i]) << signal.body;
        EXPECT_TRUE(signal.buffer.empty());
    }
}

TEST_F(ServiceOnBus, LosingTheBusEndsWithOneErrorLineTheTeardownAndAFailureStatus) {
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData], Json::Value(0));
    client_.reset();
    bus_->Kill();
    EXPECT_EQ(service_->Wait(), 1);
    const std::string log = service_->Log();
    const size_t lost = log.find("E/ONDREL(");
    ASSERT_NE(lost, std::string::npos) << log;
    EXPECT_THAT(log.substr(lost),
                testing::MatchesRegex("E/ONDREL\\([0-9]+\\): server trevalo_service: lost the bus "
                                      "\\([^\n]*\\): exiting\n"
                                      "I/TREVALO_SERVICE\\([0-9]+\\): [^\n]* Trevalo service "
                                      "OnTerminate \n\n"));
    service_.reset();
}
