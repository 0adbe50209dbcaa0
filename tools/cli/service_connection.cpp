#include "service_connection.h"

#include "command_error.h"
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

}  // namespace

ServiceConnection::ServiceConnection(const std::string& bus_address)
    : m_Client(trevalo_bus::kServerName) {
    std::string error;
    if (!m_Client.Connect(bus_address, &error)) throw NoServiceError(error);
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
    if (m_Client.Request(request, reply, &error)) return reply;

    for (const char* name : kNoServiceErrors) {
        if (error.find(name) != std::string::npos) {
            throw NoServiceError("no answer from " + m_Client.BusName() + ": " + error);
        }
    }
    throw FailureAnswer(method + " failed: " + error);
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
