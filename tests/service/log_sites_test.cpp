// Every log line names the place that wrote it: over a request mix that reaches every handler,
// the PMT path with its private streams and TV-service lookups, and their failures, each line's
// "<file>: <function>(<line>) > [<function>:<line>]" is read against the source: the line lies
// in a logging call of the line's priority whose format the message starts with.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>

#include "pmt_fixture.h"
#include "test_data.h"

using namespace pmt_test;

namespace {

// The lines of src/<file>; [0] is line 1.
std::vector<std::string> Source(const std::string& file) {
    std::istringstream text(test_support::ReadText(std::string(TREVALO_SOURCE_DIR) + "/" + file));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

// The logging call spanning line `number` (GCC names a call of several lines by its first line,
// Clang by its last): its first line, its priority letter and its format up to the first
// conversion. False when no call spans the line.
bool CallAt(const std::vector<std::string>& lines, size_t number, size_t& first, char& priority,
            std::string& format) {
    for (first = number; first >= 1 && number - first < 4; --first) {
        const size_t macro = lines[first - 1].find("TREVALO_LOG");
        if (macro == std::string::npos) continue;
        std::string call = lines[first - 1];
        size_t last = first;
        while (call.find(");") == std::string::npos && last < lines.size()) call += lines[last++];
        if (last < number) return false;
        priority = call[macro + std::strlen("TREVALO_LOG")];
        format.clear();
        for (size_t at = call.find('"', macro) + 1; call[at] != '"' && call[at] != '%'; ++at) {
            const bool escaped = call[at] == '\\' && ++at < call.size();
            format += escaped && call[at] == 'n' ? '\n' : call[at];
        }
        return true;
    }
    return false;
}

TEST_F(PmtHandlerTest, EveryLogLineNamesTheCallThatWroteIt) {
    const Bytes section =
        PmtBuilder()
            .Stream(0x1B, 0x100, {StreamIdentifier(1), CA(0x0B00, 0x1FF0), Descriptor(0x45, {})})
            .Stream(0x03, 0x101, {Language({{"fra", 0}})})
            .Stream(0x06, 0x102,
                    {StreamIdentifier(3), Descriptor(0x6A, {0x00}), Language({{"eng", 0}})})
            .Stream(0x06, 0x103,
                    {Subtitling({{"fin", 0x10, 1, 1}}), StreamIdentifier(5),
                     Teletext({{"swe", 2, 1, 0}, {"nor", 1, 1, 0}})})
            .Stream(0x06, 0x104, {Descriptor(0x7A, {0x00}), CA(0x0B00, 0x1FF1)})
            .Stream(0x05, 0x105)
            .Stream(0x24, 0x106)
            .Build();
    { const TrevaloService another; }  // its constructor's and destructor's lines
    TrevaloService::OnCreate(nullptr);
    TrevaloService::OnTerminate(nullptr);
    for (const char* fail : {"navigation", "criteria", "service_info", "av_control",
                             "current_audio", "audio_query", ""}) {
        SetTvService(std::string("{\"fail\": \"") + fail + "\"}");
        SendPmt(section);
    }
    Bytes bad_crc = section;
    bad_crc.back() ^= 0x01;
    SendPmt(bad_crc);
    SendPmt(section, 2, true);
    for (const Json::Value& data : {Json::Value(0), Json::Value(99), Json::Value("x")}) {
        for (const char* method :
             {"SendPMTData", "SizeOfAudio", "SizeOfVideo", "SizeOfSubtitle", "GetAudio", "GetVideo",
              "GetSubtitle", "GetPID", "GetCatalogue"}) {
            Dispatch(Method(method, data));
        }
    }
    for (int tag : {1, 3, 5, 77}) Dispatch(Method("GetPID", tag));
    for (const char* setting : {R"({"709": null})", R"({"709": 20})"}) {
        sim_state_file::Write(std::string(R"({"system_info": )") + setting + "}");
        Dispatch(Method("GetCurrentVideoPlayingTime"));
    }
    Dispatch(Method("SaveCurrentVideoPlayingTime"), {1, 2, 3, 4});
    Dispatch(Method("SaveCurrentVideoPlayingTime"), {1, 2});
    for (const char* body : {R"({"method": "SendPESDataWithFirstPTS"})", R"({"method": "None"})",
                             R"({"method": []})", "[]"}) {
        Dispatch(test_support::ParseJson(body));
    }

    std::set<std::string> sites;
    std::istringstream text(log_->Text());
    for (std::string line; std::getline(text, line);) {
        if (line.find("/TREVALO_SERVICE(") == std::string::npos) continue;  // inside a message
        SCOPED_TRACE(line);
        char priority = 0, file[64] = "", function[64] = "", again[64] = "";
        size_t number = 0, number_again = 0;
        int message = 0;
        ASSERT_EQ(std::sscanf(line.c_str(),
                              "%c/TREVALO_SERVICE(%*d): %63[^:]: %63[^(](%zu) > [%63[^:]:%zu]%n",
                              &priority, file, function, &number, again, &number_again, &message),
                  6);
        EXPECT_EQ(std::string(again) + ":" + std::to_string(number_again),
                  std::string(function) + ":" + std::to_string(number));
        const std::vector<std::string> source = Source(file);
        ASSERT_LE(number, source.size()) << "not a line of src/" << file;
        size_t first = 0;
        char call_priority = 0;
        std::string format;
        ASSERT_TRUE(CallAt(source, number, first, call_priority, format)) << "no call there";
        EXPECT_EQ(call_priority, priority);
        EXPECT_THAT(line.substr(message), testing::StartsWith(" " + format));
        sites.insert(file + (":" + std::to_string(first)));
    }
    // Every logging call of the two files was reached, but those that need an open bus and the
    // one for a stream the parser cannot hand out.
    std::vector<std::string> not_reached;
    for (const char* file : {"TrevaloService.cpp", "TrevaloServiceServer.cpp"}) {
        const std::vector<std::string> source = Source(file);
        for (size_t number = 1, first = 0; number <= source.size(); ++number) {
            char priority = 0;
            std::string format;
            if (CallAt(source, number, first, priority, format) && first == number &&
                sites.count(file + (":" + std::to_string(number))) == 0) {
                not_reached.push_back(format);
            }
        }
    }
    EXPECT_THAT(not_reached, testing::UnorderedElementsAre(
                                 "Create DBus server fail!", "Trevalo service OnCreate \n",
                                 "Trevalo service OnTerminate \n", "NULL Pointer"));
}

}  // namespace
