// The TV-service library over simulated platform states: what each step answers, and which step
// fails, for every state of tests/data/tv_service_states.json.
#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>
#include <vector>

#include "TVServiceAPI.h"
#include "log_capture.h"
#include "sim_state_file.h"
#include "test_data.h"

namespace {

constexpr EProfile kProfile = PROFILE_MAIN;

// Takes every step as the service does, each on its own, and notes what it answered.
Json::Value Answers() {
    Json::Value answers;
    Json::Value& failing = answers["failing"] = Json::Value(Json::arrayValue);
    const auto fails = [&failing](bool failed, const char* step) {
        if (failed) failing.append(step);
    };
    IServiceNavigation* navigation = nullptr;
    fails(TVServiceAPI::CreateServiceNavigation(kProfile, 0, &navigation) != 0 ||
              navigation == nullptr,
          "navigation");
    TSTvMode mode;
    fails(navigation != nullptr && navigation->GetTvMode(&mode) < 1, "tv_mode");
    answers["tv_mode"] = mode.mode[0];
    TCCriteriaHelper criteria;
    fails(!TCNavigationModeHelper::GetNavigationCriteria(mode, NAVIGATION_MODE_CURRENT, criteria,
                                                         ~0ULL),
          "criteria");
    criteria.Fetch(SERVICE_ATTRIBUTE_SERVICE_ID);
    TCServiceData data;
    fails(navigation != nullptr && navigation->GetCurrentServiceInfo(mode, criteria, &data) < 1,
          "service_info");
    const TCServiceAttributeStore* store = data.AttributeStore();
    const TCServiceAttribute* id =
        store != nullptr ? store->Find(SERVICE_ATTRIBUTE_SERVICE_ID) : nullptr;
    answers["service_id"] =
        id != nullptr ? Json::Value(Json::UInt64(id->GetUInt64())) : Json::Value();
    IAVControl* av_control = nullptr;
    fails(TVServiceAPI::CreateAVControl(kProfile, 0, &av_control) != 0 || av_control == nullptr,
          "av_control");
    int language_code = 0;
    int index = -1;
    fails(av_control != nullptr && av_control->GetCurrentAudioInfo(&language_code, &index) == 0,
          "current_audio");
    answers["language_code"] = language_code;
    answers["index"] = index;
    IServiceDataAux* aux = TVServiceAPI::ServiceDataAux(kProfile, 0);
    fails(aux == nullptr, "service_data_aux");
    unsigned long long service_id = 1;
    TSAudio audio;
    fails(aux != nullptr && aux->GetAudio(service_id, index, audio) != 1, "audio_query");
    answers["audio_description"] = audio.IsAudioDescription();
    answers["spoken_subtitles"] = audio.IsSpokenSubtitles();
    return answers;
}

// One state of the golden file; printed (and named) by what it is for, not by its bytes.
struct GoldenState {
    std::string why;
    Json::Value state;
    Json::Value answers;
};

void PrintTo(const GoldenState& golden, std::ostream* out) {
    *out << golden.why;
}

class TvServiceState : public ::testing::TestWithParam<GoldenState> {
  protected:
    void TearDown() override { sim_state_file::Unset(); }
};

TEST_P(TvServiceState, AnswersAsTheStateSays) {
    ASSERT_TRUE(GetParam().answers.isObject()) << "no answers in the golden state";
    const Json::Value& expected = GetParam().answers;
    sim_state_file::Write(GetParam().state.toStyledString());
    const Json::Value answers = Answers();
    for (const std::string& name : expected.getMemberNames()) {
        // As text: jsoncpp's == tells a signed from an unsigned integer.
        EXPECT_EQ(answers[name].toStyledString(), expected[name].toStyledString()) << name;
    }
}

std::vector<GoldenState> States() {
    const Json::Value states =
        test_support::ReadJsonFile(test_support::GoldenPath("tv_service_states.json"));
    std::vector<GoldenState> golden;
    for (const Json::Value& state : states) {
        golden.push_back({state["why"].asString(), state["state"], state["answers"]});
    }
    return golden;
}

// "3_every_member_from_the_state": the index keeps names apart, the words say which it is.
std::string StateName(const ::testing::TestParamInfo<GoldenState>& info) {
    std::string name = std::to_string(info.index) + "_";
    for (const char letter : info.param.why.substr(0, 48)) {
        const bool word = std::isalnum(static_cast<unsigned char>(letter)) != 0;
        if (word) {
            name += letter;
        } else if (name.back() != '_') {
            name += '_';
        }
    }
    while (name.back() == '_') name.pop_back();
    return name;
}

INSTANTIATE_TEST_SUITE_P(Golden, TvServiceState, ::testing::ValuesIn(States()), StateName);

// The state file is read again when it changes; one that is not JSON gives the defaults.
TEST(TvServiceStateFile, ChangesAreSeenAndBrokenFilesGiveDefaults) {
    sim_state_file::WriteTvService(R"({"tv_mode": 4})");
    EXPECT_EQ(Answers()["tv_mode"], 4);
    sim_state_file::Write("{ not json");
    EXPECT_EQ(Answers()["tv_mode"], 1);
    for (const char* not_an_object : {"[1]", "5"}) {
        test_support::LogCapture log;
        sim_state_file::Write(not_an_object);
        EXPECT_EQ(Answers()["tv_mode"], 1);
        EXPECT_NE(log.Text().find("not a JSON object"), std::string::npos) << not_an_object;
    }
    sim_state_file::WriteTvService(R"({"tv_mode": 5})");
    EXPECT_EQ(Answers()["tv_mode"], 5);
    sim_state_file::UsePath(sim_state_file::Directory() + "/missing.json");
    EXPECT_EQ(Answers()["tv_mode"], 1);
    sim_state_file::Unset();
}

}  // namespace
