// Exit statuses and error lines when the client cannot do what it is asked: bad usage, input it
// cannot read, no bus, a bus without the service. Also --help.
#include <gmock/gmock.h>

#include "bus_fixture.h"
#include "cli_process.h"

namespace {

using cli_test::CliOptions;
using cli_test::CliResult;
using cli_test::RunCli;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kCapture = std::string(TREVALO_TESTDATA_DIR) + "/ts/avc-aac-eac3.ts";

CliOptions OnBus(const test_support::PrivateBus& bus) {
    CliOptions options;
    options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus.Address()};
    return options;
}

// One line on stderr, naming the client.
void ExpectOneErrorLine(const CliResult& result) {
    EXPECT_THAT(result.err, StartsWith("trevalo-cli: "));
    EXPECT_THAT(result.err, EndsWith("\n"));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

TEST(ExitStatus, BadUsageIs2WithAPointerToHelp) {
    const std::vector<std::vector<std::string>> misuses = {
        {},
        {"frobnicate"},
        {"--verbose", "catalogue"},
        {"--bus"},
        {"catalogue", "extra"},
        {"catalogue", "--xml"},
        {"pid"},
        {"pid", "x"},
        {"pid", "256"},
        {"pid", "-1"},
        {"pid", "1", "2"},
        {"time"},
        {"time", "tick"},
        {"time", "save"},
        {"time", "save", "-1"},
        {"time", "save", "4294967296"},
        {"time", "save", "1.5"},
        {"call"},
        {"call", "A", "B"},
        {"call", "SizeOfAudio", "--data", "{\"unclosed\":"},
        {"call", "SizeOfAudio", "--data"},
        {"pmt"},
        {"pmt", kCapture, kCapture},
        {"pmt", kCapture, "--program", "0"},
        {"pmt", kCapture, "--program", "65536"},
        {"pmt", kCapture, "--program", "one"},
        {"listen", "now"},
        {"programmes"},
        {"call", "SizeOfAudio", "--data", std::string(2000, '[') + std::string(2000, ']')},
    };
    // A bus is there, so that nothing but the usage can be the reason.
    test_support::PrivateBus bus;
    for (const auto& arguments : misuses) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        const CliResult result = RunCli(arguments, OnBus(bus));
        EXPECT_EQ(result.status, 2);
        ExpectOneErrorLine(result);
        EXPECT_THAT(result.err, HasSubstr("--help')"));
        EXPECT_EQ(result.err.find("--help"), result.err.rfind("--help")) << "one hint";
        EXPECT_EQ(result.out, "");
    }
}

TEST(ExitStatus, InputThatCannotBeReadIs2) {
    test_support::PrivateBus bus;
    const std::vector<std::vector<std::string>> unreadable = {
        {"pmt", "/nonexistent/recording.ts"},
        {"pmt", "/tmp"},
        {"call", "SendPMTData", "--buffer-file", "/nonexistent/section.bin"},
    };
    for (const auto& arguments : unreadable) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        const CliResult result = RunCli(arguments, OnBus(bus));
        EXPECT_EQ(result.status, 2);
        ExpectOneErrorLine(result);
        EXPECT_THAT(result.err, ::testing::AnyOf(HasSubstr("cannot open"), HasSubstr("directory")));
    }
}

TEST(ExitStatus, NoBusIs2) {
    CliResult result = RunCli({"catalogue"});  // no DBUS_SESSION_BUS_ADDRESS, no --bus
    EXPECT_EQ(result.status, 2);
    ExpectOneErrorLine(result);
    EXPECT_THAT(result.err, HasSubstr("DBUS_SESSION_BUS_ADDRESS"));

    result = RunCli({"--bus", "unix:path=/nonexistent/bus", "time", "get"});
    EXPECT_EQ(result.status, 2);
    ExpectOneErrorLine(result);
    EXPECT_THAT(result.err, HasSubstr("cannot connect"));
}

TEST(ExitStatus, NoServiceOnTheBusIs2ForEveryCommand) {
    test_support::PrivateBus bus;
    const std::vector<std::vector<std::string>> commands = {
        {"catalogue"},     {"catalogue", "--json"},       {"pid", "1"},
        {"time", "get"},   {"time", "save", "5"},         {"call", "SizeOfAudio"},
        {"pmt", kCapture}, {"pmt", kCapture, "--follow"},
    };
    for (const auto& arguments : commands) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        // --bus given after the command; the environment names no bus.
        std::vector<std::string> words = arguments;
        words.insert(words.end(), {"--bus", bus.Address()});
        const CliResult result = RunCli(words);
        EXPECT_EQ(result.status, 2);
        ExpectOneErrorLine(result);
        EXPECT_THAT(result.err, HasSubstr("no answer from org.ondrel.TCServer.trevalo_service"));
        EXPECT_THAT(result.err, HasSubstr("ServiceUnknown"));
    }
}

TEST(ExitStatus, HelpIs0AndDescribesEachCommand) {
    CliResult result = RunCli({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(RunCli({"-h"}).out, result.out);
    for (const char* command :
         {"call", "catalogue", "pid", "time", "pmt", "programmes", "listen"}) {
        EXPECT_THAT(result.out, HasSubstr("\n  " + std::string(command)));
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {command, "--help"}, {command, "-h"}, {"--help", command}}) {
            const CliResult help = RunCli(words);
            EXPECT_EQ(help.status, 0) << command;
            EXPECT_THAT(help.out,
                        StartsWith("Usage: trevalo-cli [--bus ADDRESS] " + std::string(command)));
            EXPECT_EQ(help.err, "");
        }
    }
}

}  // namespace
