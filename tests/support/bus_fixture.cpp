#include "bus_fixture.h"

#include <fcntl.h>
#include <json/reader.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

std::string MakeTempDirectory() {
    char pattern[] = "/tmp/trevalo-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
    return pattern;
}

// Waits for `pid` to end; its status, or -1 when it was killed or the time ran out.
int WaitPid(pid_t pid, int timeout_ms, int& raw_status) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (true) {
        pid_t done = waitpid(pid, &raw_status, WNOHANG);
        if (done == pid) return WIFEXITED(raw_status) ? WEXITSTATUS(raw_status) : -1;
        if (done < 0 || Clock::now() > deadline) return -2;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace

PrivateBus::PrivateBus()
    : PrivateBus(
          "<type>session</type><policy context=\"default\"><allow send_destination=\"*\" "
          "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>") {}

PrivateBus::PrivateBus(const std::string& config_body, const std::vector<std::string>& environment)
    : m_Directory(MakeTempDirectory()) {
    const std::string config = m_Directory + "/bus.conf";
    std::ofstream(config) << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus "
                             "Configuration 1.0//EN\"\n"
                             " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                             "<busconfig><listen>unix:dir="
                          << m_Directory << "</listen><auth>EXTERNAL</auth>" << config_body
                          << "</busconfig>\n";
    // Built before fork: between fork and exec only async-signal-safe calls are sound.
    std::vector<std::string> environment_text;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string setting = *entry;
        bool replaced = false;
        for (const std::string& given : environment) {
            replaced = replaced || given.substr(0, given.find('=') + 1) ==
                                       setting.substr(0, setting.find('=') + 1);
        }
        if (!replaced) environment_text.push_back(setting);
    }
    environment_text.insert(environment_text.end(), environment.begin(), environment.end());
    std::vector<char*> envp;
    for (std::string& setting : environment_text) envp.push_back(setting.data());
    envp.push_back(nullptr);
    std::string config_option = "--config-file=" + config;
    char program[] = "/usr/bin/dbus-daemon";
    char no_fork[] = "--nofork";
    char print_address[] = "--print-address=1";
    char* argv[] = {program, config_option.data(), no_fork, print_address, nullptr};
    const int log = open((m_Directory + "/bus.log").c_str(), O_WRONLY | O_CREAT, 0644);
    int address_pipe[2];
    if (pipe(address_pipe) != 0) throw std::runtime_error("pipe failed");
    m_Pid = fork();
    if (m_Pid == 0) {
        dup2(address_pipe[1], STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        close(log);
        close(address_pipe[0]);
        close(address_pipe[1]);
        execve(program, argv, envp.data());
        _exit(127);
    }
    close(log);
    close(address_pipe[1]);
    char c;
    while (read(address_pipe[0], &c, 1) == 1 && c != '\n') m_Address.push_back(c);
    close(address_pipe[0]);
}

PrivateBus::~PrivateBus() {
    if (m_Pid > 0) {
        kill(m_Pid, SIGTERM);
        int status = 0;
        if (WaitPid(m_Pid, 5000, status) == -2) {
            kill(m_Pid, SIGKILL);
            waitpid(m_Pid, &status, 0);
        }
    }
    const std::string remove = "rm -rf '" + m_Directory + "'";
    if (std::system(remove.c_str()) != 0) {
        // Best effort: a leftover directory in /tmp harms nothing.
    }
}

void PrivateBus::Kill() {
    if (m_Pid <= 0) return;
    kill(m_Pid, SIGKILL);
    int status = 0;
    waitpid(m_Pid, &status, 0);
    m_Pid = -1;
}

ServiceProcess::ServiceProcess(const PrivateBus& bus, const std::string& program,
                               const std::vector<std::string>& environment)
    : m_BusAddress(bus.Address()) {
    static int runs = 0;
    m_LogPath = bus.Directory() + "/stderr-" + std::to_string(++runs) + ".log";
    m_Pid = fork();
    if (m_Pid == 0) {
        const int log = open(m_LogPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(log, STDERR_FILENO);
        close(log);
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.Address().c_str(), 1);
        for (const std::string& setting : environment) {
            const auto equals = setting.find('=');
            setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
        }
        execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
}

ServiceProcess::~ServiceProcess() {
    if (m_Pid > 0 && Running()) {
        kill(m_Pid, SIGKILL);
        int status = 0;
        waitpid(m_Pid, &status, 0);
    }
}

bool ServiceProcess::Running() {
    if (m_Pid <= 0) return false;
    int status = 0;
    if (waitpid(m_Pid, &status, WNOHANG) == m_Pid) {
        m_Status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        m_Pid = -1;
        return false;
    }
    return true;
}

bool ServiceProcess::WaitForName(const std::string& bus_name, int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    GError* error = nullptr;
    GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
        m_BusAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (connection == nullptr) {
        g_error_free(error);
        return false;
    }
    bool owned = false;
    while (!owned && Running() && Clock::now() < deadline) {
        GVariant* result = g_dbus_connection_call_sync(
            connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameHasOwner", g_variant_new("(s)", bus_name.c_str()), G_VARIANT_TYPE("(b)"),
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        if (result != nullptr) {
            gboolean has_owner = FALSE;
            g_variant_get(result, "(b)", &has_owner);
            g_variant_unref(result);
            owned = has_owner;
        }
        if (!owned) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
    return owned;
}

int ServiceProcess::Stop(int signal_number, int timeout_ms) {
    if (m_Pid > 0) kill(m_Pid, signal_number);
    return WaitForExit(timeout_ms);
}

int ServiceProcess::WaitForExit(int timeout_ms) {
    if (m_Pid <= 0) return m_Status;
    int raw = 0;
    const int status = WaitPid(m_Pid, timeout_ms, raw);
    if (status == -2) return -1;  // still running: the destructor kills it
    m_Pid = -1;
    m_Status = status;
    return status;
}

std::string ServiceProcess::Log() const {
    std::ifstream file(m_LogPath, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

RawClient::RawClient(const PrivateBus& bus, const std::string& server_name)
    : m_BusName("org.ondrel.TCServer." + server_name),
      m_ObjectPath("/org/ondrel/TCServer/" + server_name) {
    GError* error = nullptr;
    m_Bus = g_dbus_connection_new_for_address_sync(
        bus.Address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (m_Bus == nullptr) {
        std::string why = error->message;
        g_error_free(error);
        throw std::runtime_error("cannot connect: " + why);
    }
}

RawClient::~RawClient() {
    if (m_Subscription != 0) g_dbus_connection_signal_unsubscribe(m_Bus, m_Subscription);
    g_dbus_connection_close_sync(m_Bus, nullptr, nullptr);
    g_object_unref(m_Bus);
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

Reply RawClient::Request(const std::string& body, const Bytes& buffer, int timeout_ms) {
    GVariant* children[] = {
        g_variant_new_string(body.c_str()),
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), 1)};
    GError* error = nullptr;
    GVariant* answer = g_dbus_connection_call_sync(
        m_Bus, m_BusName.c_str(), m_ObjectPath.c_str(), "org.ondrel.TCServer", "Request",
        g_variant_new_tuple(children, 2), G_VARIANT_TYPE("(say)"), G_DBUS_CALL_FLAGS_NONE,
        timeout_ms, nullptr, &error);
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
    signal.error_name = signal_name;  // the signal's name, for the test to check
    client->m_Signals.push_back(std::move(signal));
}

void RawClient::Subscribe(const std::string& name) {
    m_Subscription = g_dbus_connection_signal_subscribe(
        m_Bus, m_BusName.c_str(), "org.ondrel.TCServer", name.c_str(), m_ObjectPath.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &RawClient::OnSignal, this, nullptr);
    // The match rule reaches the daemon asynchronously; a round trip makes sure it is in place.
    GVariant* result = g_dbus_connection_call_sync(
        m_Bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
        nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (result != nullptr) g_variant_unref(result);
}

bool RawClient::WaitForSignals(size_t count, int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (m_Signals.size() < count && Clock::now() < deadline) {
        if (!g_main_context_iteration(nullptr, FALSE)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    return m_Signals.size() >= count;
}

std::string PrivateBus::Log() const {
    return ReadText(m_Directory + "/bus.log");
}

namespace {

GDBusConnection* Connect(const std::string& address) {
    return g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
}

// A call to the bus daemon itself on a connection of our own; null with `error` on failure.
GVariant* CallDaemon(const std::string& address, const char* method, GVariant* arguments,
                     std::string* error) {
    GDBusConnection* connection = Connect(address);
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

std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace test_support
