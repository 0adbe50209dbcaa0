// The size, entry and PID queries over a catalogue filled by hand.
#include <gmock/gmock.h>

#include "handler_fixture.h"
#include "test_data.h"

using ::testing::ElementsAre;

using CatalogueQueryTest = HandlerTest;

namespace {

// The entry object inside an entry query's "return_data" text.
Json::Value Entry(const Ondrel::TCMessage& reply) {
    EXPECT_TRUE(reply.body["return_data"].isString());
    return test_support::ParseJson(reply.body["return_data"].asString());
}

// The member names of an object in the order they appear in its text.
std::vector<std::string> MemberOrder(const std::string& text) {
    std::vector<std::string> names;
    size_t at = 0;
    while ((at = text.find("\n\t\"", at)) != std::string::npos) {
        at += 3;
        names.push_back(text.substr(at, text.find('"', at) - at));
    }
    return names;
}

}  // namespace

TEST_F(CatalogueQueryTest, EntryTextIsTheStyledObject) {
    AddVideo(0x1FF, 7, 0xFFFF);
    Ondrel::TCMessage reply = Dispatch(Method("GetVideo", 0));
    Json::Value expected;
    expected["pid"] = 0x1FF;
    expected["encoding"] = 1;
    expected["encrypted"] = true;
    expected["comp_tag"] = 7;
    expected["ca_sid"] = 65535;  // the unsigned 16-bit value, never negative
    expected["aspect_ratio"] = 100;
    EXPECT_EQ(reply.body["return_data"], Json::Value(expected.toStyledString()));
    EXPECT_TRUE(Entry(reply)["ca_sid"].isInt());
}

TEST_F(CatalogueQueryTest, SubtitleEntryLogsItsFieldsAloneAtErrorPriority) {
    AddSubtitle(0x300, 9, "fin");
    AddSubtitle(0x301, 255, "swe");
    TakeLog();
    Ondrel::TCMessage reply = Dispatch(Method("GetSubtitle", 1));
    const Json::Value entry = Entry(reply);
    EXPECT_EQ(entry["pid"], Json::Value(0x301));
    EXPECT_EQ(entry["lang"], Json::Value("swe"));
    EXPECT_EQ(entry["comp_tag"], Json::Value(255));
    EXPECT_EQ(entry["encrypted"], Json::Value(false));
    EXPECT_EQ(entry["hearing_impaired"], Json::Value(false));
    EXPECT_THAT(MemberOrder(reply.body["return_data"].asString()),
                ElementsAre("comp_tag", "encrypted", "hearing_impaired", "lang", "pid"));
    const auto log = TakeLog();
    ASSERT_EQ(log.size(), 6u);
    EXPECT_EQ(log[1], "I:Get Subtitle");
    EXPECT_EQ(log[2], "I:Received index is 1");
    EXPECT_EQ(log[3], "E:Get Subtitle of index 1 are 769 0 255 swe 0");
    EXPECT_EQ(log[4], "I:Get Subtitle");
}

TEST_F(CatalogueQueryTest, MissingDataReadsIndexZero) {
    AddVideo(0x44, 1);
    Ondrel::TCMessage reply = Dispatch(Method("GetVideo"));
    EXPECT_EQ(Entry(reply)["pid"], Json::Value(0x44));
}

TEST_F(CatalogueQueryTest, IndexAtOrPastTheEndLeavesTheReplyAlone) {
    AddAudio(1, 1);
    AddAudio(2, 2);
    AddAudio(3, 3);
    EXPECT_EQ(Entry(Dispatch(Method("GetAudio", 2)))["pid"], Json::Value(3));
    TakeLog();
    for (const Json::Value& index : {Json::Value(3), Json::Value(4000000000u)}) {
        Ondrel::TCMessage reply = Dispatch(Method("GetAudio", index));
        EXPECT_EQ(reply.body["return_data"], Json::Value(""));
        EXPECT_FALSE(reply.body.isMember("call_api_success"));
    }
    EXPECT_THAT(TakeLog(),
                ElementsAre(testing::_, "I:Get Audio", "I:Received index is 3", "E:invalid index",
                            "I:ret_data = ", testing::_, "I:Get Audio",
                            "I:Received index is -294967296", "E:invalid index", "I:ret_data = "));
    // An empty list refuses every index.
    EXPECT_EQ(Dispatch(Method("GetSubtitle", 0)).body["return_data"], Json::Value(""));
}

TEST_F(CatalogueQueryTest, IndexOfTheWrongKindIsAnInvalidIndex) {
    AddAudio(1, 1);
    Json::Value object_data;
    object_data["index"] = 0;
    const Json::Value bad[] = {Json::Value(-1), Json::Value("0"), Json::Value(Json::arrayValue),
                               object_data, Json::Value(-0.5e10)};
    for (const char* method : {"GetAudio", "GetVideo", "GetSubtitle"}) {
        for (const Json::Value& data : bad) {
            SCOPED_TRACE(std::string(method) + " " + data.toStyledString());
            Ondrel::TCMessage reply = Dispatch(Method(method, data));
            EXPECT_EQ(reply.body["return_data"], Json::Value(""));
            EXPECT_FALSE(reply.body.isMember("call_api_success"));
            const auto log = TakeLog();
            ASSERT_EQ(log.size(), 4u);
            EXPECT_THAT(log[2], testing::StartsWith("E:invalid index: \"data\" is "));
            EXPECT_EQ(log[3], "I:ret_data = ");
        }
    }
    EXPECT_EQ(Entry(Dispatch(Method("GetAudio", 0)))["pid"], Json::Value(1));
}

// tests/data/pid_lookups.json: one catalogue, and what GetPID answers and logs for each tag.
TEST_F(CatalogueQueryTest, PidLookupsAnswerAndLogAsTheDataSays) {
    const Json::Value lookups =
        test_support::ReadJsonFile(test_support::GoldenPath("pid_lookups.json"));
    const auto pid = [](const Json::Value& pair) { return static_cast<int16_t>(pair[0].asInt()); };
    const auto tag = [](const Json::Value& pair) { return static_cast<uint8_t>(pair[1].asUInt()); };
    for (const Json::Value& pair : lookups["catalogue"]["audio"]) AddAudio(pid(pair), tag(pair));
    for (const Json::Value& pair : lookups["catalogue"]["subtitle"])
        AddSubtitle(pid(pair), tag(pair));
    for (const Json::Value& pair : lookups["catalogue"]["video"]) AddVideo(pid(pair), tag(pair));
    for (const Json::Value& ask : lookups["asks"]) {
        SCOPED_TRACE(ask.toStyledString());
        TakeLog();
        const Json::Value body =
            ask.isMember("data") ? Method("GetPID", ask["data"]) : Method("GetPID");
        EXPECT_EQ(Dispatch(body).body["return_data"], ask["answer"]);
        if (!ask.isMember("log")) continue;
        const std::vector<std::string> log = TakeLog();
        ASSERT_EQ(log.size(), ask["log"].size() + 1);
        for (Json::ArrayIndex i = 0; i < ask["log"].size(); ++i) {
            const std::string line = ask["log"][i].asString();
            if (!line.empty() && line.back() == '*') {
                EXPECT_THAT(log[i + 1], testing::StartsWith(line.substr(0, line.size() - 1)));
            } else {
                EXPECT_EQ(log[i + 1], line);
            }
        }
    }
}
