#include "service_connection.h"

#include <glib-unix.h>
#include <glib.h>

#include <cstdlib>

#include "command_error.h"
#include "interruption.h"
#include "trevalo/bus_contract.h"

namespace trevalo_cli {
namespace {

// D-Bus error names (or prefixes of them, ending in '.') that mean nobody owns the name and the
// bus started nobody: no service file, or an activation that failed (the program, or systemd's
// unit: missing, disabled, masked, stopping).
constexpr const char* kAbsentServiceErrors[] = {
    "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
    "org.freedesktop.DBus.Error.Spawn.", "org.freedesktop.systemd1."};

// Those that mean a service may be there but did not answer in time.
constexpr const char* kNoAnswerErrors[] = {
    "org.freedesktop.DBus.Error.NoReply", "org.freedesktop.DBus.Error.Timeout",
    "org.freedesktop.DBus.Error.TimedOut", "org.freedesktop.DBus.Error.Disconnected",
    "org.freedesktop.DBus.Error.NoServer"};

constexpr const char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

// Whether `name` is one of `names`, or starts with one that ends in '.'.
template <size_t N>
bool NamedIn(const std::string& name, const char* const (&names)[N]) {
    for (const char* listed : names) {
        const std::string entry = listed;
        if (name == entry || (entry.back() == '.' && name.rfind(entry, 0) == 0)) return true;
    }
    return false;
}

std::string DescribeBus(const CommandContext& context) {
    switch (context.bus) {
        case CommandContext::Bus::kAddress:
            return "the bus at " + context.bus_address;
        case CommandContext::Bus::kSession:
            return "the session bus";
        case CommandContext::Bus::kSystem:
            return "the system bus";
        case CommandContext::Bus::kAsService:
            break;
    }
    const char* session = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (session == nullptr || *session == '\0') return "the system bus";
    return "the session bus at " + std::string(session);
}

}  // namespace

ServiceConnection::ServiceConnection(const CommandContext& context)
    : m_Client(trevalo_bus::kServerName),
      m_BusDescription(DescribeBus(context)),
      m_TimeoutMs(context.timeout_ms) {
    std::string error;
    bool connected = false;
    switch (context.bus) {
        case CommandContext::Bus::kSession:
            connected = m_Client.Connect(Ondrel::TCClient::Bus::kSession, &error);
            break;
        case CommandContext::Bus::kSystem:
            connected = m_Client.Connect(Ondrel::TCClient::Bus::kSystem, &error);
            break;
        case CommandContext::Bus::kAddress:
        case CommandContext::Bus::kAsService:
            connected = m_Client.Connect(context.bus_address, &error);
            break;
    }
    if (!connected) throw NoServiceError(error);
    m_Client.OnBusLost([this](const std::string& reason) {
        m_LostReason = reason;
        StopMainLoop();
    });
}

CommandError ServiceConnection::BusLost(const std::string& reason) const {
    return BusLostError("lost the connection to " + m_BusDescription + ": " + reason);
}

Ondrel::TCMessage ServiceConnection::Request(const std::string& method, const Json::Value& data,
                                             const std::vector<unsigned char>& buffer) {
    Ondrel::TCMessage request;
    request.body[trevalo_bus::member::kMethod] = method;
    if (!data.isNull()) request.body[trevalo_bus::member::kData] = data;
    request.SetBuffer(buffer.empty() ? nullptr : buffer.data(),
                      static_cast<unsigned int>(buffer.size()));
    Ondrel::TCMessage reply;
    std::string error;
    if (m_Client.Request(request, reply, &error, m_TimeoutMs)) return reply;
    // dbus-daemon closes the connection of a sender whose message is larger than it takes.
    constexpr size_t kBusMessageLimit = 32u * 1024 * 1024;  // its default max_message_size
    if (!m_Client.Connected() && buffer.size() >= kBusMessageLimit) {
        throw BusLostError(method + ": a buffer of " + std::to_string(buffer.size()) +
                           " bytes is more than " + m_BusDescription +
                           " takes in one message (32 MiB by default); it closed the connection");
    }
    throw CallFailure(method, error);
}

Ondrel::TCValue::Dictionary ServiceConnection::CallWithDictionary(
    const char* interface, const char* method, const Ondrel::TCValue::Dictionary& argument) {
    Ondrel::TCValue::Dictionary result;
    std::string error;
    if (!m_Client.CallWithDictionary(interface, method, argument, result, &error, m_TimeoutMs)) {
        throw CallFailure(method, error);
    }
    return result;
}

CommandError ServiceConnection::CallFailure(const std::string& what,
                                            const std::string& error) const {
    if (!m_Client.Connected()) return BusLost(error);
    const std::string& name = m_Client.LastErrorName();
    const std::string from = m_Client.BusName() + " on " + m_BusDescription;
    if (NamedIn(name, kAbsentServiceErrors)) {
        return ServiceAbsentError("no answer from " + from + ": " + error);
    }
    if (NamedIn(name, kNoAnswerErrors))
        return NoServiceError("no answer from " + from + ": " + error);
    if (name == kAccessDenied) {
        // The daemon's own text is long and names no way in.
        const std::string allowed =
            what == trevalo_bus::method::kGetPID
                ? std::string(trevalo_bus::catalogue::kInterface) + ".GetPid answers it for anyone"
                : "anyone may read the catalogue ('catalogue', 'watch')";
        return FailureAnswer(
            what + " refused (" + name + ") by the policy of " + m_BusDescription +
            ": requests take root or membership of group " TREVALO_CLIENT_GROUP "; " + allowed);
    }
    return FailureAnswer(what + " failed on " + m_BusDescription + ": " + error);
}

void ServiceConnection::ListenUntilInterrupted() {
    RunMainLoopUntilInterrupted();
    if (!m_LostReason.empty()) throw BusLost(m_LostReason);
}

void ServiceConnection::Subscribe(const std::string& signal,
                                  Ondrel::TCClient::SignalHandler on_signal) {
    if (!m_Client.Subscribe(signal, std::move(on_signal))) {
        throw BusLost("cannot subscribe to " + signal);
    }
}

void ServiceConnection::SubscribeProperties(const std::string& interface,
                                            Ondrel::TCClient::PropertiesHandler on_change) {
    if (!m_Client.SubscribeProperties(interface, std::move(on_change))) {
        throw BusLost("cannot subscribe to the properties of " + interface);
    }
}

void ServiceConnection::FollowOwner() {
    if (!m_Client.FollowOwner()) throw BusLost("cannot follow who owns " + m_Client.BusName());
}

bool ServiceConnection::Pause(int ms, int fd) {
    if (ms == 0) {
        while (m_LostReason.empty() && g_main_context_iteration(nullptr, FALSE)) {
        }
    } else {
        bool due = false;
        const auto set_due = [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        };
        const guint timer = g_timeout_add(static_cast<guint>(ms), set_due, &due);
        const guint readable =
            fd < 0 ? 0
                   : g_unix_fd_add(
                         fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                         [](gint, GIOCondition, gpointer flag) -> gboolean {
                             *static_cast<bool*>(flag) = true;
                             return G_SOURCE_CONTINUE;
                         },
                         &due);
        // A signal cuts the poll short (no SA_RESTART), and the timer bounds a signal that
        // came just before it.
        while (!due && !Interrupted() && m_LostReason.empty()) {
            g_main_context_iteration(nullptr, TRUE);
        }
        g_source_remove(timer);
        if (readable != 0) g_source_remove(readable);
    }
    if (!m_LostReason.empty()) throw BusLost(m_LostReason);
    return !Interrupted();
}

bool ServiceIsAbsent(const CommandError& error) {
    return error.GetKind() == CommandError::Kind::kServiceAbsent;
}

}  // namespace trevalo_cli
