// The dispatcher: the reply envelope, the method table and the log lines around each request.
#include <gmock/gmock.h>

#include "handler_fixture.h"
#include "test_data.h"

using ::testing::ElementsAre;
using ::testing::StartsWith;

using DispatchTest = HandlerTest;

TEST_F(DispatchTest, LogsTheRequestThenTheAnswer) {
    Ondrel::TCMessage reply = Dispatch(Method("SizeOfVideo"));
    EXPECT_EQ(reply.body["return_data"], Json::Value(0u));
    const auto log = TakeLog();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_THAT(log[0], StartsWith("I:IfMessageReceived!! message: [from::1.42] [rsp:0x"));
    EXPECT_THAT(log[0], testing::EndsWith("[message:{\"method\":\"SizeOfVideo\"}]"));
    EXPECT_EQ(log[1], "I:Size of Video is 0");
    EXPECT_EQ(log[2], "I:ret_data = 0");
}

// tests/data/unmatched_requests.json: "method" names that match nothing (a number or a boolean,
// which asString converts, included) and bodies of the wrong kind or without a method.
TEST_F(DispatchTest, UnmatchedRequestsGetTheEmptyAnswerAndOneErrorLine) {
    const Json::Value unmatched =
        test_support::ReadJsonFile(test_support::GoldenPath("unmatched_requests.json"));
    std::vector<std::pair<Json::Value, std::string>> cases;
    for (const Json::Value& method : unmatched["methods"]) {
        Json::Value body;
        body["method"] = method;
        cases.emplace_back(body, "E:There is no matched method");
    }
    for (const Json::Value& c : unmatched["bodies"])
        cases.emplace_back(c["body"], c["error"].asString());
    Json::Value only_default;
    only_default["return_data"] = "";
    for (const auto& [body, error] : cases) {
        SCOPED_TRACE(body.toStyledString());
        EXPECT_EQ(Dispatch(body).body, only_default);
        const auto log = TakeLog();
        ASSERT_EQ(log.size(), 3u);
        EXPECT_EQ(log[1], error);
        EXPECT_EQ(log[2], "I:ret_data = ");
    }
    // And the next request is served.
    EXPECT_EQ(Dispatch(Method("SizeOfAudio")).body["return_data"], Json::Value(0u));
}

TEST_F(DispatchTest, SignalMethodRunsNoHandler) {
    // No server is open in this process, so the signal has nowhere to go; the reply and the log
    // are those of a relayed request (the bus-level test sees the signal itself).
    AddAudio(100, 1);
    Ondrel::TCMessage reply = Dispatch(Method("SendPESDataWithFirstPTS", 90000));
    EXPECT_EQ(reply.body["return_data"], Json::Value(""));
    const auto log = TakeLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], "I:ret_data = ");
    EXPECT_EQ(TrevaloServiceServer::audList->size(), 1u);
}

TEST_F(DispatchTest, OnCreateAndOnTerminateRefuseANullObject) {
    EXPECT_FALSE(TrevaloService::OnCreate(nullptr));
    TrevaloService::OnTerminate(nullptr);
    EXPECT_THAT(TakeLog(), ElementsAre("E:app Base is NULL", "E:app Base is NULL"));
    EXPECT_NE(TrevaloServiceServer::audList, nullptr);  // OnTerminate(nullptr) touched nothing
}
