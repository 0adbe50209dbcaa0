#ifndef ONDREL_TCSERVER_H
#define ONDREL_TCSERVER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Ondrel/TCMessage.h"
#include "Ondrel/TCValue.h"

namespace Ondrel {

class TCEventIO;

// A read-only property of an exported interface. `get` is asked for the value whenever a client
// reads it and whenever a change of it is announced; the value must have type `signature`.
struct TCProperty {
    std::string name;
    std::string signature;
    std::function<TCValue()> get;
};

// A method of an exported interface whose arguments are basic values (y b q i s) or a{sv}
// dictionaries (values y b q i s as), and whose results are any TCValue. `call` gets the caller's
// unique bus name and the arguments in order and answers the results in order, of `out_signature`;
// it refuses a call by throwing TCMethodError, which the caller gets as that D-Bus error.
struct TCMethod {
    std::string name;
    std::string in_signature;
    std::vector<std::string> in_names;
    std::string out_signature;
    std::vector<std::string> out_names;
    std::function<std::vector<TCValue>(const char* sender, const std::vector<TCValue>&)> call;
};

struct TCMethodError {
    std::string name;  // a D-Bus error name, e.g. "org.freedesktop.DBus.Error.InvalidArgs"
    std::string message;
};

// An interface exported beside "org.ondrel.TCServer" on the server's object. Each property
// announces its changes with org.freedesktop.DBus.Properties.PropertiesChanged, values included.
struct TCInterface {
    std::string name;
    std::vector<TCProperty> properties;
    std::vector<TCMethod> methods;
};

// A named server on D-Bus. It joins the bus that started it (DBUS_STARTER_ADDRESS), else the
// session bus named by DBUS_SESSION_BUS_ADDRESS, else the system bus. A server named N owns the
// bus name "org.ondrel.TCServer.N" and exports the object "/org/ondrel/TCServer/N" with the
// interface "org.ondrel.TCServer" (characters of N outside [A-Za-z0-9_] become '_'):
//   method Request(s body, ay buffer) -> (s body, ay buffer)
//   signals of any name with the arguments (s body, ay buffer), sent by SendSignal.
// A request whose body is not JSON text, or whose body or buffer is larger than kMaxBodyBytes or
// kMaxBufferBytes, is answered with the D-Bus error "org.ondrel.TCServer.Error.InvalidMessage"
// and never reaches IfMessageReceived. Requests are
// read, delivered and answered one at a time on the thread running the default GLib main
// context, one per turn of it, so its other sources run between two requests; the framework
// starts no thread. Losing the bus gives one error line and calls the hook set by SetBusLostHook.
class TCServer {
  public:
    enum TCServerType {
        SERVER_TYPE_SERVICE = 0,  // a background service answering requests
    };

    // The largest request taken in. A body is a short JSON object; a buffer is at most a PMT
    // section (1,024 bytes), a playing time (4) or the PES data relayed as a signal, which a
    // client sends a packet at a time (at most 65,541 bytes) or a video frame's PES at most.
    static constexpr size_t kMaxBodyBytes = 64 * 1024;
    static constexpr size_t kMaxBufferBytes = 1024 * 1024;

    TCServer(std::string name, TCServerType type);
    virtual ~TCServer();

    TCServer(const TCServer&) = delete;
    TCServer& operator=(const TCServer&) = delete;

    // Declares signal `name` in the introspection data; call it before CreateDBusServer.
    void DeclareSignal(const std::string& name);

    // Adds an interface to the object; call it before CreateDBusServer.
    void AddInterface(TCInterface interface);

    // Connects to the bus, exports the object and takes the name without queueing.
    // False, with a warning line naming the reason, when there is no bus or the name is taken.
    bool CreateDBusServer();

    // Withdraws the object and closes the connection, which gives the name back; never waits on
    // the bus, and drops what is still queued to be written. Harmless when closed.
    bool CloseDBusServer();

    // Emits signal `name` from the open server named `server`, carrying `message` to all
    // listeners. False when no such server is open or the signal cannot be sent.
    static bool SendSignal(const char* server, const char* name, const TCMessage* message);

    // Emits PropertiesChanged for `interface` of the open server named `server`, carrying the
    // current values of the properties `names`. False when no such server is open, the interface
    // or a property is unknown, or the signal cannot be sent.
    static bool EmitPropertiesChanged(const char* server, const std::string& interface,
                                      const std::vector<std::string>& names);

    // Functions the framework calls on the main-loop thread just before and just after it hands
    // each request to IfMessageReceived (a request it refuses reaches neither), for whatever must
    // hold still for the length of one request. Either may be null, as both are at start.
    using RequestHook = void (*)();
    static void SetRequestHooks(RequestHook before, RequestHook after);

    // A function the framework calls on the main-loop thread, once, when an open server has lost
    // its bus (after the error line), with `data`: the process quits its main loop there and
    // exits with a failure status after its teardown. Null, as at start: nothing is called.
    using BusLostHook = void (*)(void* data);
    static void SetBusLostHook(BusLostHook hook, void* data);

    // Hook for messages handed over to another server; the default declines (returns false).
    virtual bool IfTransferMessage(const char* sender, const TCMessage* message, TCEventIO*& io);

    // Called once per request with the caller's unique bus name, the request, the reply to fill
    // (its body starts null, its buffer empty) and the object path the request was sent to.
    // The reply is sent when this returns. The default answers nothing and returns false.
    virtual bool IfMessageReceived(const char* sender, const TCMessage* request, TCMessage* reply,
                                   const char* object_path);

    // Hook for replies to requests this server sent; the default ignores them (returns false).
    virtual bool IfMessageReplied(const char* sender, const TCMessage* reply);

    const std::string& Name() const { return m_Name; }
    TCServerType Type() const { return m_Type; }

    struct Connection;  // the bus connection while the server is open

  private:
    std::string m_Name;
    TCServerType m_Type;
    std::unique_ptr<Connection> m_Connection;
    std::vector<std::string> m_Signals;
    std::vector<TCInterface> m_Interfaces;
};

}  // namespace Ondrel

#endif
