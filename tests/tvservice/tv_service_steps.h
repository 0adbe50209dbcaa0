// The TV-service library's steps as the service takes them, one at a time, so a test can look at
// each answer on its own.
#ifndef TESTS_TVSERVICE_TV_SERVICE_STEPS_H
#define TESTS_TVSERVICE_TV_SERVICE_STEPS_H

#include <optional>

#include "TVServiceAPI.h"

namespace tv_steps {

constexpr EProfile kProfile = PROFILE_MAIN;
constexpr int kIndex = 0;
constexpr unsigned long long kEveryServiceList = ~0ULL;
constexpr int kEnglish = 0x656E67;  // "eng", packed

IServiceNavigation* Navigation();  // null when the library hands none out
IAVControl* AVControl();           // null when the library hands none out

struct TvMode {
    int result = 0;
    TSTvMode mode;
};
TvMode QueryTvMode(IServiceNavigation& navigation);

// Criteria for the current service in `mode`, fetching the service id; `selected` is what
// GetNavigationCriteria answered.
TCCriteriaHelper ServiceIdCriteria(const TSTvMode& mode, bool* selected = nullptr);

struct ServiceInfo {
    int result = 0;
    TCServiceData data;
};
ServiceInfo QueryServiceInfo(IServiceNavigation& navigation, const TSTvMode& mode,
                             TCCriteriaHelper& criteria);

// Attribute 12 of `data`; nothing when the store or the attribute is missing.
std::optional<unsigned long long> ServiceId(const TCServiceData& data);

struct CurrentAudio {
    int result = 0;
    int languageCode = 0;
    int index = -1;  // preset as the service presets it
};
CurrentAudio QueryCurrentAudio(IAVControl& avControl);

struct Audio {
    int result = 0;
    TSAudio audio;
};
Audio QueryAudio(IServiceDataAux& serviceDataAux, unsigned long long serviceId = 1,
                 int audioIndex = 0);

// Every step succeeds with the answers of a receiver nobody has configured: TV mode 1, service
// id 1, current audio "eng" at index 0, neither audio description nor spoken subtitles.
void ExpectDefaultAnswers();

}  // namespace tv_steps

#endif
