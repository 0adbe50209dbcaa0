#include "TrevaloService.h"

#include <string>

#include "TrevaloCatalogueInterface.h"
#include "TrevaloLog.h"
#include "TrevaloRequest.h"
#include "TrevaloServiceServer.h"
#include "trevalo/bus_contract.h"

namespace {

namespace method = trevalo_bus::method;
namespace member = trevalo_bus::member;

using Handler = void (*)(const Ondrel::TCMessage&, Ondrel::TCMessage&);

struct Route {
    const char* method;
    Handler handler;
};

// Compared in this order; the first exact match decides.
const Route kRoutes[] = {
    {method::kSendPMTData, &TrevaloServiceServer::ParsePMT},
    {method::kGetPID, &TrevaloServiceServer::GetPID},
    {method::kGetAudio, &TrevaloServiceServer::GetAudio},
    {method::kSizeOfAudio, &TrevaloServiceServer::SizeOfAudio},
    {method::kGetVideo, &TrevaloServiceServer::GetVideo},
    {method::kSizeOfVideo, &TrevaloServiceServer::SizeOfVideo},
    {method::kGetSubtitle, &TrevaloServiceServer::GetSubtitle},
    {method::kSizeOfSubtitle, &TrevaloServiceServer::SizeOfSubtitle},
    {method::kGetCurrentVideoPlayingTime,
     &TrevaloServiceServer::GetCurrentVideoPlayingTimeFromTrevaloService},
    {method::kSaveCurrentVideoPlayingTime,
     &TrevaloServiceServer::SaveCurrentVideoPlayingTimeAtTrevaloService},
    // An extension beside the eleven; an older service answers it as an unknown method.
    {method::kGetCatalogue, &TrevaloServiceServer::GetCatalogue},
};

using trevalo_bus::kServerName;

Handler FindHandler(const std::string& name) {
    for (const Route& route : kRoutes) {
        if (name == route.method) return route.handler;
    }
    return nullptr;
}

// "return_data" as text for the closing log line: a string unchanged, a number in decimal.
std::string ReturnDataText(const Json::Value& value) {
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

}  // namespace

TrevaloService::TrevaloService()
    : Ondrel::TCServer(std::string(kServerName), Ondrel::TCServer::SERVER_TYPE_SERVICE) {
    DeclareSignal(trevalo_bus::kTrevaloSignal);
    DeclareSignal(trevalo_bus::kCatalogueChanged);
    AddInterface(CatalogueInterface(*this));
    TREVALO_LOGE("TrevaloService constructor!!");
}

TrevaloService::~TrevaloService() {
    TREVALO_LOGE("TrevaloService destructor!!");
}

bool TrevaloService::OnCreate(void* app) {
    if (app == nullptr) {
        TREVALO_LOGE("app Base is NULL");
        return false;
    }
    auto* service = static_cast<TrevaloService*>(app);
    if (!service->CreateDBusServer()) {
        service->CloseDBusServer();
        TREVALO_LOGE("Create DBus server fail!");
        return false;
    }
    TREVALO_LOGI("Trevalo service OnCreate \n");
    TrevaloServiceServer::InitTrevaloServiceServer();
    return true;
}

void TrevaloService::OnTerminate(void* app) {
    if (app == nullptr) {
        TREVALO_LOGE("app Base is NULL");
        return;
    }
    TrevaloServiceServer::FiniTrevaloServiceServer();
    static_cast<TrevaloService*>(app)->CloseDBusServer();
    TREVALO_LOGI("Trevalo service OnTerminate \n");
}

bool TrevaloService::IfMessageReceived(const char* sender, const Ondrel::TCMessage* request,
                                       Ondrel::TCMessage* reply, const char*) {
    if (request == nullptr || reply == nullptr) return false;
    const std::string text = request->GetMessage();
    TREVALO_LOGI("IfMessageReceived!! message: [from:%s] [rsp:%p] [message:%s]",
                 sender != nullptr ? sender : "", static_cast<void*>(reply), text.c_str());

    reply->body[member::kReturnData] = "";

    // "method" as asString reads it: a number or a boolean converts and simply matches no name.
    const Json::Value& body = request->body;
    const Json::Value& method_value = trevalo_request::Member(body, member::kMethod);
    std::string name;
    if (!body.isObject() && !body.isNull()) {
        TREVALO_LOGE("There is no matched method: the request body is %s, not an object",
                     trevalo_request::KindName(body));
    } else if (!trevalo_request::Convert(method_value, name)) {
        TREVALO_LOGE("There is no matched method: \"method\" is %s, not a string",
                     trevalo_request::KindName(method_value));
    } else if (name == method::kSendPESDataWithFirstPTS) {
        Ondrel::TCServer::SendSignal(kServerName, trevalo_bus::kTrevaloSignal, request);
    } else if (Handler handler = FindHandler(name)) {
        handler(*request, *reply);
    } else {
        TREVALO_LOGE("There is no matched method");
    }

    const std::string answer = ReturnDataText(reply->body[member::kReturnData]);
    TREVALO_LOGI("ret_data = %s", answer.c_str());
    return true;
}
