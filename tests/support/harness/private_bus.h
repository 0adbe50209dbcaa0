// Harness: a private dbus-daemon, the service (or another server) run on it, and a bare GDBus
// client that talks to a server of the framework without going through the framework's own code.
#ifndef TESTS_HARNESS_PRIVATE_BUS_H
#define TESTS_HARNESS_PRIVATE_BUS_H

#include <gio/gio.h>
#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "child_process.h"
#include "files.h"
#include "trevalo/bus_contract.h"

namespace test_support {

// A connection of our own to the bus at `address`; null when it cannot be made.
GDBusConnection* ConnectToBus(const std::string& address);

// A call to the bus daemon that returns once everything the connection sent before it has
// reached the daemon (a match rule, say).
void RoundTrip(GDBusConnection* connection);

// A dbus-daemon of its own in a temporary directory, stopped by the destructor. By default an
// open session bus; or `config_body` inside <busconfig> (beside a listen address of its own),
// and `environment` ("NAME=value") over what the daemon inherits.
class PrivateBus {
  public:
    PrivateBus();
    explicit PrivateBus(const std::string& config_body,
                        const std::vector<std::string>& environment = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;

    // The configuration of the default bus: an open session bus, with the daemon's own limits.
    static std::string OpenSessionConfig();
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool Started() const { return !m_Address.empty(); }
    const std::string& Address() const { return m_Address; }
    const std::string& Directory() const { return m_Directory.Path(); }
    // The daemon's stderr, where the services it starts write theirs.
    std::string Log() const;
    // The process owning `name`; -1 when nobody does.
    pid_t OwnerPid(const std::string& name) const;
    // Asks for `name` on a connection of our own: true when granted, else the error.
    bool RequestName(const std::string& name, std::string& error) const;

    // Ends the daemon at once (SIGKILL), as a crash would, under whoever is connected.
    void Kill();

  private:
    TemporaryDirectory m_Directory{"trevalo-bus"};
    std::string m_Address;
    std::unique_ptr<ChildProcess> m_Daemon;
};

// The service (or another server) run with DBUS_SESSION_BUS_ADDRESS set to the bus; Log() is its
// stderr.
class ServiceProcess : public ChildProcess {
  public:
    // `environment` holds extra "NAME=value" settings; `err_path` is as ChildOptions has it.
    ServiceProcess(const PrivateBus& bus, const std::string& program,
                   const std::vector<std::string>& environment = {},
                   const std::vector<std::string>& arguments = {},
                   const std::string& err_path = "");

    // Waits until `bus_name` has an owner on the bus; false after `timeout_ms` or if it exits.
    bool WaitForName(const std::string& bus_name, int timeout_ms = 10000);
    // Sends `signal_number` and waits for the exit, as Wait does.
    int Stop(int signal_number, int timeout_ms = 10000) {
        Signal(signal_number);
        return Wait(timeout_ms);
    }
    std::string Log() const { return Err(); }

  private:
    const PrivateBus& m_Bus;  // outlives the process
};

// Sends SIGTERM to `pid` (not a child of ours: a service the bus started) and waits for it to go.
bool StopProcess(pid_t pid);

// The bus name and object path of the framework's server `server_name`: the service's, with
// that name in place of the service's own.
std::string BusNameOf(const std::string& server_name);
std::string ObjectPathOf(const std::string& server_name);

// The reply of one Request call, or a signal.
struct Reply {
    bool ok = false;         // false: a D-Bus error came back
    std::string error_name;  // the D-Bus error name when !ok; a signal's name
    std::string body;        // the reply body text
    Bytes buffer;
};

// A connection to the bus calling the Request method of one server.
class RawClient {
  public:
    using SignalHandler = std::function<void(const Reply&)>;

    explicit RawClient(const PrivateBus& bus,
                       const std::string& server_name = trevalo_bus::kServerName);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    Reply Request(const std::string& body, const Bytes& buffer = {}, int timeout_ms = 10000);

    // Subscribes to signal `name` from the server. Each one goes to `handler`, or without one is
    // collected in Signals(); either happens while the main context that was the thread's
    // default here is iterated (WaitForSignals iterates the global default one).
    void Subscribe(const std::string& name, SignalHandler handler = {});
    // Iterates the default main context until `count` signals arrived or `timeout_ms` passed.
    bool WaitForSignals(size_t count, int timeout_ms = 5000);
    const std::vector<Reply>& Signals() const { return m_Signals; }

    GDBusConnection* Connection() const { return m_Bus; }

  private:
    static void OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                         GVariant*, gpointer);

    GDBusConnection* m_Bus = nullptr;
    std::string m_BusName;
    std::string m_ObjectPath;
    guint m_Subscription = 0;
    SignalHandler m_Handler;
    std::vector<Reply> m_Signals;
};

}  // namespace test_support

#endif
