#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <vector>

#include "Ondrel/TCClient.h"
#include "bus_choice.h"
#include "bus_naming.h"
#include "bus_source.h"
#include "message_wire.h"
#include "value_wire.h"

namespace Ondrel {
namespace {

struct SignalSubscription {
    const TCClient::State* client;
    TCClient::SignalHandler handler;
    sd_bus_slot* match = nullptr;
};

struct PropertiesSubscription {
    const TCClient::State* client;
    std::string interface;
    TCClient::PropertiesHandler handler;
    sd_bus_slot* match = nullptr;
};

constexpr const char kDaemon[] = "org.freedesktop.DBus";
constexpr const char kDaemonPath[] = "/org/freedesktop/DBus";

}  // namespace

struct TCClient::State {
    std::string server_name;
    std::string bus_name;
    std::string object_path;
    sd_bus* bus = nullptr;
    GSource* source = nullptr;  // only while signals or the owner are followed
    std::vector<std::unique_ptr<SignalSubscription>> subscriptions;
    TCClient::LostHandler on_lost;
    std::vector<std::unique_ptr<PropertiesSubscription>> property_subscriptions;
    sd_bus_slot* owner_match = nullptr;  // NameOwnerChanged of bus_name, once followed
    std::string owner;                   // its unique name as followed, empty: none
    bool owner_only = false;
    std::string reply_sender;
    std::string error_name;

    // Where calls go: the well-known name, or only the owner it has now.
    const char* Destination() const { return owner_only ? owner.c_str() : bus_name.c_str(); }
    // False, with the error the bus would give, when calls go to the owner and there is none.
    bool CanCall(std::string* error) {
        if (bus == nullptr) {
            error_name.clear();
            if (error != nullptr) *error = "not connected";
            return false;
        }
        if (!owner_only || !owner.empty()) return true;
        error_name = "org.freedesktop.DBus.Error.NameHasNoOwner";
        if (error != nullptr) *error = error_name + ": nobody owns " + bus_name + " now";
        return false;
    }
    // Whether a signal comes from the server rather than any other connection.
    bool FromServer(sd_bus_message* signal) const {
        const char* sender = sd_bus_message_get_sender(signal);
        return !owner.empty() && sender != nullptr && owner == sender;
    }
};

namespace {

// Runs a handler of ours from a callback of C code (sd-bus, GLib), through which no exception
// may unwind: one that escapes is reported on stderr, and the signal is skipped.
template <typename Handler>
void Guarded(const char* what, Handler&& handler) noexcept {
    try {
        handler();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "ondrel client: skipped %s: %s\n", what, failure.what());
    } catch (...) {
        std::fprintf(stderr, "ondrel client: skipped %s: an unknown exception\n", what);
    }
}

void SetError(std::string* error, const std::string& text) {
    if (error != nullptr) *error = text;
}

// A failed call's reason: the D-Bus error it was answered with, else the local error number.
void SetCallError(TCClient::State& state, std::string* error, const sd_bus_error& failure,
                  int result) {
    state.error_name = sd_bus_error_is_set(&failure) ? failure.name : "";
    SetError(error, sd_bus_error_is_set(&failure)
                        ? std::string(failure.name) + ": " +
                              (failure.message != nullptr ? failure.message : "")
                        : std::string(std::strerror(-result)));
}

// sd-bus counts in microseconds, 0 being its default time-out.
uint64_t TimeoutMicroseconds(int timeout_ms) {
    return timeout_ms < 0 ? 0 : static_cast<uint64_t>(timeout_ms) * 1000;
}

int OnSignal(sd_bus_message* signal, void* user_data, sd_bus_error*) {
    auto* subscription = static_cast<SignalSubscription*>(user_data);
    if (!subscription->client->FromServer(signal)) return 0;
    const char* member = sd_bus_message_get_member(signal);
    const std::string name = member != nullptr ? member : "";
    Guarded(member, [&] {
        std::string error = "its arguments are not (say)";
        TCMessage message;
        if (sd_bus_message_has_signature(signal, "say") <= 0 ||
            !message_wire::Read(signal, message, &error)) {
            throw std::runtime_error(error);
        }
        subscription->handler(name, message);
    });
    return 0;
}

int ReadDictionary(sd_bus_message* message, TCValue::Dictionary& dictionary);

template <typename Basic>
int ReadBasicValue(sd_bus_message* message, char type, Basic& basic) {
    return sd_bus_message_read_basic(message, type, &basic);
}

// Reads the variant at the read position: 1 with `value` set, 0 when its type is none TCValue
// carries (skipped), negative when the message is malformed.
int ReadVariant(sd_bus_message* message, TCValue& value) {
    const char* contents = nullptr;
    int result = sd_bus_message_peek_type(message, nullptr, &contents);
    if (result <= 0) return result < 0 ? result : -EBADMSG;
    const std::string signature = contents;
    result = sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, signature.c_str());
    if (result <= 0) return result < 0 ? result : -EBADMSG;
    int known = 1;
    if (signature == "y") {
        uint8_t byte = 0;
        result = ReadBasicValue(message, 'y', byte);
        value = TCValue::Byte(byte);
    } else if (signature == "b") {
        int boolean = 0;
        result = ReadBasicValue(message, 'b', boolean);
        value = TCValue::Boolean(boolean != 0);
    } else if (signature == "q") {
        uint16_t number = 0;
        result = ReadBasicValue(message, 'q', number);
        value = TCValue::UInt16(number);
    } else if (signature == "i") {
        int32_t number = 0;
        result = ReadBasicValue(message, 'i', number);
        value = TCValue::Int32(number);
    } else if (signature == "s") {
        const char* text = nullptr;
        result = ReadBasicValue(message, 's', text);
        if (result > 0) value = TCValue::String(text);
    } else if (signature == "ay") {
        const void* bytes = nullptr;
        size_t size = 0;
        result = sd_bus_message_read_array(message, 'y', &bytes, &size);
        const auto* first = static_cast<const uint8_t*>(bytes);
        if (result >= 0) value = TCValue::Bytes(std::vector<uint8_t>(first, first + size));
    } else if (signature == "aa{sv}") {
        std::vector<TCValue::Dictionary> list;
        result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "a{sv}");
        while (result >= 0 && (result = sd_bus_message_at_end(message, false)) == 0) {
            list.emplace_back();
            result = ReadDictionary(message, list.back());
        }
        if (result >= 0) result = sd_bus_message_exit_container(message);
        value = TCValue::Dictionaries(std::move(list));
    } else {
        result = sd_bus_message_skip(message, signature.c_str());
        known = 0;
    }
    if (result < 0) return result;
    result = sd_bus_message_exit_container(message);
    return result < 0 ? result : known;
}

// Reads the a{sv} at the read position into `dictionary`, in the order of the message.
int ReadDictionary(sd_bus_message* message, TCValue::Dictionary& dictionary) {
    int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}");
    while (result >= 0 &&
           (result = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        const char* name = nullptr;
        result = ReadBasicValue(message, 's', name);
        if (result < 0) return result;
        TCDictEntry entry{name, TCValue::Int32(0)};
        result = ReadVariant(message, entry.value);
        if (result < 0) return result;
        if (result > 0) dictionary.push_back(std::move(entry));
        result = sd_bus_message_exit_container(message);
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int OnPropertiesChanged(sd_bus_message* signal, void* user_data, sd_bus_error*) {
    auto* subscription = static_cast<PropertiesSubscription*>(user_data);
    if (!subscription->client->FromServer(signal)) return 0;
    Guarded("PropertiesChanged", [&] {
        const char* interface = nullptr;
        if (sd_bus_message_has_signature(signal, "sa{sv}as") <= 0 ||
            sd_bus_message_read_basic(signal, 's', &interface) < 0) {
            throw std::runtime_error("its arguments are not (sa{sv}as)");
        }
        if (subscription->interface != interface) return;
        TCValue::Dictionary changed;
        const int result = ReadDictionary(signal, changed);
        if (result < 0) throw std::runtime_error(std::strerror(-result));
        subscription->handler(changed);
    });
    return 0;
}

// NameOwnerChanged of the server's name, from the bus daemon itself (which no peer can pose as:
// the daemon stamps every sender).
int OnOwnerChanged(sd_bus_message* signal, void* user_data, sd_bus_error*) {
    auto* state = static_cast<TCClient::State*>(user_data);
    const char* sender = sd_bus_message_get_sender(signal);
    if (sender == nullptr || std::strcmp(sender, kDaemon) != 0) return 0;
    const char* name = nullptr;
    const char* old_owner = nullptr;
    const char* new_owner = nullptr;
    if (sd_bus_message_read(signal, "sss", &name, &old_owner, &new_owner) < 0) return 0;
    if (state->bus_name == name) state->owner = new_owner;
    return 0;
}

// A client's signals stop when the bus goes; what the program does then is its own affair.
void ReportBusLost(void* data, int error) {
    const auto& on_lost = *static_cast<TCClient::LostHandler*>(data);
    Guarded("the lost bus's report", [&] {
        if (on_lost) on_lost(std::strerror(error));
    });
}

}  // namespace

TCClient::TCClient(std::string server_name) : m_State(std::make_unique<State>()) {
    m_State->bus_name = bus::WellKnownName(server_name);
    m_State->object_path = bus::ObjectPath(server_name);
    m_State->server_name = std::move(server_name);
}

TCClient::~TCClient() {
    bus::Detach(m_State->source);
    sd_bus_slot_unref(m_State->owner_match);
    for (const auto& subscription : m_State->subscriptions) {
        sd_bus_slot_unref(subscription->match);
    }
    for (const auto& subscription : m_State->property_subscriptions) {
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

bool TCClient::FollowOwner() {
    if (m_State->bus == nullptr) return false;
    if (m_State->owner_match != nullptr) return true;
    // The match first, then the question: a change in between arrives after the answer. Only
    // the changes of the server's name (arg0), not every connection coming and going.
    const std::string rule = std::string("type='signal',sender='") + kDaemon + "',path='" +
                             kDaemonPath + "',interface='" + kDaemon +
                             "',member='NameOwnerChanged',arg0='" + m_State->bus_name + "'";
    const int result = sd_bus_add_match(m_State->bus, &m_State->owner_match, rule.c_str(),
                                        OnOwnerChanged, m_State.get());
    if (result < 0) return false;
    sd_bus_message* answer = nullptr;
    const char* owner = nullptr;
    if (sd_bus_call_method(m_State->bus, kDaemon, kDaemonPath, kDaemon, "GetNameOwner", nullptr,
                           &answer, "s", m_State->bus_name.c_str()) >= 0 &&
        sd_bus_message_read(answer, "s", &owner) >= 0 && owner != nullptr) {
        m_State->owner = owner;
    }
    sd_bus_message_unref(answer);
    if (m_State->source == nullptr) {
        m_State->source = bus::Attach(m_State->bus, ReportBusLost, &m_State->on_lost);
    }
    return true;
}

const std::string& TCClient::Owner() const {
    return m_State->owner;
}

void TCClient::AddressOwnerOnly(bool only) {
    m_State->owner_only = only;
}

const std::string& TCClient::ReplySender() const {
    return m_State->reply_sender;
}

namespace {

// Calls `method` of `interface` on the server's object with the arguments `append` adds. True
// with the reply in `answer` (when asked for, to be unreferenced); false with `error` set.
template <typename Append>
bool CallServer(TCClient::State& state, const char* interface, const char* method, Append&& append,
                sd_bus_message** answer, std::string* error, int timeout_ms) {
    if (!state.CanCall(error)) return false;
    sd_bus_error failure = SD_BUS_ERROR_NULL;
    sd_bus_message* call = nullptr;
    int result = sd_bus_message_new_method_call(state.bus, &call, state.Destination(),
                                                state.object_path.c_str(), interface, method);
    if (result >= 0) result = append(call);
    if (result >= 0) {
        result = sd_bus_call(state.bus, call, TimeoutMicroseconds(timeout_ms), &failure, answer);
    }
    sd_bus_message_unref(call);
    if (result < 0) SetCallError(state, error, failure, result);
    sd_bus_error_free(&failure);
    return result >= 0;
}

// The same for a method whose one result is an a{sv}, read into `result`.
template <typename Append>
bool CallForDictionary(TCClient::State& state, const char* interface, const char* method,
                       Append&& append, TCValue::Dictionary& result, std::string* error,
                       int timeout_ms) {
    sd_bus_message* answer = nullptr;
    if (!CallServer(state, interface, method, append, &answer, error, timeout_ms)) return false;
    result.clear();
    const int read = ReadDictionary(answer, result);
    sd_bus_message_unref(answer);
    if (read < 0) SetError(error, std::string("cannot read the reply: ") + std::strerror(-read));
    return read >= 0;
}

}  // namespace

const std::string& TCClient::LastErrorName() const {
    return m_State->error_name;
}

bool TCClient::Request(const TCMessage& request, TCMessage& reply, std::string* error,
                       int timeout_ms) {
    if (!m_State->CanCall(error)) return false;
    sd_bus_message* call = nullptr;
    int result = sd_bus_message_new_method_call(m_State->bus, &call, m_State->Destination(),
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
    result = sd_bus_call(m_State->bus, call, TimeoutMicroseconds(timeout_ms), &failure, &answer);
    sd_bus_message_unref(call);
    if (result < 0) {
        SetCallError(*m_State, error, failure, result);
        sd_bus_error_free(&failure);
        return false;
    }
    const char* sender = sd_bus_message_get_sender(answer);
    m_State->reply_sender = sender != nullptr ? sender : "";
    // The reply comes from the owner, before the NameOwnerChanged that a start by this very
    // request queued is handled; that change, or a later one, still comes after.
    if (m_State->owner_match != nullptr && m_State->owner.empty()) {
        m_State->owner = m_State->reply_sender;
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
    subscription->client = m_State.get();
    subscription->handler = std::move(on_signal);
    // The daemon matches the well-known sender by its owner, but sd-bus lets any sender through
    // such a match locally, and a signal sent to this connection alone passes no match rule at
    // the daemon: OnSignal checks the sender against the owner followed.
    const int result = sd_bus_match_signal(
        m_State->bus, &subscription->match, m_State->bus_name.c_str(), m_State->object_path.c_str(),
        bus::kInterface, signal.empty() ? nullptr : signal.c_str(), OnSignal, subscription.get());
    if (result < 0) return false;
    m_State->subscriptions.push_back(std::move(subscription));
    return FollowOwner();
}

bool TCClient::Ping(std::string* error, int timeout_ms) {
    return CallServer(
        *m_State, "org.freedesktop.DBus.Peer", "Ping", [](sd_bus_message*) { return 0; }, nullptr,
        error, timeout_ms);
}

bool TCClient::GetAllProperties(const std::string& interface, TCValue::Dictionary& properties,
                                std::string* error, int timeout_ms) {
    return CallForDictionary(
        *m_State, bus::kPropertiesInterface, "GetAll",
        [&interface](sd_bus_message* call) {
            return sd_bus_message_append_basic(call, 's', interface.c_str());
        },
        properties, error, timeout_ms);
}

bool TCClient::CallWithDictionary(const std::string& interface, const std::string& method,
                                  const TCValue::Dictionary& argument, TCValue::Dictionary& result,
                                  std::string* error, int timeout_ms) {
    return CallForDictionary(
        *m_State, interface.c_str(), method.c_str(),
        [&argument](sd_bus_message* call) { return value_wire::AppendDictionary(call, argument); },
        result, error, timeout_ms);
}

bool TCClient::SubscribeProperties(const std::string& interface, PropertiesHandler on_change) {
    if (m_State->bus == nullptr) return false;
    auto subscription = std::make_unique<PropertiesSubscription>();
    subscription->client = m_State.get();
    subscription->interface = interface;
    subscription->handler = std::move(on_change);
    // As in Subscribe: OnPropertiesChanged checks the sender.
    const int result =
        sd_bus_match_signal(m_State->bus, &subscription->match, m_State->bus_name.c_str(),
                            m_State->object_path.c_str(), bus::kPropertiesInterface,
                            bus::kPropertiesChanged, OnPropertiesChanged, subscription.get());
    if (result < 0) return false;
    m_State->property_subscriptions.push_back(std::move(subscription));
    return FollowOwner();
}

const std::string& TCClient::BusName() const {
    return m_State->bus_name;
}
const std::string& TCClient::ObjectPath() const {
    return m_State->object_path;
}

}  // namespace Ondrel
