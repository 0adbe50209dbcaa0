#include "service_connection.h"

#include <cstdlib>

#include "command_error.h"
#include "interruption.h"
#include "trevalo/bus_contract.h"

namespace trevalo_cli {
namespace {

// D-Bus errors that mean nobody took the request, as opposed to an answer from the service.
constexpr const char* kNoServiceErrors[] = {
    "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
    "org.freedesktop.DBus.Error.NoReply",        "org.freedesktop.DBus.Error.Timeout",
    "org.freedesktop.DBus.Error.TimedOut",       "org.freedesktop.DBus.Error.Disconnected",
    "org.freedesktop.DBus.Error.NoServer",       "org.freedesktop.DBus.Error.Spawn."};

// Of those, the ones that mean nobody owns the name and nothing could be started.
constexpr const char* kAbsentServiceErrors[] = {"org.freedesktop.DBus.Error.ServiceUnknown",
                                                "org.freedesktop.DBus.Error.NameHasNoOwner"};

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
    throw CallFailure(method, error);
}

void ServiceConnection::Ping() {
    std::string error;
    if (!m_Client.Ping(&error, m_TimeoutMs)) throw CallFailure("Ping", error);
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
    for (const char* name : kNoServiceErrors) {
        if (error.find(name) != std::string::npos) {
            return NoServiceError("no answer from " + m_Client.BusName() + ": " + error);
        }
    }
    return FailureAnswer(what + " failed: " + error);
}

void ServiceConnection::ListenUntilInterrupted() {
    RunMainLoopUntilInterrupted();
    if (!m_LostReason.empty()) throw BusLost(m_LostReason);
}

bool ServiceIsAbsent(const CommandError& error) {
    if (error.GetKind() != CommandError::Kind::kNoService) return false;
    const std::string message = error.what();
    for (const char* name : kAbsentServiceErrors) {
        if (message.find(name) != std::string::npos) return true;
    }
    return false;
}

}  // namespace trevalo_cli
