#include <systemd/sd-bus.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Ondrel/TCServer.h"
#include "bus_choice.h"
#include "bus_naming.h"
#include "bus_source.h"
#include "dlog.h"
#include "message_wire.h"

namespace Ondrel {
namespace {

constexpr const char kLogTag[] = "ONDREL";
constexpr const char kFailedError[] = "org.ondrel.TCServer.Error.Failed";

// Servers open in this process, by name, for SendSignal.
std::map<std::string, TCServer*>& OpenServers() {
    static std::map<std::string, TCServer*> servers;
    return servers;
}

TCServer::RequestHook g_before_request = nullptr;
TCServer::RequestHook g_after_request = nullptr;

void Warn(const std::string& text) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, kLogTag, "%s\n", text.c_str());
}

}  // namespace

struct TCServer::Connection {
    sd_bus* bus = nullptr;
    sd_bus_slot* object = nullptr;
    GSource* source = nullptr;
    bool owns_name = false;
    std::string bus_name;
    std::string object_path;
    std::vector<std::string> signal_names;  // fixed before the vtable points into it
    std::vector<sd_bus_vtable> vtable;
};

namespace {

int HandleRequest(sd_bus_message* call, void* user_data, sd_bus_error*) {
    auto* server = static_cast<TCServer*>(user_data);
    const char* sender = sd_bus_message_get_sender(call);
    TCMessage request;
    std::string error;
    if (!message_wire::Read(call, request, &error)) {
        Warn(std::string("request from ") + (sender ? sender : "?") +
             " is not JSON text: " + error);
        return sd_bus_reply_method_errorf(call, bus::kInvalidMessageError,
                                          "body is not JSON text: %s", error.c_str());
    }

    TCMessage reply;
    if (g_before_request != nullptr) g_before_request();
    server->IfMessageReceived(sender ? sender : "", &request, &reply,
                              sd_bus_message_get_path(call));
    if (g_after_request != nullptr) g_after_request();

    // The request's log lines leave before its reply: whoever gets the answer finds them logged.
    dlog_flush();
    sd_bus_message* answer = nullptr;
    int result = sd_bus_message_new_method_return(call, &answer);
    if (result < 0) return result;
    if (!message_wire::Append(answer, reply)) {
        sd_bus_message_unref(answer);
        return sd_bus_reply_method_errorf(call, kFailedError, "reply body is not valid UTF-8");
    }
    result = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return result;
}

std::vector<sd_bus_vtable> MakeVTable(const std::vector<std::string>& signal_names) {
    std::vector<sd_bus_vtable> vtable{
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD_WITH_NAMES(
            bus::kRequestMethod, "say", SD_BUS_PARAM(body) SD_BUS_PARAM(buffer), "say",
            SD_BUS_PARAM(body) SD_BUS_PARAM(buffer), HandleRequest, SD_BUS_VTABLE_UNPRIVILEGED)};
    for (const std::string& name : signal_names) {
        vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(name.c_str(), "say",
                                                  SD_BUS_PARAM(body) SD_BUS_PARAM(buffer), 0));
    }
    vtable.push_back(SD_BUS_VTABLE_END);
    return vtable;
}

void OnBusLost(void* server, int error) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kLogTag, "server %s: lost the bus (%s): exiting\n",
                 static_cast<TCServer*>(server)->Name().c_str(), std::strerror(error));
    // Not an orderly stop: a supervisor (Restart=on-failure) brings the service back.
    std::exit(EXIT_FAILURE);
}

}  // namespace

TCServer::TCServer(std::string name, TCServerType type) : m_Name(std::move(name)), m_Type(type) {}

TCServer::~TCServer() {
    CloseDBusServer();
}

void TCServer::SetRequestHooks(RequestHook before, RequestHook after) {
    g_before_request = before;
    g_after_request = after;
}

void TCServer::DeclareSignal(const std::string& name) {
    m_Signals.push_back(name);
}

bool TCServer::CreateDBusServer() {
    if (m_Connection) return true;
    auto connection = std::make_unique<Connection>();
    connection->bus_name = bus::WellKnownName(m_Name);
    connection->object_path = bus::ObjectPath(m_Name);
    connection->signal_names = m_Signals;
    connection->vtable = MakeVTable(connection->signal_names);
    std::string error;
    connection->bus = bus::Open(std::string(), &error);
    if (connection->bus == nullptr) {
        Warn("server " + m_Name + ": " + error);
        return false;
    }
    m_Connection = std::move(connection);

    // The object is exported before the name is taken, so a caller that sees the name can use it.
    int result = sd_bus_add_object_vtable(m_Connection->bus, &m_Connection->object,
                                          m_Connection->object_path.c_str(), bus::kInterface,
                                          m_Connection->vtable.data(), this);
    if (result < 0) {
        Warn("server " + m_Name + ": cannot export " + m_Connection->object_path + ": " +
             std::strerror(-result));
        CloseDBusServer();
        return false;
    }
    // No flags: the name is not queued for when its owner leaves.
    result = sd_bus_request_name(m_Connection->bus, m_Connection->bus_name.c_str(), 0);
    if (result == -EEXIST) {
        Warn("server " + m_Name + ": the name " + m_Connection->bus_name +
             " is already owned on the bus");
        CloseDBusServer();
        return false;
    }
    if (result < 0) {
        Warn("server " + m_Name + ": cannot request " + m_Connection->bus_name + ": " +
             std::strerror(-result));
        CloseDBusServer();
        return false;
    }
    m_Connection->owns_name = true;
    m_Connection->source = bus::Attach(m_Connection->bus, OnBusLost, this);
    OpenServers()[m_Name] = this;
    return true;
}

bool TCServer::CloseDBusServer() {
    if (!m_Connection) return true;
    auto found = OpenServers().find(m_Name);
    if (found != OpenServers().end() && found->second == this) OpenServers().erase(found);

    // Closing on purpose is not losing the bus: the source goes first.
    bus::Detach(m_Connection->source);
    if (m_Connection->owns_name) {
        sd_bus_release_name(m_Connection->bus, m_Connection->bus_name.c_str());
    }
    sd_bus_slot_unref(m_Connection->object);
    sd_bus_flush_close_unref(m_Connection->bus);
    m_Connection.reset();
    return true;
}

bool TCServer::SendSignal(const char* server, const char* name, const TCMessage* message) {
    if (server == nullptr || name == nullptr || message == nullptr) return false;
    auto found = OpenServers().find(server);
    if (found == OpenServers().end()) return false;
    const Connection& connection = *found->second->m_Connection;
    sd_bus_message* signal = nullptr;
    // Refused here, with nothing sent, when `name` is not a valid member name.
    if (sd_bus_message_new_signal(connection.bus, &signal, connection.object_path.c_str(),
                                  bus::kInterface, name) < 0) {
        return false;
    }
    bool sent = message_wire::Append(signal, *message);
    if (sent) {
        const int result = sd_bus_send(connection.bus, signal, nullptr);
        sent = result >= 0;
        if (!sent) Warn(std::string("signal ") + name + " not sent: " + std::strerror(-result));
    }
    sd_bus_message_unref(signal);
    return sent;
}

bool TCServer::IfTransferMessage(const char*, const TCMessage*, TCEventIO*&) {
    return false;
}

bool TCServer::IfMessageReceived(const char*, const TCMessage*, TCMessage*, const char*) {
    return false;
}

bool TCServer::IfMessageReplied(const char*, const TCMessage*) {
    return false;
}

}  // namespace Ondrel
