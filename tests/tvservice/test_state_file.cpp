// The simulated state as a file: changed under a running process, or not usable at all.
#include <gtest/gtest.h>

#include "sim_state_file.h"
#include "tv_service_steps.h"

namespace {

using namespace tv_steps;

class TvServiceStateFile : public ::testing::Test {
  protected:
    void TearDown() override { sim_state_file::Unset(); }

    static int CurrentTvMode() {
        IServiceNavigation* navigation = Navigation();
        return navigation != nullptr ? QueryTvMode(*navigation).mode.mode[0] : -1;
    }
};

TEST_F(TvServiceStateFile, ChangesAreSeenByTheNextCall) {
    sim_state_file::WriteTvService(R"({"tv_mode": 2})");
    EXPECT_EQ(CurrentTvMode(), 2);
    EXPECT_EQ(CurrentTvMode(), 2);

    // Same size as before: only the file's identity tells the versions apart.
    sim_state_file::WriteTvService(R"({"tv_mode": 3})");
    EXPECT_EQ(CurrentTvMode(), 3);

    sim_state_file::WriteTvService(R"({"fail": "navigation"})");
    EXPECT_EQ(Navigation(), nullptr);

    sim_state_file::WriteTvService("{}");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceStateFile, ObjectsInHandAnswerFromTheNewState) {
    sim_state_file::WriteTvService(R"({"current_audio": {"index": 1}})");
    IAVControl* avControl = AVControl();
    ASSERT_NE(avControl, nullptr);
    EXPECT_EQ(QueryCurrentAudio(*avControl).index, 1);

    sim_state_file::WriteTvService(R"({"current_audio": {"index": 4}})");
    EXPECT_EQ(QueryCurrentAudio(*avControl).index, 4);
}

TEST_F(TvServiceStateFile, NotJsonGivesDefaults) {
    sim_state_file::Write("this is not JSON {");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceStateFile, EmptyFileGivesDefaults) {
    sim_state_file::Write("");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceStateFile, JsonOtherThanAnObjectGivesDefaults) {
    sim_state_file::Write(R"([{"tv_service": {"tv_mode": 2}}])");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceStateFile, UnreadableFileGivesDefaults) {
    sim_state_file::UsePath(sim_state_file::Directory());  // a directory reads as nothing
    ExpectDefaultAnswers();
}

TEST_F(TvServiceStateFile, MissingFileGivesDefaults) {
    sim_state_file::UsePath(sim_state_file::Directory() + "/absent.json");
    ExpectDefaultAnswers();
}

TEST_F(TvServiceStateFile, ValidFileAfterBrokenOneIsUsed) {
    sim_state_file::Write("{\"tv_service\": {\"tv_mode\": ");
    EXPECT_EQ(CurrentTvMode(), 1);
    sim_state_file::WriteTvService(R"({"tv_mode": 5})");
    EXPECT_EQ(CurrentTvMode(), 5);
}

}  // namespace
