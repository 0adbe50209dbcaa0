#include "activating_bus.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace activation_test {
namespace {

using Clock = std::chrono::steady_clock;

std::string MakeTempDirectory(const char* purpose) {
    std::string pattern = std::string("/tmp/trevalo-") + purpose + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    return pattern;
}

void RemoveTree(const std::string& path) {
    const std::string command = "rm -rf '" + path + "'";
    if (std::system(command.c_str()) != 0) {
        // A leftover directory in /tmp harms nothing.
    }
}

GDBusConnection* Connect(const std::string& address) {
    return g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
}

void Disconnect(GDBusConnection* connection) {
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
}

}  // namespace

InstalledTree::InstalledTree() : m_Prefix(MakeTempDirectory("install")) {
    const std::string log = m_Prefix + ".log";
    const std::string command = std::string("'") + TREVALO_CMAKE + "' --install '" +
                                TREVALO_BUILD_DIR + "' --prefix '" + m_Prefix + "' >'" + log +
                                "' 2>&1";
    m_Succeeded = std::system(command.c_str()) == 0;
    m_Log = ReadText(log);
    std::remove(log.c_str());
}

InstalledTree::~InstalledTree() {
    RemoveTree(m_Prefix);
}

const InstalledTree& SharedInstall() {
    static const InstalledTree tree;
    return tree;
}

ActivatingBus::ActivatingBus(const std::string& config_body,
                             const std::vector<std::string>& environment)
    : m_Directory(MakeTempDirectory("bus")) {
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

ActivatingBus::~ActivatingBus() {
    if (m_Pid > 0) {
        kill(m_Pid, SIGTERM);
        int status = 0;
        waitpid(m_Pid, &status, 0);
    }
    RemoveTree(m_Directory);
}

std::string ActivatingBus::Log() const {
    return ReadText(m_Directory + "/bus.log");
}

pid_t ActivatingBus::OwnerPid(const std::string& name) const {
    GDBusConnection* connection = Connect(m_Address);
    if (connection == nullptr) return -1;
    GVariant* result = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", name.c_str()), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    pid_t pid = -1;
    if (result != nullptr) {
        guint32 value = 0;
        g_variant_get(result, "(u)", &value);
        pid = static_cast<pid_t>(value);
        g_variant_unref(result);
    }
    Disconnect(connection);
    return pid;
}

bool ActivatingBus::RequestName(const std::string& name, std::string& error) const {
    GDBusConnection* connection = Connect(m_Address);
    if (connection == nullptr) {
        error = "cannot connect";
        return false;
    }
    GError* failure = nullptr;
    GVariant* result = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name.c_str(), 4u /* DO_NOT_QUEUE */),
        G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &failure);
    bool granted = false;
    if (result != nullptr) {
        guint32 reply = 0;
        g_variant_get(result, "(u)", &reply);
        granted = reply == 1;  // PRIMARY_OWNER
        g_variant_unref(result);
    } else {
        error = failure->message;
        g_error_free(failure);
    }
    Disconnect(connection);
    return granted;
}

bool ActivatingBus::StopService(pid_t pid) const {
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

std::string ExecutableOf(pid_t pid) {
    char target[4096];
    const ssize_t length =
        readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), target, sizeof target - 1);
    if (length <= 0) return "";
    return std::string(target, static_cast<size_t>(length));
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace activation_test
