#include "servers.h"

#include <dirent.h>
#include <signal.h>

#include <fstream>
#include <stdexcept>
#include <thread>

namespace bus_bench {
namespace {

// Waits for a name to get an owner by listening to NameOwnerChanged, so the moment is the one at
// which the daemon announced it, not the next turn of a polling loop.
class NameWatch {
  public:
    NameWatch(GDBusConnection* bus, const std::string& name) : m_Bus(bus) {
        m_Context = g_main_context_new();
        g_main_context_push_thread_default(m_Context);
        m_Subscription = g_dbus_connection_signal_subscribe(
            bus, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, &NameWatch::OnChange,
            this, nullptr);
        g_main_context_pop_thread_default(m_Context);
        // The match rule reaches the daemon before anything this process sends afterwards.
        test_support::RoundTrip(bus);
    }
    ~NameWatch() {
        g_dbus_connection_signal_unsubscribe(m_Bus, m_Subscription);
        while (g_main_context_iteration(m_Context, FALSE)) {
        }
        g_main_context_unref(m_Context);
    }
    NameWatch(const NameWatch&) = delete;
    NameWatch& operator=(const NameWatch&) = delete;

    // The moment the name was owned; false after `timeout`.
    bool Wait(Clock::time_point& when, std::chrono::milliseconds timeout) {
        const auto deadline = Clock::now() + timeout;
        while (!m_Owned && Clock::now() < deadline) {
            if (!g_main_context_iteration(m_Context, FALSE)) {
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        }
        when = m_When;
        return m_Owned;
    }

  private:
    static void OnChange(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                         GVariant* parameters, gpointer self) {
        auto* watch = static_cast<NameWatch*>(self);
        const gchar* new_owner = nullptr;
        g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &new_owner);
        if (new_owner != nullptr && *new_owner != '\0' && !watch->m_Owned) {
            watch->m_Owned = true;
            watch->m_When = Clock::now();
        }
    }

    GDBusConnection* m_Bus;
    GMainContext* m_Context = nullptr;
    guint m_Subscription = 0;
    bool m_Owned = false;
    Clock::time_point m_When;
};

}  // namespace

ServerProcess::ServerProcess(GDBusConnection* watcher, const test_support::PrivateBus& bus,
                             const std::vector<std::string>& command, const std::string& name,
                             const std::string& log_path,
                             const std::vector<std::string>& environment) {
    NameWatch watch(watcher, test_support::BusNameOf(name));
    const auto started = Clock::now();
    m_Process = std::make_unique<test_support::ServiceProcess>(
        bus, command.front(), environment,
        std::vector<std::string>(command.begin() + 1, command.end()), log_path);
    Clock::time_point owned;
    if (!watch.Wait(owned, std::chrono::seconds(20))) {
        throw std::runtime_error(command.front() + " did not take " +
                                 test_support::BusNameOf(name));
    }
    m_StartUp = owned - started;
}

ServerProcess::~ServerProcess() {
    m_Process->Stop(SIGTERM, 5000);
}

double ServerProcess::StartUpMs() const {
    return std::chrono::duration<double, std::milli>(m_StartUp).count();
}

double ServerProcess::CpuSeconds() const {
    // Every thread's schedstat, in nanoseconds.
    const std::string tasks = "/proc/" + std::to_string(m_Process->Pid()) + "/task";
    double total = 0;
    DIR* dir = opendir(tasks.c_str());
    if (dir == nullptr) return 0;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        std::ifstream stat(tasks + "/" + entry->d_name + "/schedstat");
        unsigned long long ns = 0;
        if (stat >> ns) total += ns / 1e9;
    }
    closedir(dir);
    return total;
}

}  // namespace bus_bench
