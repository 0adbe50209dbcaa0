// What the TV-service library says of the tuned service and of the audio being played.
#include "TVServiceAPI.h"
#include "TrevaloServiceServer.h"
#include "TrevaloServiceServerLog.h"

namespace {

constexpr EProfile kProfile = PROFILE_MAIN;
constexpr int kDeviceIndex = 0;
constexpr ENavigationMode kNavigationMode = NAVIGATION_MODE_CURRENT;
constexpr unsigned long long kAllOnes = ~0ULL;

}  // namespace

bool TrevaloServiceServer::get_service_id(unsigned long long& id) {
    TSTvMode tv_mode;
    IServiceNavigation* navigation = nullptr;
    TVServiceAPI::CreateServiceNavigation(kProfile, kDeviceIndex, &navigation);
    if (navigation == nullptr || navigation->GetTvMode(&tv_mode) < 1) {
        TREVALO_LOGE("GetTvMode failed");
        return false;
    }
    TREVALO_LOGI("TV mode is %d", static_cast<int>(tv_mode.mode[0]));

    TCCriteriaHelper criteria;
    if (!TCNavigationModeHelper::GetNavigationCriteria(tv_mode, kNavigationMode, criteria,
                                                       kAllOnes)) {
        TREVALO_LOGE("Get navigation criteria failed");
        return false;
    }
    criteria.Fetch(SERVICE_ATTRIBUTE_SERVICE_ID);

    TCServiceData service_data;
    if (navigation->GetCurrentServiceInfo(tv_mode, criteria, &service_data) < 1) {
        TREVALO_LOGE("getcurrentserviceinfor failed");
        return false;
    }
    // A service whose data holds no id is reported with all bits set.
    const TCServiceAttributeStore* store = service_data.AttributeStore();
    const TCServiceAttribute* attribute =
        store != nullptr ? store->Find(SERVICE_ATTRIBUTE_SERVICE_ID) : nullptr;
    id = attribute != nullptr ? attribute->GetUInt64() : kAllOnes;
    TREVALO_LOGI("service id is %llu", id);
    return true;
}

int TrevaloServiceServer::GetAudioInfo(TSAudio& audio) {
    IAVControl* av_control = nullptr;
    if (TVServiceAPI::CreateAVControl(kProfile, kDeviceIndex, &av_control) != 0 ||
        av_control == nullptr) {
        TREVALO_LOGE("TVServiceAPI::CreateAVControl fails");
        return -1;
    }
    int language_code = 0;
    int current_index = -1;
    if (av_control->GetCurrentAudioInfo(&language_code, &current_index) == 0) {
        TREVALO_LOGE("GetCurrentAudioInfo fails");
        return -1;
    }
    TREVALO_LOGI("languageCode : %d, currentIndex : %d", language_code, current_index);

    unsigned long long service_id = 0;
    if (!get_service_id(service_id)) {
        TREVALO_LOGE("GetCurrentServiceId fails");
        return -1;
    }
    TREVALO_LOGI("serviceId %llu", service_id);

    // A missing auxiliary object counts as a failed audio query.
    IServiceDataAux* service_data_aux = TVServiceAPI::ServiceDataAux(kProfile, kDeviceIndex);
    if (service_data_aux != nullptr &&
        service_data_aux->GetAudio(service_id, current_index, audio) == 1) {
        TREVALO_LOGI("SUCCESS");
        return 0;
    }
    TREVALO_LOGE("get audio fails");
    return -1;
}
