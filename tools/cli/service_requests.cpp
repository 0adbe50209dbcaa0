#include "service_requests.h"

#include <cstring>
#include <string>

#include "catalogue_properties.h"
#include "command_error.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
namespace {

namespace method = trevalo_bus::method;
namespace member = trevalo_bus::member;

const Json::Value& ReturnData(const Ondrel::TCMessage& reply) {
    return reply.body[member::kReturnData];
}

CommandError UnexpectedAnswer(const std::string& method_name, const Ondrel::TCMessage& reply) {
    return FailureAnswer(method_name +
                         " gave an unexpected answer: " + trevalo_json::WriteCompact(reply.body));
}

const char* SizeMethod(ComponentKind kind) {
    switch (kind) {
        case ComponentKind::kVideo:
            return method::kSizeOfVideo;
        case ComponentKind::kAudio:
            return method::kSizeOfAudio;
        case ComponentKind::kSubtitle:
            break;
    }
    return method::kSizeOfSubtitle;
}

const char* EntryMethod(ComponentKind kind) {
    switch (kind) {
        case ComponentKind::kVideo:
            return method::kGetVideo;
        case ComponentKind::kAudio:
            return method::kGetAudio;
        case ComponentKind::kSubtitle:
            break;
    }
    return method::kGetSubtitle;
}

// An entry query answers its object as JSON text inside the reply body.
bool ParseEntryText(const std::string& text, Json::Value& entry) {
    return trevalo_json::Parse(text, entry) && entry.isObject();
}

}  // namespace

bool SendPmtSection(ServiceConnection& service, const std::vector<uint8_t>& section,
                    uint16_t program_number, bool reset) {
    Json::Value data(Json::objectValue);
    data[member::kReset] = reset;
    data[member::kProgramNum] = static_cast<int>(program_number);
    const Ondrel::TCMessage reply = service.Request(method::kSendPMTData, data, section);
    const Json::Value& answer = ReturnData(reply);
    if (!answer.isIntegral() || (answer.asLargestInt() != 0 && answer.asLargestInt() != 1)) {
        throw UnexpectedAnswer(method::kSendPMTData, reply);
    }
    return answer.asLargestInt() == 0;
}

Catalogue ReadCatalogue(ServiceConnection& service) {
    Catalogue catalogue;
    for (const ComponentKind kind : kAllKinds) {
        const Ondrel::TCMessage size_reply = service.Request(SizeMethod(kind));
        const Json::Value& size = ReturnData(size_reply);
        if (!size.isIntegral() || size.asLargestInt() < 0) {
            throw UnexpectedAnswer(SizeMethod(kind), size_reply);
        }
        const auto count = static_cast<unsigned int>(size.asLargestUInt());
        for (unsigned int index = 0; index < count; ++index) {
            const Ondrel::TCMessage reply = service.Request(EntryMethod(kind), Json::Value(index));
            const Json::Value& text = ReturnData(reply);
            const Json::Value& success = reply.body[member::kCallApiSuccess];
            if (!success.isBool() || !success.asBool()) {
                throw FailureAnswer(std::string(EntryMethod(kind)) + " " + std::to_string(index) +
                                    " answered no entry: the catalogue changed while it was read");
            }
            Json::Value entry;
            if (!text.isString() || !ParseEntryText(text.asString(), entry)) {
                throw UnexpectedAnswer(EntryMethod(kind), reply);
            }
            catalogue.List(kind).push_back(entry);
        }
    }
    return catalogue;
}

Catalogue ReadWholeCatalogue(ServiceConnection& service) {
    const Ondrel::TCMessage reply = service.Request(method::kGetCatalogue);
    const Json::Value& lists = ReturnData(reply);
    // The unknown-method answer: the dispatcher's empty "return_data", nothing else.
    if (lists == Json::Value("") && !reply.body.isMember(member::kCallApiSuccess)) {
        return ReadCatalogue(service);
    }
    if (!lists.isObject()) throw UnexpectedAnswer(method::kGetCatalogue, reply);
    Catalogue catalogue;
    for (const ComponentKind kind : kAllKinds) {
        const Json::Value& entries = lists[KindName(kind)];
        if (!entries.isArray()) throw UnexpectedAnswer(method::kGetCatalogue, reply);
        for (const Json::Value& entry : entries) {
            if (!entry.isObject()) throw UnexpectedAnswer(method::kGetCatalogue, reply);
            catalogue.List(kind).push_back(entry);
        }
    }
    return catalogue;
}

bool ReadCatalogueProperties(ServiceConnection& service, Catalogue& catalogue,
                             int& program_number) {
    // What a service without the interface answers; any other failure is the command's.
    static const char* const kWithoutInterface[] = {
        "org.freedesktop.DBus.Error.UnknownInterface", "org.freedesktop.DBus.Error.UnknownMethod",
        "org.freedesktop.DBus.Error.UnknownObject", "org.freedesktop.DBus.Error.InvalidArgs"};
    Ondrel::TCValue::Dictionary properties;
    std::string error;
    if (!service.Client().GetAllProperties(trevalo_bus::catalogue::kInterface, properties, &error,
                                           service.TimeoutMs())) {
        const std::string& name = service.Client().LastErrorName();
        for (const char* absent : kWithoutInterface) {
            if (name == absent) return false;
        }
        throw service.CallFailure("GetAll", error);
    }
    return CatalogueFromProperties(properties, catalogue, program_number);
}

Catalogue ReadCurrentCatalogue(ServiceConnection& service) {
    Catalogue catalogue;
    int program_number = 0;
    if (ReadCatalogueProperties(service, catalogue, program_number)) return catalogue;
    return ReadWholeCatalogue(service);
}

int LookUpPid(ServiceConnection& service, int tag) {
    const Ondrel::TCMessage reply = service.Request(method::kGetPID, Json::Value(tag));
    const Json::Value& pid = ReturnData(reply);
    if (!pid.isIntegral()) throw UnexpectedAnswer(method::kGetPID, reply);
    return static_cast<int>(pid.asLargestInt());
}

void SavePlayingTime(ServiceConnection& service, uint32_t milliseconds) {
    std::vector<unsigned char> buffer(sizeof milliseconds);
    std::memcpy(buffer.data(), &milliseconds, sizeof milliseconds);  // host byte order
    const Ondrel::TCMessage reply =
        service.Request(method::kSaveCurrentVideoPlayingTime, Json::Value(), buffer);
    if (!ReturnData(reply).isIntegral() || ReturnData(reply).asLargestInt() != 0) {
        throw UnexpectedAnswer(method::kSaveCurrentVideoPlayingTime, reply);
    }
}

uint32_t ReadPlayingTime(ServiceConnection& service) {
    const Ondrel::TCMessage reply = service.Request(method::kGetCurrentVideoPlayingTime);
    unsigned char* bytes = nullptr;
    const unsigned int length = reply.GetBuffer(bytes);
    uint32_t milliseconds = 0;
    if (length != sizeof milliseconds || bytes == nullptr) {
        throw UnexpectedAnswer(method::kGetCurrentVideoPlayingTime, reply);
    }
    std::memcpy(&milliseconds, bytes, sizeof milliseconds);
    return milliseconds;
}

}  // namespace trevalo_cli
