// trevalo-cli select against the real service: the choice and its reasons as text and as JSON
// for preferences given in every option, and the usage errors it refuses before calling.
#include <gmock/gmock.h>

#include "child_process.h"
#include "service_on_bus.h"
#include "test_data.h"

namespace {

class CliSelect : public ServiceOnBus {
  protected:
    test_support::ChildResult Cli(const std::vector<std::string>& arguments) {
        test_support::ChildOptions options;
        options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus_->Address()};
        return test_support::RunCli(arguments, options);
    }
};

TEST_F(CliSelect, PrintsTheChoiceForTheOptionsGiven) {
    StartService();
    Call(R"({"method":"SendPMTData","data":{"reset":true,"programNum":1045}})",
         test_support::ReadTestData("pmt/test-059.2.p1045.v1.0.sec"));
    const struct {
        std::vector<std::string> arguments;
        const char* out;
    } cases[] = {
        {{"select", "--audio-lang", "fre"},
         "audio     #0  PID 430 (0x01AE)  Main audio in fra, the first preferred language.\n"
         "subtitle  none  The audio is already in fra.\n"},
        {{"select", "--audio-lang", "eng,FRA", "--ad", "--subtitles=on", "--json"},
         R"({"audio":1,"audio_pid":431,"audio_reason":"Audio description in fra, the second )"
         R"(preferred language.","subtitle":1,"subtitle_pid":441,"subtitle_reason":"Subtitles )"
         R"(in fra, the second preferred language."})"
         "\n"},
        {{"select", "--audio-lang", "qaa", "--subtitle-lang", "fra", "--hoh", "--multichannel"},
         "audio     #2  PID 432 (0x01B0)  Main audio in qaa, the first preferred language.\n"
         "subtitle  #0  PID 440 (0x01B8)  Subtitles for the hard of hearing in fra, the first "
         "preferred language.\n"},
        {{"select", "--subtitles", "off"},
         "audio     #0  PID 430 (0x01AE)  Main audio in fra.\n"
         "subtitle  none  Subtitles are off.\n"},
    };
    // The catalogue's ROLE column, from the same catalogue interface.
    EXPECT_THAT(Cli({"catalogue"}).out,
                ::testing::HasSubstr("  qad   audio-description, stereo, broadcast mix\n"));
    for (const auto& c : cases) {
        const test_support::ChildResult result = Cli(c.arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, c.out) << c.arguments.back();
    }
}

TEST_F(CliSelect, RefusesBadPreferencesAsUsageErrors) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"select", "extra"},
                                               {"select", "--audio-lang", "en"},
                                               {"select", "--audio-lang", "fra,"},
                                               {"select", "--subtitle-lang", "d\xC3\xA9u"},
                                               {"select", "--subtitles", "maybe"},
                                               {"select", "--subtitles"}}) {
        const test_support::ChildResult result = Cli(arguments);
        EXPECT_EQ(result.status, 2) << arguments.back();
        EXPECT_THAT(result.err, ::testing::StartsWith("trevalo-cli: select: "));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

}  // namespace
