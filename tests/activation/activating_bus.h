// Test support for installation and activation: the project installed into a temporary prefix,
// and a dbus-daemon of its own whose configuration a test writes (service directories, policy).
#ifndef TESTS_ACTIVATION_ACTIVATING_BUS_H
#define TESTS_ACTIVATION_ACTIVATING_BUS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace activation_test {

constexpr const char kBusName[] = "org.ondrel.TCServer.trevalo_service";

// `cmake --install` of the build tree into a fresh temporary directory, removed at the end.
class InstalledTree {
  public:
    InstalledTree();
    ~InstalledTree();
    InstalledTree(const InstalledTree&) = delete;
    InstalledTree& operator=(const InstalledTree&) = delete;

    const std::string& Prefix() const { return m_Prefix; }
    // What `cmake --install` printed.
    const std::string& Log() const { return m_Log; }
    bool Succeeded() const { return m_Succeeded; }

  private:
    std::string m_Prefix;
    std::string m_Log;
    bool m_Succeeded = false;
};

// One installation shared by the tests of this process.
const InstalledTree& SharedInstall();

// A dbus-daemon with `config_body` inside <busconfig> (plus a listen address of its own), and
// `environment` ("NAME=value") added to what it inherits. Stopped by the destructor, together
// with the one service a test says it started.
class ActivatingBus {
  public:
    ActivatingBus(const std::string& config_body, const std::vector<std::string>& environment = {});
    ~ActivatingBus();
    ActivatingBus(const ActivatingBus&) = delete;
    ActivatingBus& operator=(const ActivatingBus&) = delete;

    bool Started() const { return !m_Address.empty(); }
    const std::string& Address() const { return m_Address; }
    const std::string& Directory() const { return m_Directory; }
    // The daemon's stderr, where the services it starts write theirs.
    std::string Log() const;

    // The process owning `name` on this bus; -1 when nobody does.
    pid_t OwnerPid(const std::string& name) const;
    // Asks for `name` on a connection of our own: true when granted, else the error.
    bool RequestName(const std::string& name, std::string& error) const;
    // Sends SIGTERM to `pid` (a service the bus started) and waits for it to go.
    bool StopService(pid_t pid) const;

  private:
    std::string m_Directory;
    std::string m_Address;
    pid_t m_Pid = -1;
};

// Where /proc says the program of `pid` lives.
std::string ExecutableOf(pid_t pid);

// The file's text; empty when it cannot be read.
std::string ReadText(const std::string& path);

}  // namespace activation_test

#endif
