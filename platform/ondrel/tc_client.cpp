#include <systemd/sd-bus.h>

#include <cstring>
#include <vector>

#include "Ondrel/TCClient.h"
#include "bus_choice.h"
#include "bus_naming.h"
#include "bus_source.h"
#include "message_wire.h"

namespace Ondrel {
namespace {

struct SignalSubscription {
    TCClient::SignalHandler handler;
    sd_bus_slot* match = nullptr;
};

}  // namespace

struct TCClient::State {
    std::string server_name;
    std::string bus_name;
    std::string object_path;
    sd_bus* bus = nullptr;
    GSource* source = nullptr;  // only while signals are subscribed
    std::vector<std::unique_ptr<SignalSubscription>> subscriptions;
    TCClient::LostHandler on_lost;
};

namespace {

void SetError(std::string* error, const std::string& text) {
    if (error != nullptr) *error = text;
}

int OnSignal(sd_bus_message* signal, void* user_data, sd_bus_error*) {
    auto* subscription = static_cast<SignalSubscription*>(user_data);
    if (sd_bus_message_has_signature(signal, "say") <= 0) return 0;
    TCMessage message;
    if (message_wire::Read(signal, message, nullptr)) {
        subscription->handler(sd_bus_message_get_member(signal), message);
    }
    return 0;
}

// A client's signals stop when the bus goes; what the program does then is its own affair.
void ReportBusLost(void* data, int error) {
    const auto& on_lost = *static_cast<TCClient::LostHandler*>(data);
    if (on_lost) on_lost(std::strerror(error));
}

}  // namespace

TCClient::TCClient(std::string server_name) : m_State(std::make_unique<State>()) {
    m_State->bus_name = bus::WellKnownName(server_name);
    m_State->object_path = bus::ObjectPath(server_name);
    m_State->server_name = std::move(server_name);
}

TCClient::~TCClient() {
    bus::Detach(m_State->source);
    for (const auto& subscription : m_State->subscriptions) {
        sd_bus_slot_unref(subscription->match);
    }
    if (m_State->bus != nullptr) sd_bus_flush_close_unref(m_State->bus);
}

bool TCClient::Connect(const std::string& address, std::string* error) {
    if (m_State->bus != nullptr) return true;
    m_State->bus = bus::Open(address, error);
    return m_State->bus != nullptr;
}

bool TCClient::Connect(Bus bus, std::string* error) {
    if (m_State->bus != nullptr) return true;
    m_State->bus = bus == Bus::kSystem ? bus::OpenSystem(error) : bus::OpenSession(error);
    return m_State->bus != nullptr;
}

bool TCClient::Connected() const {
    return m_State->bus != nullptr && sd_bus_is_open(m_State->bus) > 0;
}

void TCClient::OnBusLost(LostHandler on_lost) {
    m_State->on_lost = std::move(on_lost);
}

std::string TCClient::ServerOwner() const {
    if (!Connected()) return std::string();
    sd_bus_error failure = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call_method(
        m_State->bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetNameOwner", &failure, &answer, "s", m_State->bus_name.c_str());
    sd_bus_error_free(&failure);
    const char* owner = nullptr;
    if (result < 0 || sd_bus_message_read(answer, "s", &owner) < 0) owner = nullptr;
    std::string unique_name = owner != nullptr ? owner : "";
    sd_bus_message_unref(answer);
    return unique_name;
}

bool TCClient::Request(const TCMessage& request, TCMessage& reply, std::string* error,
                       int timeout_ms) {
    if (m_State->bus == nullptr) {
        SetError(error, "not connected");
        return false;
    }
    sd_bus_message* call = nullptr;
    int result = sd_bus_message_new_method_call(m_State->bus, &call, m_State->bus_name.c_str(),
                                                m_State->object_path.c_str(), bus::kInterface,
                                                bus::kRequestMethod);
    if (result < 0) {
        SetError(error, std::string("cannot make the call: ") + std::strerror(-result));
        return false;
    }
    if (!message_wire::Append(call, request)) {
        sd_bus_message_unref(call);
        SetError(error, "request body is not valid UTF-8");
        return false;
    }
    sd_bus_error failure = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    // 0: the library's default time-out.
    const uint64_t timeout_us = timeout_ms < 0 ? 0 : static_cast<uint64_t>(timeout_ms) * 1000;
    result = sd_bus_call(m_State->bus, call, timeout_us, &failure, &answer);
    sd_bus_message_unref(call);
    if (result < 0) {
        SetError(error, sd_bus_error_is_set(&failure)
                            ? std::string(failure.name) + ": " +
                                  (failure.message != nullptr ? failure.message : "")
                            : std::string(std::strerror(-result)));
        sd_bus_error_free(&failure);
        return false;
    }
    std::string parse_error;
    const bool parsed = message_wire::Read(answer, reply, &parse_error);
    if (!parsed) SetError(error, "reply body is not JSON text: " + parse_error);
    sd_bus_message_unref(answer);
    return parsed;
}

bool TCClient::Subscribe(const std::string& signal, SignalHandler on_signal) {
    if (m_State->bus == nullptr) return false;
    auto subscription = std::make_unique<SignalSubscription>();
    subscription->handler = std::move(on_signal);
    // Matched by object path and interface: the daemon would match a well-known sender by its
    // owner, but sd-bus compares the sender locally as given.
    const int result = sd_bus_match_signal(
        m_State->bus, &subscription->match, nullptr, m_State->object_path.c_str(), bus::kInterface,
        signal.empty() ? nullptr : signal.c_str(), OnSignal, subscription.get());
    if (result < 0) return false;
    m_State->subscriptions.push_back(std::move(subscription));
    if (m_State->source == nullptr)
        m_State->source = bus::Attach(m_State->bus, ReportBusLost, &m_State->on_lost);
    return true;
}

const std::string& TCClient::BusName() const {
    return m_State->bus_name;
}
const std::string& TCClient::ObjectPath() const {
    return m_State->object_path;
}

}  // namespace Ondrel
