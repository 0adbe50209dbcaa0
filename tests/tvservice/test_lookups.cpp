// What each query answers, from the "tv_service" block of the simulated platform state.
#include <gtest/gtest.h>

#include <string>

#include "sim_state_file.h"
#include "tv_service_steps.h"

namespace {

using namespace tv_steps;

class TvServiceLookups : public ::testing::Test {
  protected:
    void TearDown() override { sim_state_file::Unset(); }

    static IServiceNavigation& NavigationOrFail() {
        IServiceNavigation* navigation = Navigation();
        if (navigation == nullptr) throw std::runtime_error("no navigation object");
        return *navigation;
    }
    static IAVControl& AVControlOrFail() {
        IAVControl* avControl = AVControl();
        if (avControl == nullptr) throw std::runtime_error("no AV-control object");
        return *avControl;
    }
    static IServiceDataAux& ServiceDataAuxOrFail() {
        IServiceDataAux* serviceDataAux = TVServiceAPI::ServiceDataAux(kProfile, kIndex);
        if (serviceDataAux == nullptr) throw std::runtime_error("no service-data object");
        return *serviceDataAux;
    }

    // The service's path to the current service's data.
    static ServiceInfo CurrentServiceInfo() {
        IServiceNavigation& navigation = NavigationOrFail();
        const TvMode tvMode = QueryTvMode(navigation);
        TCCriteriaHelper criteria = ServiceIdCriteria(tvMode.mode);
        return QueryServiceInfo(navigation, tvMode.mode, criteria);
    }
};

TEST_F(TvServiceLookups, DefaultsWithoutState) {
    sim_state_file::Unset();
    ExpectDefaultAnswers();
}

TEST_F(TvServiceLookups, DefaultsWithoutTvServiceBlock) {
    sim_state_file::Write(R"({"system_info": {"709": 200}})");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceLookups, DefaultsWithEmptyTvServiceBlock) {
    sim_state_file::WriteTvService("{}");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceLookups, AnswersFromState) {
    sim_state_file::WriteTvService(R"({
        "tv_mode": 3, "service_id": 4660,
        "current_audio": {"language_code": 6579573, "index": 2},
        "audio": {"audio_description": true, "spoken_subtitles": true}})");

    const TvMode tvMode = QueryTvMode(NavigationOrFail());
    EXPECT_GE(tvMode.result, 1);
    EXPECT_EQ(tvMode.mode.mode[0], 3);

    const ServiceInfo info = CurrentServiceInfo();
    EXPECT_GE(info.result, 1);
    EXPECT_EQ(ServiceId(info.data), 4660u);

    const CurrentAudio current = QueryCurrentAudio(AVControlOrFail());
    EXPECT_NE(current.result, 0);
    EXPECT_EQ(current.languageCode, 0x646575);  // "deu"
    EXPECT_EQ(current.index, 2);

    const Audio audio = QueryAudio(ServiceDataAuxOrFail(), 4660, 2);
    EXPECT_EQ(audio.result, 1);
    EXPECT_TRUE(audio.audio.IsAudioDescription());
    EXPECT_TRUE(audio.audio.IsSpokenSubtitles());
}

TEST_F(TvServiceLookups, ServiceIdUsesAllSixtyFourBits) {
    sim_state_file::WriteTvService(R"({"service_id": 18446744073709551614})");
    EXPECT_EQ(ServiceId(CurrentServiceInfo().data), 18446744073709551614ull);
}

TEST_F(TvServiceLookups, NullServiceIdLeavesAttributeOutOfStore) {
    sim_state_file::WriteTvService(R"({"service_id": null})");
    const ServiceInfo info = CurrentServiceInfo();
    EXPECT_GE(info.result, 1);
    ASSERT_NE(info.data.AttributeStore(), nullptr);
    EXPECT_EQ(info.data.AttributeStore()->Find(SERVICE_ATTRIBUTE_SERVICE_ID), nullptr);
}

TEST_F(TvServiceLookups, AttributeNotAskedForIsNotFetched) {
    sim_state_file::WriteTvService(R"({"service_id": 4660})");
    IServiceNavigation& navigation = NavigationOrFail();
    const TvMode tvMode = QueryTvMode(navigation);
    TCCriteriaHelper criteria;
    ASSERT_TRUE(TCNavigationModeHelper::GetNavigationCriteria(tvMode.mode, NAVIGATION_MODE_CURRENT,
                                                              criteria, kEveryServiceList));
    const ServiceInfo info = QueryServiceInfo(navigation, tvMode.mode, criteria);
    EXPECT_GE(info.result, 1);
    ASSERT_NE(info.data.AttributeStore(), nullptr);
    EXPECT_EQ(info.data.AttributeStore()->Find(SERVICE_ATTRIBUTE_SERVICE_ID), nullptr);
}

TEST_F(TvServiceLookups, CriteriaNotSetUpSelectNoService) {
    TCCriteriaHelper criteria;
    criteria.Fetch(SERVICE_ATTRIBUTE_SERVICE_ID);
    const ServiceInfo info = QueryServiceInfo(NavigationOrFail(), TSTvMode(), criteria);
    EXPECT_LT(info.result, 1);
    EXPECT_EQ(info.data.AttributeStore(), nullptr);
}

TEST_F(TvServiceLookups, NullIndexLeavesCallersIndexUntouched) {
    sim_state_file::WriteTvService(
        R"({"current_audio": {"language_code": 6713957, "index": null}})");
    const CurrentAudio current = QueryCurrentAudio(AVControlOrFail());
    EXPECT_NE(current.result, 0);
    EXPECT_EQ(current.languageCode, 0x667265);  // "fre"
    EXPECT_EQ(current.index, -1);

    int languageCode = 0;
    int index = 7;
    EXPECT_NE(AVControlOrFail().GetCurrentAudioInfo(&languageCode, &index), 0);
    EXPECT_EQ(index, 7);
}

TEST_F(TvServiceLookups, AudioOfServiceWithoutIdAndTrackWithoutIndex) {
    sim_state_file::WriteTvService(R"({"audio": {"audio_description": true}})");
    const Audio audio = QueryAudio(ServiceDataAuxOrFail(), ~0ULL, -1);
    EXPECT_EQ(audio.result, 1);
    EXPECT_TRUE(audio.audio.IsAudioDescription());
}

TEST_F(TvServiceLookups, NullOutPointersFail) {
    TSTvMode mode;
    TCCriteriaHelper criteria = ServiceIdCriteria(mode);
    int languageCode = 0;
    int index = -1;
    EXPECT_LT(NavigationOrFail().GetTvMode(nullptr), 1);
    EXPECT_LT(NavigationOrFail().GetCurrentServiceInfo(mode, criteria, nullptr), 1);
    EXPECT_EQ(AVControlOrFail().GetCurrentAudioInfo(nullptr, &index), 0);
    EXPECT_EQ(AVControlOrFail().GetCurrentAudioInfo(&languageCode, nullptr), 0);
}

struct AudioFlags {
    bool audioDescription;
    bool spokenSubtitles;
};

class TvServiceAudioFlags : public TvServiceLookups,
                            public ::testing::WithParamInterface<AudioFlags> {};

TEST_P(TvServiceAudioFlags, AudioQueryReportsBothFlags) {
    const AudioFlags flags = GetParam();
    sim_state_file::WriteTvService(std::string(R"({"audio": {"audio_description": )") +
                                   (flags.audioDescription ? "true" : "false") +
                                   R"(, "spoken_subtitles": )" +
                                   (flags.spokenSubtitles ? "true" : "false") + "}}");
    const Audio audio = QueryAudio(ServiceDataAuxOrFail());
    EXPECT_EQ(audio.result, 1);
    EXPECT_EQ(audio.audio.IsAudioDescription(), flags.audioDescription);
    EXPECT_EQ(audio.audio.IsSpokenSubtitles(), flags.spokenSubtitles);
}

INSTANTIATE_TEST_SUITE_P(EachCombination, TvServiceAudioFlags,
                         ::testing::Values(AudioFlags{false, false}, AudioFlags{true, false},
                                           AudioFlags{false, true}, AudioFlags{true, true}));

TEST(TvServiceAudio, DefaultConstructedIsNeitherKind) {
    const TSAudio audio;
    EXPECT_FALSE(audio.IsAudioDescription());
    EXPECT_FALSE(audio.IsSpokenSubtitles());
}

TEST(TvServiceTvMode, DefaultConstructedIsUnset) {
    const TSTvMode mode;
    EXPECT_EQ(mode.mode[0], -1);
    EXPECT_EQ(mode.mode[1], -1);
}

// Blocks whose members are all there but of the wrong JSON type, or null where null means
// nothing: each member keeps its default.
class TvServiceWrongTypes : public TvServiceLookups,
                            public ::testing::WithParamInterface<const char*> {};

TEST_P(TvServiceWrongTypes, FallBackToDefaults) {
    sim_state_file::WriteTvService(GetParam());
    ExpectDefaultAnswers();
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, TvServiceWrongTypes,
    ::testing::Values(
        R"(5)", R"([1, 2])", R"("tv_service")", R"(null)",
        R"({"tv_mode": "2", "service_id": "4660", "current_audio": {"language_code": "deu",
            "index": "3"}, "audio": {"audio_description": 1, "spoken_subtitles": "true"},
            "fail": 3})",
        R"({"tv_mode": 2.5, "service_id": -5, "current_audio": {"language_code": 4294967296,
            "index": 1.5}, "fail": true})",
        R"({"tv_mode": null, "current_audio": {"language_code": null},
            "audio": {"audio_description": null, "spoken_subtitles": null}, "fail": null})",
        R"({"service_id": {"id": 4660}, "current_audio": [6579573, 2], "audio": true,
            "fail": ["navigation"]})",
        R"({"current_audio": null, "audio": null})"));

}  // namespace
