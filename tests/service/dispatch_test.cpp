// The dispatcher: the reply envelope, the method table and the log lines around each request.
#include <gmock/gmock.h>

#include "handler_fixture.h"

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

// A "method" that asString converts (a number, a boolean) simply matches no name.
TEST_F(DispatchTest, UnknownMethodsKeepTheEmptyAnswer) {
    const Json::Value methods[] = {
        "sizeofaudio", "SizeOfAudio ", "", "GetPid", "SendPMTdata", 7, -1.5, true};
    for (const Json::Value& method : methods) {
        SCOPED_TRACE(method.toStyledString());
        Json::Value body;
        body["method"] = method;
        Ondrel::TCMessage reply = Dispatch(body);
        Json::Value only_default;
        only_default["return_data"] = "";
        EXPECT_EQ(reply.body, only_default);
        const auto log = TakeLog();
        ASSERT_EQ(log.size(), 3u);
        EXPECT_EQ(log[1], "E:There is no matched method");
        EXPECT_EQ(log[2], "I:ret_data = ");
    }
}

TEST_F(DispatchTest, MissingMethodIsUnknown) {
    Json::Value body;
    body["data"] = 1;
    Ondrel::TCMessage reply = Dispatch(body);
    EXPECT_EQ(reply.body["return_data"], Json::Value(""));
    EXPECT_EQ(TakeLog()[1], "E:There is no matched method");

    reply = Dispatch(Json::Value());  // a null body: no method at all
    EXPECT_EQ(reply.body["return_data"], Json::Value(""));
    EXPECT_EQ(TakeLog()[1], "E:There is no matched method");
}

TEST_F(DispatchTest, WrongKindsGetTheUnknownMethodAnswerAndOneErrorLine) {
    Json::Value object_method;
    object_method["method"]["name"] = "SizeOfAudio";
    Json::Value array_body(Json::arrayValue);
    array_body.append("SizeOfAudio");
    Json::Value array_method;
    array_method["method"].append("SizeOfAudio");

    const struct {
        Json::Value body;
        const char* error;
    } cases[] = {
        {object_method, "E:There is no matched method: \"method\" is an object, not a string"},
        {array_method, "E:There is no matched method: \"method\" is an array, not a string"},
        {array_body, "E:There is no matched method: the request body is an array, not an object"},
        {Json::Value(12),
         "E:There is no matched method: the request body is a signed integer, "
         "not an object"},
        {Json::Value("SizeOfAudio"),
         "E:There is no matched method: the request body is a string, not an object"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.error);
        Ondrel::TCMessage reply = Dispatch(c.body);
        EXPECT_EQ(reply.body["return_data"], Json::Value(""));
        EXPECT_FALSE(reply.body.isMember("call_api_success"));
        const auto log = TakeLog();
        ASSERT_EQ(log.size(), 3u);
        EXPECT_EQ(log[1], c.error);
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

TEST_F(DispatchTest, FiniTwiceIsHarmless) {
    TrevaloServiceServer::FiniTrevaloServiceServer();
    TrevaloServiceServer::FiniTrevaloServiceServer();
    EXPECT_EQ(TrevaloServiceServer::vidList, nullptr);
    EXPECT_EQ(TrevaloServiceServer::audList, nullptr);
    EXPECT_EQ(TrevaloServiceServer::sbtList, nullptr);
    EXPECT_TRUE(TakeLog().empty());
}
