// Every log line names the place that wrote it: over a request mix that reaches every handler,
// the PMT path with its private streams and TV-service lookups, and their failures, each line's
// "<file>: <function>(<line>) > [<function>:<line>]" prefix is read against the source. The file
// is in src/, the line lies inside a logging call of the line's priority whose format text the
// message starts with, and that call lies inside the function the prefix names.
#include <gmock/gmock.h>

#include <cctype>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "pmt_fixture.h"

using namespace pmt_test;

namespace {

using SourceLines = std::vector<std::string>;  // [0] is line 1

const SourceLines& Source(const std::string& file) {
    static std::map<std::string, SourceLines> files;
    auto found = files.find(file);
    if (found != files.end()) return found->second;
    SourceLines lines;
    std::ifstream in(std::string(TREVALO_SOURCE_DIR) + "/" + file);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return files.emplace(file, std::move(lines)).first->second;
}

// A logging call as the source spells it: its first and last line, its priority letter, and the
// literal part of its format text (up to the first conversion).
struct LogCall {
    size_t first = 0;
    size_t last = 0;
    char priority = '?';
    std::string format_prefix;
};

// The call whose text starts at line `first` (1-based); false when no logging call starts there.
bool CallAt(const SourceLines& lines, size_t first, LogCall& call) {
    static const std::string kMacro = "TREVALO_LOG";
    const size_t macro = lines[first - 1].find(kMacro);
    if (macro == std::string::npos || macro + kMacro.size() >= lines[first - 1].size())
        return false;
    call.first = first;
    call.priority = lines[first - 1][macro + kMacro.size()];
    std::string text;
    for (size_t at = first; at <= lines.size() && at < first + 10; ++at)
        text += lines[at - 1] + "\n";
    // Walks the call's text: adjacent string literals up to the first comma make the format.
    int depth = 0;
    bool in_format = true;
    std::string format;
    size_t line = first;
    for (size_t at = text.find('(', macro); at < text.size(); ++at) {
        const char c = text[at];
        if (c == '\n') ++line;
        if (c == '"') {
            std::string literal;
            for (++at; text[at] != '"'; ++at) {
                if (text[at] == '\\') {
                    const char escaped = text[++at];
                    literal += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
                } else {
                    literal += text[at];
                }
            }
            if (in_format) format += literal;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')' && --depth == 0) {
            call.last = line;
            call.format_prefix = format.substr(0, format.find('%'));
            return true;
        } else if (c == ',' && depth == 1) {
            in_format = false;
        }
    }
    return false;
}

// The logging call whose text spans line `number`: compilers name a call spread over several
// lines by its first line (GCC) or by its last (Clang).
bool CallSpanning(const SourceLines& lines, size_t number, LogCall& call) {
    for (size_t first = number; first >= 1 && number - first < 8; --first) {
        if (CallAt(lines, first, call)) return call.last >= number;
    }
    return false;
}

// The line that opens the definition enclosing line `number`: the nearest line above it that
// starts in the first column and declares something with a parameter list.
std::string EnclosingDefinition(const SourceLines& lines, size_t number) {
    for (size_t at = number; at >= 1; --at) {
        const std::string& line = lines[at - 1];
        if (line.empty() || std::isspace(static_cast<unsigned char>(line[0])) ||
            std::strchr("}/#", line[0]) != nullptr || line.find('(') == std::string::npos) {
            continue;
        }
        return line;
    }
    return std::string();
}

class LogSiteTest : public PmtHandlerTest {
  protected:
    void SendAll(const Bytes& section) {
        ASSERT_EQ(SendPmt(section), Json::Value(0));
        for (const char* method : {"SizeOfAudio", "SizeOfVideo", "SizeOfSubtitle", "GetAudio",
                                   "GetVideo", "GetSubtitle", "GetCatalogue"}) {
            Dispatch(Method(method, 0));
        }
        for (int tag : {1, 3, 5, 77}) Dispatch(Method("GetPID", tag));
    }
};

TEST_F(LogSiteTest, EveryLineNamesTheCallThatWroteIt) {
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
    {
        const TrevaloService another;  // its constructor's and destructor's lines
    }
    SendAll(section);
    EXPECT_FALSE(TrevaloService::OnCreate(nullptr));
    TrevaloService::OnTerminate(nullptr);
    for (const char* fail :
         {"navigation", "criteria", "service_info", "av_control", "current_audio", "audio_query"}) {
        SetTvService(std::string("{\"fail\": \"") + fail + "\"}");
        ASSERT_EQ(SendPmt(section), Json::Value(0));
    }
    Dispatch(Method("SendPMTData", "not an object"));
    Bytes bad_crc = section;
    bad_crc.back() ^= 0x01;
    SendPmt(bad_crc);
    SendPmt(section, 2, true);
    for (const char* method : {"GetAudio", "GetVideo", "GetSubtitle", "GetPID"}) {
        Dispatch(Method(method, "x"));
        Dispatch(Method(method, 99));
    }
    Dispatch(Method("SaveCurrentVideoPlayingTime"), {1, 2, 3, 4});
    Dispatch(Method("SaveCurrentVideoPlayingTime"), {1, 2});
    for (const char* setting :
         {R"({"system_info": {"709": null}})", R"({"system_info": {"709": 20}})"}) {
        sim_state_file::Write(setting);
        Dispatch(Method("GetCurrentVideoPlayingTime"));
    }
    Dispatch(Method("SendPESDataWithFirstPTS", 90000));
    Dispatch(Method("NoSuchMethod"));
    Dispatch(Json::Value(Json::arrayValue));
    Json::Value not_a_string;
    not_a_string["method"] = Json::Value(Json::objectValue);
    Dispatch(not_a_string);

    static const std::regex kLine(
        R"(^([A-Z])/TREVALO_SERVICE\(\d+\): ([^:]+): ([^(]+)\((\d+)\) > \[([^:]+):(\d+)\] (.*)$)");
    std::set<std::string> functions;
    std::set<std::string> sites;
    std::istringstream text(log_->Text());
    for (std::string line; std::getline(text, line);) {
        if (line.find("/TREVALO_SERVICE(") == std::string::npos) continue;  // inside a message
        SCOPED_TRACE(line);
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, kLine));
        const std::string file = parts[2];
        const std::string function = parts[3];
        const size_t number = std::stoul(parts[4]);
        EXPECT_EQ(parts[5].str(), function);
        EXPECT_EQ(std::stoul(parts[6]), number);
        const SourceLines& source = Source(file);
        ASSERT_FALSE(source.empty()) << "no src/" << file;
        ASSERT_LE(number, source.size());
        LogCall call;
        ASSERT_TRUE(CallSpanning(source, number, call)) << "no logging call at " << number;
        EXPECT_EQ(call.priority, parts[1].str()[0]);
        EXPECT_THAT(parts[7].str(), testing::StartsWith(call.format_prefix));
        EXPECT_THAT(EnclosingDefinition(source, call.first), testing::HasSubstr(function + "("));
        functions.insert(function);
        sites.insert(file + ":" + std::to_string(call.first));
    }
    // The mix reached every part of the service.
    for (const char* name : {"TrevaloService",
                             "~TrevaloService",
                             "OnCreate",
                             "OnTerminate",
                             "IfMessageReceived",
                             "ParsePMT",
                             "m_ProcessComponents",
                             "Update_Pmt_Info",
                             "GetAndFillVideoList",
                             "GetAndFillAudioList",
                             "ProcessPrivatePESAndFillAudio",
                             "updateCompTag",
                             "GetAudioAndSetAudioList",
                             "SizeOfAudio",
                             "SizeOfVideo",
                             "SizeOfSubtitle",
                             "GetAudio",
                             "GetVideo",
                             "GetSubtitle",
                             "GetCatalogue",
                             "GetPID",
                             "SaveCurrentVideoPlayingTimeAtTrevaloService",
                             "GetCurrentVideoPlayingTimeFromTrevaloService",
                             "get_service_id",
                             "GetAudioInfo"}) {
        EXPECT_EQ(functions.count(name), 1u) << name;
    }
    // Every logging call of the two files was reached, but those that need an open bus and the
    // one for a stream the parser cannot hand out.
    std::vector<std::string> not_reached;
    for (const char* file : {"TrevaloService.cpp", "TrevaloServiceServer.cpp"}) {
        const SourceLines& source = Source(file);
        LogCall call;
        for (size_t number = 1; number <= source.size(); ++number) {
            if (CallAt(source, number, call) &&
                sites.count(file + (":" + std::to_string(number))) == 0) {
                not_reached.push_back(call.format_prefix);
            }
        }
    }
    EXPECT_THAT(not_reached, testing::UnorderedElementsAre(
                                 "Create DBus server fail!", "Trevalo service OnCreate \n",
                                 "Trevalo service OnTerminate \n", "NULL Pointer"));
}

}  // namespace
