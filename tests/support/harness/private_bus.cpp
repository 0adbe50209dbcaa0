#include "private_bus.h"

#include <signal.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

ChildOptions OnBus(const PrivateBus& bus, const std::string& program,
                   const std::vector<std::string>& environment, const std::string& err_path) {
    ChildOptions options;
    options.program = program;
    options.err_path = err_path;
    options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus.Address()};
    for (const std::string& setting : environment) {
        if (setting.rfind("DBUS_SESSION_BUS_ADDRESS=", 0) == 0) {
            options.environment[0] = setting;
        } else {
            options.environment.push_back(setting);
        }
    }
    return options;
}

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

Reply ReplyFromTuple(GVariant* tuple) {
    Reply reply;
    const gchar* body = nullptr;
    GVariant* buffer = nullptr;
    g_variant_get(tuple, "(&s@ay)", &body, &buffer);
    gsize length = 0;
    const auto* bytes =
        static_cast<const unsigned char*>(g_variant_get_fixed_array(buffer, &length, 1));
    reply.ok = true;
    reply.body = body;
    reply.buffer.assign(bytes, bytes + length);
    g_variant_unref(buffer);
    return reply;
}

Reply ReplyFromError(const GError* error) {
    Reply failed;
    gchar* remote = g_dbus_error_get_remote_error(error);
    failed.error_name = remote != nullptr ? remote : error->message;
    g_free(remote);
    return failed;
}

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

std::string PrivateBus::OpenSessionConfig() {
    return "<type>session</type><policy context=\"default\"><allow send_destination=\"*\" "
           "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>";
}

PrivateBus::PrivateBus() : PrivateBus(OpenSessionConfig()) {}

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
    const auto deadline = Clock::now() + std::chrono::milliseconds(Scaled(10000));
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

ServiceProcess::ServiceProcess(const PrivateBus& bus, const std::string& program,
                               const std::vector<std::string>& environment,
                               const std::vector<std::string>& arguments,
                               const std::string& err_path)
    : ChildProcess(arguments, OnBus(bus, program, environment, err_path)), m_Bus(bus) {}

bool ServiceProcess::WaitForName(const std::string& bus_name, int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(Scaled(timeout_ms));
    while (Running() && Clock::now() < deadline) {
        if (m_Bus.OwnerPid(bus_name) > 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string PrivateBus::Log() const {
    return m_Daemon->Err();
}

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
    const auto deadline = Clock::now() + std::chrono::milliseconds(Scaled(10000));
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

std::string BusNameOf(const std::string& server_name) {
    return std::string(trevalo_bus::kInterface) + "." + server_name;
}

std::string ObjectPathOf(const std::string& server_name) {
    const std::string service_path = trevalo_bus::kObjectPath;
    return service_path.substr(0, service_path.rfind('/') + 1) + server_name;
}

RawClient::RawClient(const PrivateBus& bus, const std::string& server_name)
    : m_BusName(BusNameOf(server_name)), m_ObjectPath(ObjectPathOf(server_name)) {
    m_Bus = ConnectToBus(bus.Address());
    if (m_Bus == nullptr) throw std::runtime_error("cannot connect to " + bus.Address());
}

RawClient::~RawClient() {
    if (m_Subscription != 0) g_dbus_connection_signal_unsubscribe(m_Bus, m_Subscription);
    g_dbus_connection_close_sync(m_Bus, nullptr, nullptr);
    g_object_unref(m_Bus);
}

Reply RawClient::Request(const std::string& body, const Bytes& buffer, int timeout_ms) {
    GVariant* children[] = {
        g_variant_new_string(body.c_str()),
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), 1)};
    GError* error = nullptr;
    GVariant* answer = g_dbus_connection_call_sync(
        m_Bus, m_BusName.c_str(), m_ObjectPath.c_str(), trevalo_bus::kInterface,
        trevalo_bus::kRequestMethod, g_variant_new_tuple(children, 2), G_VARIANT_TYPE("(say)"),
        G_DBUS_CALL_FLAGS_NONE, Scaled(timeout_ms), nullptr, &error);
    if (answer == nullptr) {
        Reply failed = ReplyFromError(error);
        g_error_free(error);
        return failed;
    }
    Reply reply = ReplyFromTuple(answer);
    g_variant_unref(answer);
    return reply;
}

void RawClient::OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                         const gchar* signal_name, GVariant* parameters, gpointer self) {
    auto* client = static_cast<RawClient*>(self);
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(say)"))) return;
    Reply signal = ReplyFromTuple(parameters);
    signal.error_name = signal_name;
    if (client->m_Handler) {
        client->m_Handler(signal);
    } else {
        client->m_Signals.push_back(std::move(signal));
    }
}

void RawClient::Subscribe(const std::string& name, SignalHandler handler) {
    m_Handler = std::move(handler);
    m_Subscription = g_dbus_connection_signal_subscribe(
        m_Bus, m_BusName.c_str(), trevalo_bus::kInterface, name.c_str(), m_ObjectPath.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &RawClient::OnSignal, this, nullptr);
    // The match rule reaches the daemon asynchronously.
    RoundTrip(m_Bus);
}

bool RawClient::WaitForSignals(size_t count, int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(Scaled(timeout_ms));
    while (m_Signals.size() < count && Clock::now() < deadline) {
        if (!g_main_context_iteration(nullptr, FALSE)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    return m_Signals.size() >= count;
}

}  // namespace test_support
