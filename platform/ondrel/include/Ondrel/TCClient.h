#ifndef ONDREL_TCCLIENT_H
#define ONDREL_TCCLIENT_H

#include <functional>
#include <memory>
#include <string>

#include "Ondrel/TCMessage.h"
#include "Ondrel/TCValue.h"

namespace Ondrel {

// The client side of a TCServer: sends requests to the server named at construction and listens
// to its signals. It trusts only the server: a signal counts when it comes from the connection
// that owns the server's bus name now (followed through NameOwnerChanged, so a restarted server
// is followed too). No exception of a handler crosses sd-bus or GLib: it is reported on stderr
// and the signal skipped. Not thread-safe; use one client per thread.
class TCClient {
  public:
    explicit TCClient(std::string server_name);
    ~TCClient();

    TCClient(const TCClient&) = delete;
    TCClient& operator=(const TCClient&) = delete;

    // Connects to the bus at `address`; when it is empty, to the bus a server would join (the
    // activating bus, else the session bus named by DBUS_SESSION_BUS_ADDRESS, else the system
    // bus).
    bool Connect(const std::string& address = std::string(), std::string* error = nullptr);

    // Connects to the session bus (DBUS_SESSION_BUS_ADDRESS, else the user's bus socket) or to
    // the system bus, whatever the environment says about activation.
    enum class Bus { kSession, kSystem };
    bool Connect(Bus bus, std::string* error = nullptr);

    // False once the connection to the bus is gone (the bus daemon stopped, the socket closed).
    bool Connected() const;

    // Called once when the connection is found gone while the default main context is iterated
    // (after Subscribe or FollowOwner), with the reason.
    using LostHandler = std::function<void(const std::string& reason)>;
    void OnBusLost(LostHandler on_lost);

    // From now on follows who owns the server's bus name (NameOwnerChanged, while the default
    // main context is iterated), starting from the bus's answer now; Subscribe and
    // SubscribeProperties do it too. False when not connected.
    bool FollowOwner();
    // The unique name of the owner as followed; empty when nobody owns the name (or before
    // FollowOwner).
    const std::string& Owner() const;

    // With `only` set, requests, pings and property reads go to the followed owner's unique
    // name, which the bus never starts a server for: with no owner they fail at once with
    // org.freedesktop.DBus.Error.NameHasNoOwner. Without (the default), to the well-known name.
    void AddressOwnerOnly(bool only);

    // The unique name that sent the reply of the last successful Request.
    const std::string& ReplySender() const;
    // The D-Bus error name of the last call that failed with one; empty when it failed locally.
    const std::string& LastErrorName() const;

    // Sends `request` and waits for the reply (timeout in milliseconds, -1 for the default).
    // False with `error` set when the call fails (no server, a D-Bus error, a reply body that is
    // not JSON).
    bool Request(const TCMessage& request, TCMessage& reply, std::string* error = nullptr,
                 int timeout_ms = -1);

    // Asks the server's bus name whether anyone answers there (org.freedesktop.DBus.Peer.Ping,
    // which every peer answers and which the bus may start an activatable server for). False
    // with `error` set when nobody does in time.
    bool Ping(std::string* error = nullptr, int timeout_ms = -1);

    // Calls `on_signal` for every signal named `signal` (any name when empty) that the server
    // emits, while the default main context is iterated. Returns false when not connected or
    // when the bus refuses the match.
    using SignalHandler = std::function<void(const std::string& signal, const TCMessage&)>;
    bool Subscribe(const std::string& signal, SignalHandler on_signal);

    // Reads every property of `interface` on the server's object (Properties.GetAll); members of
    // types TCValue does not carry are left out. False with `error` set when the call fails.
    bool GetAllProperties(const std::string& interface, TCValue::Dictionary& properties,
                          std::string* error = nullptr, int timeout_ms = -1);

    // Calls method `method` of `interface` on the server's object with one a{sv} argument and
    // reads its one a{sv} result (members of types TCValue does not carry left out). False with
    // `error` set ("NAME: message" for a D-Bus error) when the call fails.
    bool CallWithDictionary(const std::string& interface, const std::string& method,
                            const TCValue::Dictionary& argument, TCValue::Dictionary& result,
                            std::string* error = nullptr, int timeout_ms = -1);

    // Calls `on_change` with the changed values every PropertiesChanged of `interface` carries
    // from the server's object, while the default main context is iterated. Returns false when
    // not connected or when the bus refuses the match.
    using PropertiesHandler = std::function<void(const TCValue::Dictionary& changed)>;
    bool SubscribeProperties(const std::string& interface, PropertiesHandler on_change);

    // The bus name, object path and interface the client talks to.
    const std::string& BusName() const;
    const std::string& ObjectPath() const;

    struct State;  // the connection and what is followed on it

  private:
    std::unique_ptr<State> m_State;
};

}  // namespace Ondrel

#endif
