// The records made from video, audio and private PES streams, and the TV-service lookups behind
// the audio ones, over the hand-built sections of tests/data/built_sections.json: each gives its
// streams and descriptors, the TV-service state, the members its records must have and the log
// lines it must write.
#include <gmock/gmock.h>

#include "pmt_fixture.h"
#include "test_data.h"

namespace {

using namespace pmt_test;

uint8_t U8(const Json::Value& value) {
    return static_cast<uint8_t>(value.asUInt());
}
uint16_t U16(const Json::Value& value) {
    return static_cast<uint16_t>(value.asUInt());
}

// ["identifier", tag], ["ca", system, pid], ["raw", tag, [bytes]], ["language", [[code, type]]],
// ["subtitling", [[code, type, composition, ancillary]]], ["teletext", [[code, type, mag, page]]].
Bytes DescriptorOf(const Json::Value& form) {
    const std::string kind = form[0].asString();
    const Json::Value& first = form[1];
    if (kind == "identifier") return StreamIdentifier(U8(first));
    if (kind == "ca") return CA(U16(first), U16(form[2]));
    if (kind == "raw") {
        Bytes payload;
        for (const Json::Value& byte : form[2]) payload.push_back(U8(byte));
        return Descriptor(U8(first), payload);
    }
    if (kind == "language") {
        std::vector<LanguageEntry> entries;
        for (const Json::Value& e : first) entries.push_back({e[0].asString(), U8(e[1])});
        return Language(entries);
    }
    if (kind == "subtitling") {
        std::vector<SubtitlingEntry> entries;
        for (const Json::Value& e : first)
            entries.push_back({e[0].asString(), U8(e[1]), U16(e[2]), U16(e[3])});
        return Subtitling(entries);
    }
    std::vector<TeletextEntry> entries;
    for (const Json::Value& e : first)
        entries.push_back({e[0].asString(), U8(e[1]), U8(e[2]), U8(e[3])});
    EXPECT_EQ(kind, "teletext");
    return Teletext(entries);
}

class BuiltSection : public PmtHandlerTest, public ::testing::WithParamInterface<Json::Value> {};

TEST_P(BuiltSection, GivesItsRecordsAndLogLines) {
    const Json::Value& given = GetParam();
    if (given.isMember("tv_service")) SetTvService(given["tv_service"].toStyledString());
    PmtBuilder builder;
    for (const Json::Value& stream : given["streams"]) {
        std::vector<Bytes> descriptors;
        for (const Json::Value& form : stream["descriptors"])
            descriptors.push_back(DescriptorOf(form));
        builder.Stream(U8(stream["type"]), U16(stream["pid"]), descriptors);
    }
    ASSERT_EQ(SendPmt(builder.Build()), Json::Value(0));
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
