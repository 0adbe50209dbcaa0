// "fail" names the one step of the library that fails; every other step still succeeds.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "sim_state_file.h"
#include "tv_service_steps.h"

namespace {

using namespace tv_steps;

using Steps = std::set<std::string>;

// Objects and criteria obtained while nothing fails. The objects belong to the library and stay
// valid, so each later step can be tried on its own whatever step the state then makes fail.
struct Prepared {
    IServiceNavigation* navigation = nullptr;
    IAVControl* avControl = nullptr;
    IServiceDataAux* serviceDataAux = nullptr;
    TSTvMode mode;
    TCCriteriaHelper criteria;
};

Prepared PrepareWhileNothingFails() {
    sim_state_file::WriteTvService("{}");
    Prepared prepared;
    prepared.navigation = Navigation();
    prepared.avControl = AVControl();
    prepared.serviceDataAux = TVServiceAPI::ServiceDataAux(kProfile, kIndex);
    if (prepared.navigation != nullptr) prepared.mode = QueryTvMode(*prepared.navigation).mode;
    prepared.criteria = ServiceIdCriteria(prepared.mode);
    return prepared;
}

// The steps that fail now, each tried once on its own.
Steps FailingSteps(Prepared& prepared) {
    Steps failing;
    if (Navigation() == nullptr) failing.insert("navigation");
    if (QueryTvMode(*prepared.navigation).result < 1) failing.insert("tv_mode");
    bool selected = false;
    ServiceIdCriteria(prepared.mode, &selected);
    if (!selected) failing.insert("criteria");
    if (QueryServiceInfo(*prepared.navigation, prepared.mode, prepared.criteria).result < 1) {
        failing.insert("service_info");
    }
    if (AVControl() == nullptr) failing.insert("av_control");
    if (QueryCurrentAudio(*prepared.avControl).result == 0) failing.insert("current_audio");
    if (TVServiceAPI::ServiceDataAux(kProfile, kIndex) == nullptr) {
        failing.insert("service_data_aux");
    }
    if (QueryAudio(*prepared.serviceDataAux).result != 1) failing.insert("audio_query");
    return failing;
}

class TvServiceFailure : public ::testing::Test {
  protected:
    void SetUp() override {
        prepared_ = PrepareWhileNothingFails();
        ASSERT_NE(prepared_.navigation, nullptr);
        ASSERT_NE(prepared_.avControl, nullptr);
        ASSERT_NE(prepared_.serviceDataAux, nullptr);
        ASSERT_TRUE(prepared_.criteria.IsReady());
    }
    void TearDown() override { sim_state_file::Unset(); }

    Prepared prepared_;
};

class TvServiceFailingStep : public TvServiceFailure,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(TvServiceFailingStep, OnlyThatStepFails) {
    const std::string step = GetParam();
    sim_state_file::WriteTvService(R"({"fail": ")" + step + R"("})");
    EXPECT_EQ(FailingSteps(prepared_), Steps{step});
}

INSTANTIATE_TEST_SUITE_P(Steps, TvServiceFailingStep,
                         ::testing::Values("navigation", "tv_mode", "criteria", "service_info",
                                           "av_control", "current_audio", "service_data_aux",
                                           "audio_query"));

class TvServiceNothingFails : public TvServiceFailure,
                              public ::testing::WithParamInterface<const char*> {};

TEST_P(TvServiceNothingFails, EveryStepSucceeds) {
    sim_state_file::WriteTvService(std::string(R"({"fail": )") + GetParam() + "}");
    EXPECT_EQ(FailingSteps(prepared_), Steps{});
}

INSTANTIATE_TEST_SUITE_P(FailValues, TvServiceNothingFails,
                         ::testing::Values("null", R"("")", R"("no_such_step")", R"("NAVIGATION")",
                                           "3", "true", R"(["navigation"])",
                                           R"({"step": "navigation"})"));

// What a failing step leaves behind.
TEST_F(TvServiceFailure, NavigationClearsOutPointer) {
    sim_state_file::WriteTvService(R"({"fail": "navigation"})");
    IServiceNavigation* navigation = prepared_.navigation;
    EXPECT_NE(TVServiceAPI::CreateServiceNavigation(kProfile, kIndex, &navigation), 0);
    EXPECT_EQ(navigation, nullptr);
}

TEST_F(TvServiceFailure, AVControlClearsOutPointer) {
    sim_state_file::WriteTvService(R"({"fail": "av_control"})");
    IAVControl* avControl = prepared_.avControl;
    EXPECT_NE(TVServiceAPI::CreateAVControl(kProfile, kIndex, &avControl), 0);
    EXPECT_EQ(avControl, nullptr);
}

TEST_F(TvServiceFailure, TvModeLeavesModeUnset) {
    sim_state_file::WriteTvService(R"({"tv_mode": 4, "fail": "tv_mode"})");
    const TvMode tvMode = QueryTvMode(*prepared_.navigation);
    EXPECT_EQ(tvMode.mode.mode[0], -1);
    EXPECT_EQ(tvMode.mode.mode[1], -1);
}

TEST_F(TvServiceFailure, CriteriaSelectNoService) {
    sim_state_file::WriteTvService(R"({"fail": "criteria"})");
    bool selected = true;
    TCCriteriaHelper criteria = ServiceIdCriteria(prepared_.mode, &selected);
    EXPECT_FALSE(selected);
    EXPECT_FALSE(criteria.IsReady());
}

TEST_F(TvServiceFailure, ServiceInfoLeavesDataWithoutStore) {
    sim_state_file::WriteTvService(R"({"fail": "service_info"})");
    const ServiceInfo info =
        QueryServiceInfo(*prepared_.navigation, prepared_.mode, prepared_.criteria);
    EXPECT_EQ(info.data.AttributeStore(), nullptr);
}

TEST_F(TvServiceFailure, CurrentAudioLeavesBothUntouched) {
    sim_state_file::WriteTvService(
        R"({"current_audio": {"language_code": 6579573, "index": 2}, "fail": "current_audio"})");
    const CurrentAudio current = QueryCurrentAudio(*prepared_.avControl);
    EXPECT_EQ(current.languageCode, 0);
    EXPECT_EQ(current.index, -1);
}

TEST_F(TvServiceFailure, AudioQueryLeavesAudioUntouched) {
    sim_state_file::WriteTvService(
        R"({"audio": {"audio_description": true, "spoken_subtitles": true},
            "fail": "audio_query"})");
    const Audio audio = QueryAudio(*prepared_.serviceDataAux);
    EXPECT_EQ(audio.result, 0);
    EXPECT_FALSE(audio.audio.IsAudioDescription());
    EXPECT_FALSE(audio.audio.IsSpokenSubtitles());
}

}  // namespace
