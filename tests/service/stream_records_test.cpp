// The records made from video, audio and private PES streams, and the TV-service lookups behind
// the audio ones, over the hand-built sections of tests/data/built_sections.json: each gives its
// streams and descriptors, the TV-service state, the members its records must have and the log
// lines it must write.
#include <gmock/gmock.h>

#include "pmt_fixture.h"
#include "test_data.h"

namespace {

class BuiltSection : public PmtHandlerTest, public ::testing::WithParamInterface<Json::Value> {};

TEST_P(BuiltSection, GivesItsRecordsAndLogLines) {
    const Json::Value& given = GetParam();
    if (given.isMember("tv_service")) SetTvService(given["tv_service"].toStyledString());
    ASSERT_EQ(SendPmt(test_support::SectionFromJson(given)), Json::Value(0));
    const std::vector<std::string> log = TakeLog();

    const Json::Value lists = test_support::ParseJson(
        Dispatch(Method("GetCatalogue")).body["return_data"].toStyledString());
    for (const char* kind : {"video", "audio", "subtitle"}) {
        if (!given.isMember(kind)) continue;
        const Json::Value& expected = given[kind];
        ASSERT_EQ(lists[kind].size(), expected.size()) << kind;
        for (Json::ArrayIndex index = 0; index < expected.size(); ++index) {
            for (const std::string& member : expected[index].getMemberNames()) {
                EXPECT_EQ(lists[kind][index][member], expected[index][member])
                    << kind << " " << index << " " << member;
            }
        }
    }
    for (const std::string& needle : given["log"].getMemberNames()) {
        std::vector<std::string> lines;
        for (const Json::Value& line : given["log"][needle]) lines.push_back(line.asString());
        EXPECT_EQ(Matching(log, needle), lines);
    }
    for (const std::string& needle : given["log_count"].getMemberNames()) {
        EXPECT_EQ(Matching(log, needle).size(), given["log_count"][needle].asUInt()) << needle;
    }
}

std::vector<Json::Value> BuiltSections() {
    const Json::Value all =
        test_support::ReadJsonFile(test_support::GoldenPath("built_sections.json"));
    return std::vector<Json::Value>(all.begin(), all.end());
}

INSTANTIATE_TEST_SUITE_P(Golden, BuiltSection, ::testing::ValuesIn(BuiltSections()),
                         [](const auto& info) { return info.param["name"].asString(); });

}  // namespace
