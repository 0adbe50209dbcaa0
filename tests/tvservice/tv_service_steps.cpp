#include "tv_service_steps.h"

#include <gtest/gtest.h>

namespace tv_steps {

IServiceNavigation* Navigation() {
    IServiceNavigation* navigation = nullptr;
    TVServiceAPI::CreateServiceNavigation(kProfile, kIndex, &navigation);
    return navigation;
}

IAVControl* AVControl() {
    IAVControl* avControl = nullptr;
    TVServiceAPI::CreateAVControl(kProfile, kIndex, &avControl);
    return avControl;
}

TvMode QueryTvMode(IServiceNavigation& navigation) {
    TvMode answer;
    answer.result = navigation.GetTvMode(&answer.mode);
    return answer;
}

TCCriteriaHelper ServiceIdCriteria(const TSTvMode& mode, bool* selected) {
    TCCriteriaHelper criteria;
    const bool answer = TCNavigationModeHelper::GetNavigationCriteria(mode, NAVIGATION_MODE_CURRENT,
                                                                      criteria, kEveryServiceList);
    if (selected != nullptr) *selected = answer;
    criteria.Fetch(SERVICE_ATTRIBUTE_SERVICE_ID);
    return criteria;
}

ServiceInfo QueryServiceInfo(IServiceNavigation& navigation, const TSTvMode& mode,
                             TCCriteriaHelper& criteria) {
    ServiceInfo answer;
    answer.result = navigation.GetCurrentServiceInfo(mode, criteria, &answer.data);
    return answer;
}

std::optional<unsigned long long> ServiceId(const TCServiceData& data) {
    const TCServiceAttributeStore* store = data.AttributeStore();
    if (store == nullptr) return std::nullopt;
    const TCServiceAttribute* attribute = store->Find(SERVICE_ATTRIBUTE_SERVICE_ID);
    if (attribute == nullptr) return std::nullopt;
    return attribute->GetUInt64();
}

CurrentAudio QueryCurrentAudio(IAVControl& avControl) {
    CurrentAudio answer;
    answer.result = avControl.GetCurrentAudioInfo(&answer.languageCode, &answer.index);
    return answer;
}

Audio QueryAudio(IServiceDataAux& serviceDataAux, unsigned long long serviceId, int audioIndex) {
    Audio answer;
    answer.result = serviceDataAux.GetAudio(serviceId, audioIndex, answer.audio);
    return answer;
}

void ExpectDefaultAnswers() {
    IServiceNavigation* navigation = Navigation();
    ASSERT_NE(navigation, nullptr);
    const TvMode tvMode = QueryTvMode(*navigation);
    EXPECT_GE(tvMode.result, 1);
    EXPECT_EQ(tvMode.mode.mode[0], 1);

    bool selected = false;
    TCCriteriaHelper criteria = ServiceIdCriteria(tvMode.mode, &selected);
    EXPECT_TRUE(selected);
    const ServiceInfo info = QueryServiceInfo(*navigation, tvMode.mode, criteria);
    EXPECT_GE(info.result, 1);
    EXPECT_EQ(ServiceId(info.data), 1u);

    IAVControl* avControl = AVControl();
    ASSERT_NE(avControl, nullptr);
    const CurrentAudio current = QueryCurrentAudio(*avControl);
    EXPECT_NE(current.result, 0);
    EXPECT_EQ(current.languageCode, kEnglish);
    EXPECT_EQ(current.index, 0);

    IServiceDataAux* serviceDataAux = TVServiceAPI::ServiceDataAux(kProfile, kIndex);
    ASSERT_NE(serviceDataAux, nullptr);
    const Audio audio = QueryAudio(*serviceDataAux);
    EXPECT_EQ(audio.result, 1);
    EXPECT_FALSE(audio.audio.IsAudioDescription());
    EXPECT_FALSE(audio.audio.IsSpokenSubtitles());
}

}  // namespace tv_steps
