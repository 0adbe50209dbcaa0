// Exit statuses and error lines when the client cannot do what it is asked, from
// tests/data/cli_failures.json: bad usage, input it cannot read, no bus, a bus without the
// service. Also --help.
#include <gmock/gmock.h>

#include "child_process.h"
#include "private_bus.h"
#include "test_data.h"

namespace {

using test_support::ChildResult;
using test_support::RunCli;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(ExitStatus, EveryFailureIs2WithOneErrorLine) {
    const Json::Value failures =
        test_support::ReadJsonFile(test_support::GoldenPath("cli_failures.json"));
    const std::string capture = test_support::TestDataPath("ts/avc-aac-eac3.ts");
    test_support::PrivateBus bus;
    for (const std::string& kind : failures.getMemberNames()) {
        const Json::Value& failure = failures[kind];
        if (!failure.isObject()) continue;
        test_support::ChildOptions options;
        // Without a session bus the client turns to the system bus: none there either.
        options.environment = {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/system-bus"};
        if (failure["bus"] == "empty")
            options.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.Address());
        for (const Json::Value& command : failure["commands"]) {
            std::vector<std::string> words;
            for (const Json::Value& word : command) {
                words.push_back(word == "CAPTURE" ? capture : word.asString());
            }
            if (failure["bus"] == "after") words.insert(words.end(), {"--bus", bus.Address()});
            SCOPED_TRACE(kind + ": " + ::testing::PrintToString(words));
            const ChildResult result = RunCli(words, options);
            EXPECT_EQ(result.status, 2);
            EXPECT_THAT(result.err, StartsWith("trevalo-cli: "));
            EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
            EXPECT_EQ(result.err.back(), '\n');
            for (const Json::Value& text : failure["says"]) {
                EXPECT_THAT(result.err, HasSubstr(text.asString()));
                EXPECT_EQ(result.err.find(text.asString()), result.err.rfind(text.asString()))
                    << "said once";
            }
            EXPECT_EQ(result.out, "");
        }
    }
}

TEST(ExitStatus, HelpIs0AndDescribesEachCommand) {
    ChildResult result = RunCli({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(RunCli({"-h"}).out, result.out);
    for (const char* command :
         {"call", "catalogue", "pid", "time", "pmt", "programmes", "listen", "watch"}) {
        EXPECT_THAT(result.out, HasSubstr("\n  " + std::string(command)));
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {command, "--help"}, {command, "-h"}, {"--help", command}}) {
            const ChildResult help = RunCli(words);
            EXPECT_EQ(help.status, 0) << command;
            EXPECT_THAT(help.out,
                        StartsWith("Usage: trevalo-cli [--bus ADDRESS | --system | --session] "
                                   "[--timeout SECONDS] " +
                                   std::string(command)));
            EXPECT_EQ(help.err, "");
        }
    }
}

}  // namespace
