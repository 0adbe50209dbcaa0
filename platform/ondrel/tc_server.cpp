#include <gio/gio.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "Ondrel/TCServer.h"
#include "bus_naming.h"
#include "dlog.h"
#include "message_variant.h"

namespace Ondrel {
namespace {

constexpr const char kLogTag[] = "ONDREL";

constexpr const char kIntrospection[] =
    "<node>"
    "  <interface name='org.ondrel.TCServer'>"
    "    <method name='Request'>"
    "      <arg type='s' name='body' direction='in'/>"
    "      <arg type='ay' name='buffer' direction='in'/>"
    "      <arg type='s' name='body' direction='out'/>"
    "      <arg type='ay' name='buffer' direction='out'/>"
    "    </method>"
    "  </interface>"
    "</node>";

// DBUS_NAME_FLAG_DO_NOT_QUEUE and DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER of the bus protocol.
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;

GDBusInterfaceInfo* InterfaceInfo() {
    static GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
    return node->interfaces[0];
}

// Servers open in this process, by name, for SendSignal.
std::map<std::string, TCServer*>& OpenServers() {
    static std::map<std::string, TCServer*> servers;
    return servers;
}

void Warn(const std::string& text) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, kLogTag, "%s\n", text.c_str());
}

}  // namespace

struct TCServer::Connection {
    GDBusConnection* bus = nullptr;
    guint registration = 0;
    bool owns_name = false;
    std::string bus_name;
    std::string object_path;
};

namespace {

void HandleMethodCall(GDBusConnection*, const gchar* sender, const gchar* object_path, const gchar*,
                      const gchar*, GVariant* parameters, GDBusMethodInvocation* invocation,
                      gpointer user_data) {
    auto* server = static_cast<TCServer*>(user_data);
    TCMessage request;
    std::string error;
    if (!message_variant::FromVariant(parameters, request, &error)) {
        Warn(std::string("request from ") + (sender ? sender : "?") +
             " is not JSON text: " + error);
        g_dbus_method_invocation_return_dbus_error(invocation, bus::kInvalidMessageError,
                                                   ("body is not JSON text: " + error).c_str());
        return;
    }

    TCMessage reply;
    server->IfMessageReceived(sender ? sender : "", &request, &reply, object_path);

    GVariant* answer = message_variant::ToVariant(reply);
    if (answer == nullptr) {
        g_dbus_method_invocation_return_dbus_error(invocation, "org.ondrel.TCServer.Error.Failed",
                                                   "reply body is not valid UTF-8");
        return;
    }
    g_dbus_method_invocation_return_value(invocation, answer);
}

const GDBusInterfaceVTable kVTable = {HandleMethodCall, nullptr, nullptr, {nullptr}};

}  // namespace

TCServer::TCServer(std::string name, TCServerType type) : m_Name(std::move(name)), m_Type(type) {}

TCServer::~TCServer() {
    CloseDBusServer();
}

bool TCServer::CreateDBusServer() {
    if (m_Connection) return true;
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address == nullptr || *address == '\0') {
        Warn("server " + m_Name + ": no session bus (DBUS_SESSION_BUS_ADDRESS is not set)");
        return false;
    }

    auto connection = std::make_unique<Connection>();
    connection->bus_name = bus::WellKnownName(m_Name);
    connection->object_path = bus::ObjectPath(m_Name);
    GError* error = nullptr;
    connection->bus = g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (connection->bus == nullptr) {
        Warn("server " + m_Name + ": cannot connect to the session bus: " + error->message);
        g_error_free(error);
        return false;
    }
    // Losing the bus raises SIGTERM, so an orderly stop follows instead of a deaf process.
    g_dbus_connection_set_exit_on_close(connection->bus, TRUE);
    m_Connection = std::move(connection);

    // The object is exported before the name is taken, so a caller that sees the name can use it.
    m_Connection->registration =
        g_dbus_connection_register_object(m_Connection->bus, m_Connection->object_path.c_str(),
                                          InterfaceInfo(), &kVTable, this, nullptr, &error);
    if (m_Connection->registration == 0) {
        Warn("server " + m_Name + ": cannot export " + m_Connection->object_path + ": " +
             error->message);
        g_error_free(error);
        CloseDBusServer();
        return false;
    }

    GVariant* result = g_dbus_connection_call_sync(
        m_Connection->bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", m_Connection->bus_name.c_str(), kDoNotQueue),
        G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (result == nullptr) {
        Warn("server " + m_Name + ": cannot request " + m_Connection->bus_name + ": " +
             error->message);
        g_error_free(error);
        CloseDBusServer();
        return false;
    }
    guint32 outcome = 0;
    g_variant_get(result, "(u)", &outcome);
    g_variant_unref(result);
    if (outcome != kPrimaryOwner) {
        Warn("server " + m_Name + ": the name " + m_Connection->bus_name +
             " is already owned on the bus");
        CloseDBusServer();
        return false;
    }
    m_Connection->owns_name = true;
    OpenServers()[m_Name] = this;
    return true;
}

bool TCServer::CloseDBusServer() {
    if (!m_Connection) return true;
    auto found = OpenServers().find(m_Name);
    if (found != OpenServers().end() && found->second == this) OpenServers().erase(found);

    GDBusConnection* bus = m_Connection->bus;
    if (m_Connection->owns_name) {
        GVariant* result = g_dbus_connection_call_sync(
            bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "ReleaseName", g_variant_new("(s)", m_Connection->bus_name.c_str()),
            G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        if (result != nullptr) g_variant_unref(result);
    }
    if (m_Connection->registration != 0) {
        g_dbus_connection_unregister_object(bus, m_Connection->registration);
    }
    // Closing on purpose must not count as losing the bus.
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    g_dbus_connection_close_sync(bus, nullptr, nullptr);
    g_object_unref(bus);
    m_Connection.reset();
    return true;
}

bool TCServer::SendSignal(const char* server, const char* name, const TCMessage* message) {
    if (server == nullptr || name == nullptr || message == nullptr) return false;
    auto found = OpenServers().find(server);
    if (found == OpenServers().end() || !g_dbus_is_member_name(name)) return false;
    const Connection& connection = *found->second->m_Connection;
    GVariant* content = message_variant::ToVariant(*message);
    if (content == nullptr) return false;
    GError* error = nullptr;
    const gboolean sent =
        g_dbus_connection_emit_signal(connection.bus, nullptr, connection.object_path.c_str(),
                                      bus::kInterface, name, content, &error);
    if (!sent) {
        Warn(std::string("signal ") + name + " not sent: " + error->message);
        g_error_free(error);
    }
    return sent != FALSE;
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
