#include "private_bus.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "file_contents.h"

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

GDBusConnection* ConnectToBus(const std::string& address) {
    return g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
}

void RoundTrip(GDBusConnection* connection) {
    GVariant* result = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (result != nullptr) g_variant_unref(result);
}

PrivateBus::PrivateBus()
    : PrivateBus(
          "<type>session</type><policy context=\"default\"><allow send_destination=\"*\" "
          "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>") {}

PrivateBus::PrivateBus(const std::string& config_body,
                       const std::vector<std::string>& environment) {
    const std::string config = m_Directory.Path() + "/bus.conf";
    std::ofstream(config) << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus "
                             "Configuration 1.0//EN\"\n"
                             " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                             "<busconfig><listen>unix:dir="
                          << m_Directory.Path() << "</listen><auth>EXTERNAL</auth>" << config_body
                          << "</busconfig>\n";
    ChildOptions options;
    options.program = "/usr/bin/dbus-daemon";
    options.environment = environment;
    m_Daemon = std::make_unique<ChildProcess>(
        std::vector<std::string>{"--config-file=" + config, "--nofork", "--print-address=1"},
        options);
    // The address is its first line; a daemon that refuses its configuration ends instead.
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (m_Daemon->Out().find('\n') == std::string::npos && m_Daemon->Running() &&
           Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const std::string out = m_Daemon->Out();
    if (out.find('\n') != std::string::npos) m_Address = out.substr(0, out.find('\n'));
}

PrivateBus::~PrivateBus() {
    m_Daemon->Signal(SIGTERM);
    m_Daemon->Wait(5000);
    m_Daemon.reset();  // SIGKILL if it is still there
}

void PrivateBus::Kill() {
    m_Daemon->Signal(SIGKILL);
    m_Daemon->Wait();
}

namespace {

ChildOptions OnBus(const PrivateBus& bus, ChildOptions options) {
    std::vector<std::string> environment{"DBUS_SESSION_BUS_ADDRESS=" + bus.Address()};
    for (const std::string& setting : options.environment) {
        if (setting.rfind("DBUS_SESSION_BUS_ADDRESS=", 0) == 0) {
            environment[0] = setting;
        } else {
            environment.push_back(setting);
        }
    }
    options.environment = std::move(environment);
    return options;
}

ChildOptions Program(const std::string& program, const std::vector<std::string>& environment) {
    ChildOptions options;
    options.program = program;
    options.environment = environment;
    return options;
}

}  // namespace

ServiceProcess::ServiceProcess(const PrivateBus& bus, const std::string& program,
                               const std::vector<std::string>& environment)
    : ServiceProcess(bus, {}, Program(program, environment)) {}

ServiceProcess::ServiceProcess(const PrivateBus& bus, const std::vector<std::string>& arguments,
                               ChildOptions options)
    : ChildProcess(arguments, OnBus(bus, std::move(options))), m_Bus(bus) {}

bool ServiceProcess::WaitForName(const std::string& bus_name, int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (Running() && Clock::now() < deadline) {
        if (m_Bus.OwnerPid(bus_name) > 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string PrivateBus::Log() const {
    return m_Daemon->Err();
}

namespace {

// A call to the bus daemon itself on a connection of our own; null with `error` on failure.
GVariant* CallDaemon(const std::string& address, const char* method, GVariant* arguments,
                     std::string* error) {
    GDBusConnection* connection = ConnectToBus(address);
    if (connection == nullptr) {
        if (error != nullptr) *error = "cannot connect";
        return nullptr;
    }
    GError* failure = nullptr;
    GVariant* result = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &failure);
    if (failure != nullptr) {
        if (error != nullptr) *error = failure->message;
        g_error_free(failure);
    }
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
    return result;
}

guint32 TakeUint(GVariant* result, guint32 otherwise) {
    if (result == nullptr) return otherwise;
    guint32 value = 0;
    g_variant_get(result, "(u)", &value);
    g_variant_unref(result);
    return value;
}

}  // namespace

pid_t PrivateBus::OwnerPid(const std::string& name) const {
    GVariant* result = CallDaemon(m_Address, "GetConnectionUnixProcessID",
                                  g_variant_new("(s)", name.c_str()), nullptr);
    return result == nullptr ? -1 : static_cast<pid_t>(TakeUint(result, 0));
}

bool PrivateBus::RequestName(const std::string& name, std::string& error) const {
    GVariant* result =
        CallDaemon(m_Address, "RequestName",
                   g_variant_new("(su)", name.c_str(), 4u /* DO_NOT_QUEUE */), &error);
    return TakeUint(result, 0) == 1;  // PRIMARY_OWNER
}

bool StopProcess(pid_t pid) {
    if (pid <= 0 || kill(pid, SIGTERM) != 0) return false;
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
        // Gone, or a zombie its parent has yet to reap.
        const std::string state = ReadText("/proc/" + std::to_string(pid) + "/stat");
        const size_t close_paren = state.rfind(')');
        if (state.empty() || (close_paren != std::string::npos && state[close_paren + 2] == 'Z')) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

}  // namespace test_support
