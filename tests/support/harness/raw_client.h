// Harness: a bare GDBus client that talks to a server of the framework (the service, or an echo
// server with its interface) without going through the framework's own code.
#ifndef TESTS_HARNESS_RAW_CLIENT_H
#define TESTS_HARNESS_RAW_CLIENT_H

#include <gio/gio.h>

#include <functional>
#include <string>
#include <vector>

#include "file_contents.h"
#include "private_bus.h"
#include "trevalo/bus_contract.h"

namespace test_support {

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
    const std::string& BusName() const { return m_BusName; }
    const std::string& ObjectPath() const { return m_ObjectPath; }

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
