#include <malloc.h>
#include <systemd/sd-bus.h>

#include <cstring>
#include <exception>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "Ondrel/TCServer.h"
#include "bus_choice.h"
#include "bus_naming.h"
#include "bus_source.h"
#include "dlog.h"
#include "message_wire.h"
#include "value_wire.h"
#include "watchdog.h"

namespace Ondrel {
namespace {

constexpr const char kLogTag[] = "ONDREL";

// Servers open in this process, by name, for SendSignal.
std::map<std::string, TCServer*>& OpenServers() {
    static std::map<std::string, TCServer*> servers;
    return servers;
}

TCServer::RequestHook g_before_request = nullptr;
TCServer::RequestHook g_after_request = nullptr;
TCServer::BusLostHook g_bus_lost = nullptr;
void* g_bus_lost_data = nullptr;

void Warn(const std::string& text) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, kLogTag, "%s\n", text.c_str());
}

}  // namespace

namespace {

// An added interface as exported: its vtable points into the strings held here.
struct ExportedInterface {
    TCInterface interface;
    std::vector<std::string>
        method_names;  // the argument names of each method, as sd-bus lists them
    std::vector<sd_bus_vtable> vtable;
    sd_bus_slot* slot = nullptr;
};

}  // namespace

struct TCServer::Connection {
    sd_bus* bus = nullptr;
    sd_bus_slot* object = nullptr;
    std::list<ExportedInterface> interfaces;  // never moved once exported
    GSource* source = nullptr;
    std::string bus_name;
    std::string object_path;
    std::vector<std::string> signal_names;  // fixed before the vtable points into it
    std::vector<sd_bus_vtable> vtable;
};

namespace {

using value_wire::AppendValue;

// Requests at least this large leave enough free memory in the heap (a body's tree of small
// blocks, a buffer's copies) that it is given back after them.
constexpr size_t kTrimAfterBodyBytes = 1024;
constexpr size_t kTrimAfterBufferBytes = 16 * 1024;

gboolean TrimHeap(gpointer pending) {
    malloc_trim(0);
    *static_cast<bool*>(pending) = false;
    return G_SOURCE_REMOVE;
}

// Trims the heap on the loop's next turn, once the request's own message is freed too.
void TrimHeapSoon() {
    static bool pending = false;
    if (pending) return;
    pending = true;
    g_idle_add_full(G_PRIORITY_DEFAULT, TrimHeap, &pending, nullptr);
}

// Answers a request whose body and buffer are within the bounds.
int AnswerRequest(sd_bus_message* call, TCServer* server, const char* sender) {
    TCMessage request;
    std::string error;
    if (!message_wire::Read(call, request, &error)) {
        Warn(std::string("request from ") + sender + " is not JSON text: " + error);
        return sd_bus_reply_method_errorf(call, bus::kInvalidMessageError,
                                          "body is not JSON text: %s", error.c_str());
    }

    TCMessage reply;
    if (g_before_request != nullptr) g_before_request();
    server->IfMessageReceived(sender, &request, &reply, sd_bus_message_get_path(call));
    if (g_after_request != nullptr) g_after_request();

    // The request's log lines leave before its reply: whoever gets the answer finds them logged.
    dlog_flush();
    sd_bus_message* answer = nullptr;
    int result = sd_bus_message_new_method_return(call, &answer);
    if (result < 0) return result;
    if (!message_wire::Append(answer, reply)) {
        sd_bus_message_unref(answer);
        return sd_bus_reply_method_errorf(call, bus::kFailedError, "reply body is not valid UTF-8");
    }
    result = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return result;
}

int HandleRequest(sd_bus_message* call, void* user_data, sd_bus_error*) {
    const char* sender = sd_bus_message_get_sender(call);
    if (sender == nullptr) sender = "";
    size_t body = 0;
    size_t buffer = 0;
    // Refused before any of it is parsed: a tree of JSON values takes fifty times the text.
    if (message_wire::ArgumentSizes(call, &body, &buffer) &&
        (body > TCServer::kMaxBodyBytes || buffer > TCServer::kMaxBufferBytes)) {
        const bool body_over = body > TCServer::kMaxBodyBytes;
        const std::string reason =
            std::string("the ") + (body_over ? "body" : "buffer") + " of " +
            std::to_string(body_over ? body : buffer) + " bytes is above the limit of " +
            std::to_string(body_over ? TCServer::kMaxBodyBytes : TCServer::kMaxBufferBytes) +
            " bytes";
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kLogTag, "request from %s refused: %s\n", sender,
                     reason.c_str());
        return sd_bus_reply_method_errorf(call, bus::kInvalidMessageError, "%s", reason.c_str());
    }
    if (body >= kTrimAfterBodyBytes || buffer >= kTrimAfterBufferBytes) TrimHeapSoon();
    return AnswerRequest(call, static_cast<TCServer*>(user_data), sender);
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

// ---- Typed values on the wire ----

// Reads one basic argument of type `type`; false for a type the typed methods do not take.
bool ReadBasic(sd_bus_message* message, char type, std::vector<TCValue>& arguments) {
    switch (type) {
        case 'y': {
            uint8_t byte = 0;
            if (sd_bus_message_read_basic(message, type, &byte) <= 0) return false;
            arguments.push_back(TCValue::Byte(byte));
            return true;
        }
        case 'b': {
            int boolean = 0;
            if (sd_bus_message_read_basic(message, type, &boolean) <= 0) return false;
            arguments.push_back(TCValue::Boolean(boolean != 0));
            return true;
        }
        case 'q': {
            uint16_t number = 0;
            if (sd_bus_message_read_basic(message, type, &number) <= 0) return false;
            arguments.push_back(TCValue::UInt16(number));
            return true;
        }
        case 'i': {
            int32_t number = 0;
            if (sd_bus_message_read_basic(message, type, &number) <= 0) return false;
            arguments.push_back(TCValue::Int32(number));
            return true;
        }
        case 's': {
            const char* text = nullptr;
            if (sd_bus_message_read_basic(message, type, &text) <= 0) return false;
            arguments.push_back(TCValue::String(text));
            return true;
        }
        default:
            return false;
    }
}

// Reads the variant of a dictionary member (y b q i s as); false for any other type, with
// `error` naming the member.
bool ReadMemberValue(sd_bus_message* message, const std::string& name, TCValue& value,
                     std::string& error) {
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, nullptr, &contents) <= 0 || contents == nullptr) {
        error = "member " + name + " has no value";
        return false;
    }
    const std::string signature = contents;
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, signature.c_str()) <= 0) {
        return false;
    }
    std::vector<TCValue> read;
    bool known = signature.size() == 1 && ReadBasic(message, signature[0], read);
    if (!known && signature == "as") {
        char** texts = nullptr;
        known = sd_bus_message_read_strv(message, &texts) >= 0;
        std::vector<std::string> list;
        for (char** text = texts; text != nullptr && *text != nullptr; ++text) {
            list.emplace_back(*text);
            std::free(*text);
        }
        std::free(texts);
        read.push_back(TCValue::Strings(std::move(list)));
    }
    if (!known) {
        error = "member " + name + " is of type " + signature + ", which is not taken here";
        return false;
    }
    value = std::move(read.front());
    return sd_bus_message_exit_container(message) >= 0;
}

// Reads an a{sv} argument; false with `error` set for a member of a type it does not take.
bool ReadDictionaryArgument(sd_bus_message* message, std::vector<TCValue>& arguments,
                            std::string& error) {
    TCValue::Dictionary dictionary;
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") <= 0) return false;
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read_basic(message, 's', &name) <= 0) return false;
        TCDictEntry entry{name, TCValue::Int32(0)};
        if (!ReadMemberValue(message, entry.name, entry.value, error)) return false;
        dictionary.push_back(std::move(entry));
        if (sd_bus_message_exit_container(message) < 0) return false;
    }
    if (entered < 0 || sd_bus_message_exit_container(message) < 0) return false;
    arguments.push_back(TCValue::OneDictionary(std::move(dictionary)));
    return true;
}

// Reads the arguments `signature` lists (basic types and a{sv}); false with `error` set when
// they do not match it.
bool ReadArguments(sd_bus_message* message, const std::string& signature,
                   std::vector<TCValue>& arguments, std::string& error) {
    static const std::string kDictionary = "a{sv}";
    for (size_t at = 0; at < signature.size();) {
        if (signature.compare(at, kDictionary.size(), kDictionary) == 0) {
            if (!ReadDictionaryArgument(message, arguments, error)) return false;
            at += kDictionary.size();
        } else {
            if (!ReadBasic(message, signature[at], arguments)) return false;
            ++at;
        }
    }
    return true;
}

int GetProperty(sd_bus*, const char*, const char*, const char* property, sd_bus_message* reply,
                void* user_data, sd_bus_error* error) {
    const auto* exported = static_cast<const ExportedInterface*>(user_data);
    for (const TCProperty& candidate : exported->interface.properties) {
        if (candidate.name != property) continue;
        const int result = AppendValue(reply, candidate.get());
        if (result < 0) {
            return sd_bus_error_setf(error, bus::kFailedError, "property %s cannot be written: %s",
                                     property, std::strerror(-result));
        }
        return 1;
    }
    return sd_bus_error_setf(error, SD_BUS_ERROR_UNKNOWN_PROPERTY, "no property %s", property);
}

int CallTypedMethod(sd_bus_message* call, void* user_data, sd_bus_error* error) {
    const auto* exported = static_cast<const ExportedInterface*>(user_data);
    const char* member = sd_bus_message_get_member(call);
    for (const TCMethod& method : exported->interface.methods) {
        if (member == nullptr || method.name != member) continue;
        std::vector<TCValue> arguments;
        std::string wrong;
        if (!ReadArguments(call, method.in_signature, arguments, wrong)) {
            if (wrong.empty()) wrong = "arguments do not match " + method.in_signature;
            return sd_bus_error_setf(error, SD_BUS_ERROR_INVALID_ARGS, "%s", wrong.c_str());
        }
        const char* sender = sd_bus_message_get_sender(call);
        std::vector<TCValue> results;
        // No exception leaves this callback: a refusal becomes the error it names.
        try {
            results = method.call(sender ? sender : "", arguments);
        } catch (const TCMethodError& refusal) {
            dlog_flush();
            return sd_bus_error_setf(error, refusal.name.c_str(), "%s", refusal.message.c_str());
        } catch (const std::exception& failure) {
            dlog_flush();
            return sd_bus_error_setf(error, bus::kFailedError, "%s failed: %s", method.name.c_str(),
                                     failure.what());
        }
        // The call's log lines leave before its reply, as a request's do.
        dlog_flush();
        sd_bus_message* answer = nullptr;
        int result = sd_bus_message_new_method_return(call, &answer);
        if (result < 0) return result;
        for (const TCValue& value : results) {
            if (result >= 0) result = AppendValue(answer, value);
        }
        if (result >= 0) result = sd_bus_send(nullptr, answer, nullptr);
        sd_bus_message_unref(answer);
        return result;
    }
    return sd_bus_error_setf(error, SD_BUS_ERROR_UNKNOWN_METHOD, "no method %s",
                             member != nullptr ? member : "?");
}

// The vtable of an added interface; `exported.method_names` must be filled first.
std::vector<sd_bus_vtable> MakeInterfaceVTable(const ExportedInterface& exported) {
    std::vector<sd_bus_vtable> vtable{SD_BUS_VTABLE_START(0)};
    for (const TCProperty& property : exported.interface.properties) {
        vtable.push_back(SD_BUS_PROPERTY(property.name.c_str(), property.signature.c_str(),
                                         GetProperty, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE));
    }
    for (size_t i = 0; i < exported.interface.methods.size(); ++i) {
        const TCMethod& method = exported.interface.methods[i];
        sd_bus_vtable entry = SD_BUS_METHOD(method.name.c_str(), method.in_signature.c_str(),
                                            method.out_signature.c_str(), CallTypedMethod,
                                            SD_BUS_VTABLE_UNPRIVILEGED);
        entry.x.method.names = exported.method_names[i].c_str();
        vtable.push_back(entry);
    }
    vtable.push_back(SD_BUS_VTABLE_END);
    return vtable;
}

// sd-bus reads a method's argument names as one string: each name ended by a NUL, the inputs
// first.
std::string ArgumentNames(const TCMethod& method) {
    std::string names;
    for (const auto* list : {&method.in_names, &method.out_names}) {
        for (const std::string& name : *list) names += name + '\0';
    }
    return names;
}

void OnBusLost(void* server, int error) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kLogTag, "server %s: lost the bus (%s): exiting\n",
                 static_cast<TCServer*>(server)->Name().c_str(), std::strerror(error));
    // The process ends its loop and tears down as on a stop, with a failure status of its own.
    if (g_bus_lost != nullptr) g_bus_lost(g_bus_lost_data);
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

void TCServer::SetBusLostHook(BusLostHook hook, void* data) {
    g_bus_lost = hook;
    g_bus_lost_data = data;
}

void TCServer::DeclareSignal(const std::string& name) {
    m_Signals.push_back(name);
}

void TCServer::AddInterface(TCInterface interface) {
    m_Interfaces.push_back(std::move(interface));
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
    for (const TCInterface& interface : m_Interfaces) {
        ExportedInterface& exported = m_Connection->interfaces.emplace_back();
        exported.interface = interface;
        for (const TCMethod& method : interface.methods) {
            exported.method_names.push_back(ArgumentNames(method));
        }
        exported.vtable = MakeInterfaceVTable(exported);
        result = sd_bus_add_object_vtable(
            m_Connection->bus, &exported.slot, m_Connection->object_path.c_str(),
            exported.interface.name.c_str(), exported.vtable.data(), &exported);
        if (result < 0) {
            Warn("server " + m_Name + ": cannot export " + interface.name + ": " +
                 std::strerror(-result));
            CloseDBusServer();
            return false;
        }
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
    m_Connection->source = bus::Attach(m_Connection->bus, OnBusLost, this);
    watchdog::Start();
    OpenServers()[m_Name] = this;
    return true;
}

bool TCServer::CloseDBusServer() {
    if (!m_Connection) return true;
    auto found = OpenServers().find(m_Name);
    if (found != OpenServers().end() && found->second == this) OpenServers().erase(found);

    // Closing on purpose is not losing the bus: the source goes first.
    bus::Detach(m_Connection->source);
    for (ExportedInterface& exported : m_Connection->interfaces) sd_bus_slot_unref(exported.slot);
    sd_bus_slot_unref(m_Connection->object);
    // Nothing here waits on the bus, however busy or stalled it is: the daemon gives the name
    // back when the connection closes, and what is still queued to be written is dropped.
    sd_bus_close_unref(m_Connection->bus);
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

bool TCServer::EmitPropertiesChanged(const char* server, const std::string& interface,
                                     const std::vector<std::string>& names) {
    if (server == nullptr) return false;
    auto found = OpenServers().find(server);
    if (found == OpenServers().end()) return false;
    const Connection& connection = *found->second->m_Connection;
    std::vector<char*> name_list;
    for (const std::string& name : names) name_list.push_back(const_cast<char*>(name.c_str()));
    name_list.push_back(nullptr);
    const int result = sd_bus_emit_properties_changed_strv(
        connection.bus, connection.object_path.c_str(), interface.c_str(), name_list.data());
    if (result < 0) {
        Warn("PropertiesChanged of " + interface + " not sent: " + std::strerror(-result));
    }
    return result >= 0;
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
