#include "pmt_bus_fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

std::unique_ptr<test_support::PrivateBus> PmtOnBus::bus_;
std::unique_ptr<test_support::ServiceProcess> PmtOnBus::service_;
std::unique_ptr<test_support::RawClient> PmtOnBus::client_;
std::unique_ptr<pmt_bus::PipelinedClient> PmtOnBus::pipeline_;
std::string PmtOnBus::state_path_;
pid_t PmtOnBus::watchdog_ = -1;
int PmtOnBus::watchdog_pipe_ = -1;

namespace {

constexpr const char kServiceBusName[] = "org.ondrel.TCServer.trevalo_service";

// The process id behind a name on the bus (the daemon's own for "org.freedesktop.DBus"); -1
// when the bus does not tell.
pid_t ProcessOnBus(GDBusConnection* bus, const char* name) {
    GVariant* answer = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", name), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (answer == nullptr) return -1;
    guint32 pid = 0;
    g_variant_get(answer, "(u)", &pid);
    g_variant_unref(answer);
    return static_cast<pid_t>(pid);
}

}  // namespace

void PmtOnBus::SetUpTestSuite() {
    bus_ = std::make_unique<test_support::PrivateBus>();
    state_path_ = bus_->Directory() + "/platform-state.json";
    SetPlatformState("{}");
    StartService();
}

void PmtOnBus::TearDownTestSuite() {
    StopWatchdog();
    pipeline_.reset();
    client_.reset();
    if (service_ && service_->Running()) {
        // An orderly stop; under LeakSanitizer a leak would turn the status non-zero.
        EXPECT_EQ(service_->Stop(SIGTERM, 30000), 0) << LogTail();
    }
    service_.reset();
    bus_.reset();
}

void PmtOnBus::StartService() {
    pipeline_.reset();
    client_.reset();
    service_ = std::make_unique<test_support::ServiceProcess>(
        *bus_, TREVALO_SERVICE_BINARY,
        std::vector<std::string>{"PLATFORM_SIM_STATE=" + state_path_});
    ASSERT_TRUE(service_->WaitForName(kServiceBusName, 30000)) << service_->Log();
    client_ = std::make_unique<test_support::RawClient>(*bus_, "trevalo_service");
    pipeline_ = std::make_unique<pmt_bus::PipelinedClient>(*client_);
    StartWatchdog();
}

void PmtOnBus::StartWatchdog() {
    StopWatchdog();
    const pid_t service = ProcessOnBus(client_->Connection(), kServiceBusName);
    const pid_t daemon = ProcessOnBus(client_->Connection(), "org.freedesktop.DBus");
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    watchdog_ = fork();
    if (watchdog_ == 0) {
        close(ends[1]);
        char byte = 0;
        ssize_t got;
        while ((got = read(ends[0], &byte, 1)) < 0) {
        }
        // 'q' from StopWatchdog, or the end of file when the test process is gone.
        if (got != 1 || byte != 'q') {
            if (service > 0) kill(service, SIGKILL);
            if (daemon > 0) kill(daemon, SIGKILL);
        }
        _exit(0);
    }
    close(ends[0]);
    watchdog_pipe_ = ends[1];
}

void PmtOnBus::StopWatchdog() {
    if (watchdog_ <= 0) return;
    const char quit = 'q';
    if (write(watchdog_pipe_, &quit, 1) != 1) {
        // The watchdog then sees the end of file and kills what it watches: still an end.
    }
    close(watchdog_pipe_);
    int status = 0;
    waitpid(watchdog_, &status, 0);
    watchdog_ = -1;
    watchdog_pipe_ = -1;
}

void PmtOnBus::SetUp() {
    ASSERT_TRUE(bus_) << "no bus";
    if (!service_ || !service_->Running()) {
        StartService();
        ASSERT_TRUE(service_->Running());
    }
    SetPlatformState("{}");
}

void PmtOnBus::SetPlatformState(const std::string& json) {
    const std::string temporary = state_path_ + ".new";
    {
        std::ofstream file(temporary);
        file << json;
    }
    ASSERT_EQ(std::rename(temporary.c_str(), state_path_.c_str()), 0);
}

test_support::Reply PmtOnBus::Call(const std::string& body, const test_support::Bytes& buffer) {
    return client_->Request(body, buffer, 60000);
}

std::string PmtOnBus::SendPmt(const test_support::Bytes& section, long long programme, bool reset) {
    return pmt_bus::ReturnData(Call(pmt_bus::SendPmtBody(programme, reset), section));
}

void PmtOnBus::ExpectCatalogue(const pmt_bus::Catalogue& expected) {
    std::vector<std::string> problems;
    const pmt_bus::Catalogue got = pmt_bus::ReadCatalogue(*pipeline_, problems);
    for (const std::string& problem : problems) ADD_FAILURE() << problem;
    EXPECT_EQ(got, expected);
}

void PmtOnBus::ExpectCatalogue(const pmt_bus::Expectation& expected) {
    ExpectCatalogue(expected.catalogue);
    std::vector<int> tags;
    for (const pmt_bus::PidByTag& lookup : expected.pids) tags.push_back(lookup.tag);
    EXPECT_EQ(pmt_bus::ReadPids(*pipeline_, tags), expected.pids);
}

bool PmtOnBus::ServiceRunning() {
    return service_ && service_->Running();
}

size_t PmtOnBus::LogSize() {
    return service_->Log().size();
}

std::string PmtOnBus::LogSince(size_t from) {
    const std::string log = service_->Log();
    return from < log.size() ? log.substr(from) : std::string();
}

std::string PmtOnBus::LogTail() {
    const std::string log = service_ ? service_->Log() : std::string();
    constexpr size_t kTail = 6000;
    return log.size() > kTail ? "..." + log.substr(log.size() - kTail) : log;
}
