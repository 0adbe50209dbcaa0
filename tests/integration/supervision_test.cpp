// The service as its systemd unit supervises it: the watchdog pings it sends to the manager's
// notification socket, and the unit's bounds (tasks, open files, memory) against what the
// service takes under a load of eight clients. The unit is read as installed; its kill and
// restart on a real manager are the system test's (scripts/system-test.sh).
#include <dirent.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <chrono>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "service_on_bus.h"
#include "trevalo/json_text.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace member = trevalo_bus::member;

// The settings of the system unit, by name (the last of a name wins).
std::map<std::string, std::string> UnitSettings() {
    std::ifstream unit(TREVALO_SYSTEM_UNIT);
    std::map<std::string, std::string> settings;
    for (std::string line; std::getline(unit, line);) {
        const size_t equals = line.find('=');
        if (line.empty() || !std::isalpha(static_cast<unsigned char>(line[0])) ||
            equals == std::string::npos) {
            continue;
        }
        settings[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return settings;
}

// A size or a time span of the unit in its base unit (bytes, microseconds); -1 when unreadable.
long long UnitQuantity(const std::string& text) {
    const std::map<std::string, long long> factors{
        {"", 1},   {"K", 1024},  {"M", 1024 * 1024}, {"G", 1024LL * 1024 * 1024},
        {"us", 1}, {"ms", 1000}, {"s", 1000000},     {"min", 60000000}};
    const size_t digits = text.find_first_not_of("0123456789");
    const auto factor = factors.find(digits == std::string::npos ? "" : text.substr(digits));
    if (digits == 0 || factor == factors.end()) return -1;
    return std::stoll(text.substr(0, digits)) * factor->second;
}

// The manager's end of NOTIFY_SOCKET: a datagram socket in the bus's directory.
class NotifySocket {
  public:
    explicit NotifySocket(const std::string& path) : m_Path(path) {
        m_Fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_Fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~NotifySocket() { close(m_Fd); }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    const std::string& Path() const { return m_Path; }

    // Reads what has come so far.
    void Drain() {
        while (!Receive(0).empty()) {
        }
    }

    // The next datagram's text, and when it came; empty when none came within `timeout_ms`.
    std::string Receive(int timeout_ms, Clock::time_point* at = nullptr) {
        pollfd ready{m_Fd, POLLIN, 0};
        if (poll(&ready, 1, timeout_ms) != 1) return "";
        char text[256];
        const ssize_t length = recv(m_Fd, text, sizeof text, 0);
        if (at != nullptr) *at = Clock::now();
        return length > 0 ? std::string(text, static_cast<size_t>(length)) : "";
    }

  private:
    std::string m_Path;
    int m_Fd = -1;
};

class Supervised : public ServiceOnBus {
  protected:
    void SetUp() override {}  // each test starts the service with the environment it needs

    void Start(const std::vector<std::string>& environment) {
        bus_ = std::make_unique<test_support::PrivateBus>();
        notify_ = std::make_unique<NotifySocket>(bus_->Directory() + "/notify");
        std::vector<std::string> settings{"NOTIFY_SOCKET=" + notify_->Path()};
        settings.insert(settings.end(), environment.begin(), environment.end());
        service_ =
            std::make_unique<test_support::ServiceProcess>(*bus_, TREVALO_SERVICE_BINARY, settings);
        ASSERT_TRUE(service_->WaitForName(trevalo_bus::kBusName)) << service_->Log();
        client_ = std::make_unique<test_support::RawClient>(*bus_);
    }

    std::unique_ptr<NotifySocket> notify_;
};

struct WatchdogCase {
    const char* name;
    std::vector<std::string> environment;
    bool pings;
};

TEST_F(Supervised, PingsAtHalfTheIntervalOnlyWhenTheManagerWatchesIt) {
    const WatchdogCase cases[] = {
        {"watched", {"WATCHDOG_USEC=600000"}, true},
        {"another process watched", {"WATCHDOG_USEC=600000", "WATCHDOG_PID=1"}, false},
        {"no watchdog", {}, false},
    };
    for (const WatchdogCase& one : cases) {
        SCOPED_TRACE(one.name);
        Start(one.environment);
        Call(R"({"method":"SizeOfAudio"})");  // the main loop has turned
        // What came at start goes: EFL's ecore_init sends one ping of its own whenever
        // WATCHDOG_USEC is set.
        notify_->Drain();
        if (one.pings) {
            // The shortest gap of several: a busy machine only makes gaps longer.
            Clock::time_point last, at;
            ASSERT_EQ(notify_->Receive(5000, &last), "WATCHDOG=1");
            double shortest_ms = 1e9;
            for (int i = 0; i < 4; ++i) {
                ASSERT_EQ(notify_->Receive(5000, &at), "WATCHDOG=1");
                shortest_ms = std::min(
                    shortest_ms, std::chrono::duration<double, std::milli>(at - last).count());
                last = at;
            }
            EXPECT_GT(shortest_ms, 250);
            EXPECT_LT(shortest_ms, 450);
            EXPECT_NE(service_->Log().find("watchdog: WATCHDOG=1 every 300 ms"), std::string::npos)
                << service_->Log();
        } else {
            // Twice the interval a watched process would ping at.
            EXPECT_EQ(notify_->Receive(600), "");
            EXPECT_EQ(service_->Log().find("watchdog"), std::string::npos) << service_->Log();
        }
        TearDown();
    }
}

// The unit's own interval: once the service is up, its next ping comes within it, from the main
// process, which the unit lets notify.
TEST_F(Supervised, TheUnitsWatchdogIsFedInTime) {
    std::map<std::string, std::string> unit = UnitSettings();
    const long long interval_us = UnitQuantity(unit["WatchdogSec"]);
    ASSERT_GT(interval_us, 0) << "WatchdogSec=" << unit["WatchdogSec"];
    EXPECT_TRUE(unit["NotifyAccess"] == "main" || unit["NotifyAccess"] == "all")
        << "NotifyAccess=" << unit["NotifyAccess"] << " drops the main process's pings";
    const long long abort_us = UnitQuantity(unit["TimeoutAbortSec"]);
    EXPECT_TRUE(abort_us > 0 && abort_us <= interval_us)
        << "TimeoutAbortSec=" << unit["TimeoutAbortSec"] << ": a wedged service is not killed "
        << "within seconds";
    Start({"WATCHDOG_USEC=" + std::to_string(interval_us)});
    Call(R"({"method":"SizeOfAudio"})");
    notify_->Drain();
    EXPECT_EQ(notify_->Receive(static_cast<int>(interval_us / 1000)), "WATCHDOG=1");
}

size_t EntriesOf(const std::string& directory) {
    size_t count = 0;
    if (DIR* listing = opendir(directory.c_str())) {
        while (const dirent* entry = readdir(listing)) count += entry->d_name[0] != '.';
        closedir(listing);
    }
    return count;
}

long StatusKiB(pid_t pid, const std::string& field) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field + ":", 0) == 0) return std::stol(line.substr(field.size() + 1));
    }
    return -1;
}

// Eight clients send the largest captured section back to back, with the unit's open-file limit
// on the service: every reply is right and every log line whole; the most threads and open files
// seen, and the peak of its resident memory
// (VmHWM, shared library pages included: more than the unit is charged for), take at most half
// of each of the unit's bounds.
TEST_F(Supervised, TheUnitsBoundsLeaveRoomOverALoad) {
    std::map<std::string, std::string> unit = UnitSettings();
    const long long tasks = UnitQuantity(unit["TasksMax"]);
    const long long files = UnitQuantity(unit["LimitNOFILE"]);
    const long long memory_high = UnitQuantity(unit["MemoryHigh"]);
    const long long memory_max = UnitQuantity(unit["MemoryMax"]);
    ASSERT_TRUE(tasks > 0 && files > 0 && memory_high > 0 && memory_max >= memory_high)
        << "TasksMax=" << unit["TasksMax"] << " LimitNOFILE=" << unit["LimitNOFILE"]
        << " MemoryHigh=" << unit["MemoryHigh"] << " MemoryMax=" << unit["MemoryMax"];
    Start({});
    const pid_t pid = service_->Pid();
    const rlimit open_files{static_cast<rlim_t>(files), static_cast<rlim_t>(files)};
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &open_files, nullptr), 0);

    const test_support::Bytes section = test_support::ReadTestData("pmt/test-018.p1.v4.0.sec");
    const std::string body = R"({"method":"SendPMTData","data":{"reset":true,"programNum":1}})";
    std::atomic<int> answered{0};
    std::atomic<bool> done{false};
    size_t most_threads = 0, most_files = 0;
    std::thread sampler([&] {
        const std::string proc = "/proc/" + std::to_string(pid);
        while (!done) {
            most_threads = std::max(most_threads, EntriesOf(proc + "/task"));
            most_files = std::max(most_files, EntriesOf(proc + "/fd"));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    std::vector<std::thread> clients;
    for (int k = 0; k < 8; ++k) {
        clients.emplace_back([&] {
            test_support::RawClient client(*bus_);
            for (int i = 0; i < 150; ++i) {
                const test_support::Reply reply = client.Request(body, section);
                answered +=
                    reply.ok && test_support::ParseJson(reply.body)[member::kReturnData] == 0;
            }
        });
    }
    for (std::thread& client : clients) client.join();
    done = true;
    sampler.join();

    EXPECT_EQ(answered, 8 * 150);
    // Every line of those requests is whole in the log, once the round trip below is answered.
    Call(R"({"method":"SizeOfAudio"})");
    const std::string log = service_->Log();
    const std::string tag = "/TREVALO_SERVICE(";
    for (size_t at = log.find(tag); at != std::string::npos; at = log.find(tag, at + 1)) {
        ASSERT_TRUE(at == 1 || (at >= 2 && log[at - 2] == '\n'))
            << "a line broken at byte " << at << ": " << log.substr(at < 80 ? 0 : at - 80, 160);
    }
    EXPECT_LE(2 * static_cast<long long>(most_threads), tasks) << "TasksMax=" << unit["TasksMax"];
    EXPECT_LE(2 * static_cast<long long>(most_files), files)
        << "LimitNOFILE=" << unit["LimitNOFILE"];
    const long long peak = StatusKiB(pid, "VmHWM") * 1024LL;
#ifndef __SANITIZE_ADDRESS__  // AddressSanitizer's shadow memory is no figure of the service's
    EXPECT_LE(2 * peak, memory_high)
        << "VmHWM " << peak << " bytes, MemoryHigh=" << unit["MemoryHigh"];
#endif
    std::printf("under load: %zu threads, %zu open files, VmHWM %lld KiB, RssAnon %ld KiB\n",
                most_threads, most_files, peak / 1024, StatusKiB(pid, "RssAnon"));
}

}  // namespace
