#include <gio/gio.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "Ondrel/TCClient.h"
#include "bus_naming.h"
#include "message_variant.h"

namespace Ondrel {
namespace {

struct SignalSubscription {
    std::string signal;
    TCClient::SignalHandler handler;
    guint id = 0;
};

}  // namespace

struct TCClient::State {
    std::string server_name;
    std::string bus_name;
    std::string object_path;
    GDBusConnection* bus = nullptr;
    std::vector<std::unique_ptr<SignalSubscription>> subscriptions;
};

namespace {

void SetError(std::string* error, const std::string& text) {
    if (error != nullptr) *error = text;
}

void OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* signal_name,
              GVariant* parameters, gpointer user_data) {
    auto* subscription = static_cast<SignalSubscription*>(user_data);
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(say)"))) return;
    TCMessage message;
    if (message_variant::FromVariant(parameters, message, nullptr)) {
        subscription->handler(signal_name, message);
    }
}

}  // namespace

TCClient::TCClient(std::string server_name) : m_State(std::make_unique<State>()) {
    m_State->bus_name = bus::WellKnownName(server_name);
    m_State->object_path = bus::ObjectPath(server_name);
    m_State->server_name = std::move(server_name);
}

TCClient::~TCClient() {
    if (m_State->bus == nullptr) return;
    for (const auto& subscription : m_State->subscriptions) {
        g_dbus_connection_signal_unsubscribe(m_State->bus, subscription->id);
    }
    g_dbus_connection_close_sync(m_State->bus, nullptr, nullptr);
    g_object_unref(m_State->bus);
}

bool TCClient::Connect(const std::string& address, std::string* error) {
    if (m_State->bus != nullptr) return true;
    std::string where = address;
    if (where.empty()) {
        const char* session = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        if (session == nullptr || *session == '\0') {
            SetError(error, "no bus address (DBUS_SESSION_BUS_ADDRESS is not set)");
            return false;
        }
        where = session;
    }
    GError* failure = nullptr;
    m_State->bus = g_dbus_connection_new_for_address_sync(
        where.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &failure);
    if (m_State->bus == nullptr) {
        SetError(error, std::string("cannot connect to the bus: ") + failure->message);
        g_error_free(failure);
        return false;
    }
    g_dbus_connection_set_exit_on_close(m_State->bus, FALSE);
    return true;
}

bool TCClient::Request(const TCMessage& request, TCMessage& reply, std::string* error,
                       int timeout_ms) {
    if (m_State->bus == nullptr) {
        SetError(error, "not connected");
        return false;
    }
    GVariant* arguments = message_variant::ToVariant(request);
    if (arguments == nullptr) {
        SetError(error, "request body is not valid UTF-8");
        return false;
    }
    GError* failure = nullptr;
    GVariant* answer = g_dbus_connection_call_sync(
        m_State->bus, m_State->bus_name.c_str(), m_State->object_path.c_str(), bus::kInterface,
        bus::kRequestMethod, arguments, G_VARIANT_TYPE("(say)"), G_DBUS_CALL_FLAGS_NONE, timeout_ms,
        nullptr, &failure);
    if (answer == nullptr) {
        SetError(error, failure->message);
        g_error_free(failure);
        return false;
    }
    std::string parse_error;
    const bool parsed = message_variant::FromVariant(answer, reply, &parse_error);
    if (!parsed) SetError(error, "reply body is not JSON text: " + parse_error);
    g_variant_unref(answer);
    return parsed;
}

bool TCClient::Subscribe(const std::string& signal, SignalHandler on_signal) {
    if (m_State->bus == nullptr) return false;
    auto subscription = std::make_unique<SignalSubscription>();
    subscription->signal = signal;
    subscription->handler = std::move(on_signal);
    subscription->id = g_dbus_connection_signal_subscribe(
        m_State->bus, m_State->bus_name.c_str(), bus::kInterface,
        signal.empty() ? nullptr : subscription->signal.c_str(), m_State->object_path.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, subscription.get(), nullptr);
    m_State->subscriptions.push_back(std::move(subscription));
    return true;
}

const std::string& TCClient::BusName() const {
    return m_State->bus_name;
}
const std::string& TCClient::ObjectPath() const {
    return m_State->object_path;
}

}  // namespace Ondrel
