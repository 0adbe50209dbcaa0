#include "raw_client.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

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

}  // namespace

std::string BusNameOf(const std::string& server_name) {
    return std::string(trevalo_bus::kInterface) + "." + server_name;
}

std::string ObjectPathOf(const std::string& server_name) {
    const std::string service_path = trevalo_bus::kObjectPath;
    return service_path.substr(0, service_path.rfind('/') + 1) + server_name;
}

RawClient::RawClient(const PrivateBus& bus, const std::string& server_name)
    : m_BusName(BusNameOf(server_name)), m_ObjectPath(ObjectPathOf(server_name)) {
    m_Bus = ConnectToBus(bus.Address());
    if (m_Bus == nullptr) throw std::runtime_error("cannot connect to " + bus.Address());
}

RawClient::~RawClient() {
    if (m_Subscription != 0) g_dbus_connection_signal_unsubscribe(m_Bus, m_Subscription);
    g_dbus_connection_close_sync(m_Bus, nullptr, nullptr);
    g_object_unref(m_Bus);
}

Reply RawClient::Request(const std::string& body, const Bytes& buffer, int timeout_ms) {
    GVariant* children[] = {
        g_variant_new_string(body.c_str()),
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), 1)};
    GError* error = nullptr;
    GVariant* answer = g_dbus_connection_call_sync(
        m_Bus, m_BusName.c_str(), m_ObjectPath.c_str(), trevalo_bus::kInterface,
        trevalo_bus::kRequestMethod, g_variant_new_tuple(children, 2), G_VARIANT_TYPE("(say)"),
        G_DBUS_CALL_FLAGS_NONE, timeout_ms, nullptr, &error);
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
    signal.error_name = signal_name;
    if (client->m_Handler) {
        client->m_Handler(signal);
    } else {
        client->m_Signals.push_back(std::move(signal));
    }
}

void RawClient::Subscribe(const std::string& name, SignalHandler handler) {
    m_Handler = std::move(handler);
    m_Subscription = g_dbus_connection_signal_subscribe(
        m_Bus, m_BusName.c_str(), trevalo_bus::kInterface, name.c_str(), m_ObjectPath.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &RawClient::OnSignal, this, nullptr);
    // The match rule reaches the daemon asynchronously.
    RoundTrip(m_Bus);
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

}  // namespace test_support
