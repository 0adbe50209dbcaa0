// Every captured broadcast section through the dispatcher, against the catalogue worked out by
// hand from its bytes (tests/data/captured_catalogues.json): with the receiver's current audio
// known, while a step of asking the TV service for it fails, and while it is an audio-description
// track. Then every truncation and every damaged byte of each section, which must be refused
// with the catalogue left as it was.
#include "pmt_fixture.h"
#include "test_data.h"

namespace {

struct CapturedSection {
    std::string file;
    Json::Value golden;  // the file's entry in the golden data
};

// The captured sections of the golden data; those with the variant `only_with`, if given.
std::vector<CapturedSection> CapturedSections(const char* only_with = nullptr) {
    std::vector<CapturedSection> sections;
    for (const Json::Value& entry :
         test_support::ReadJsonFile(test_support::GoldenPath("captured_catalogues.json"))) {
        if (only_with != nullptr && !entry.isMember(only_with)) continue;
        sections.push_back({entry["file"].asString(), entry});
    }
    return sections;
}

void PrintTo(const CapturedSection& section, std::ostream* out) {
    *out << section.file;
}

class CapturedSectionTest : public PmtHandlerTest,
                            public ::testing::WithParamInterface<CapturedSection> {
  protected:
    Json::Value Send(const pmt_test::Bytes& bytes) {
        return SendPmt(bytes, GetParam().golden["programme"].asInt(), true);
    }

    // The catalogue as a client reads it: sizes, every entry, one index past each list, GetPID
    // for the tags of the golden data, and the whole catalogue in one answer.
    void ExpectCatalogue(const Json::Value& expected) {
        TakeLog();
        const Json::Value whole = Dispatch(Method("GetCatalogue")).body;
        EXPECT_EQ(whole["call_api_success"], true);
        Json::Value lists(Json::objectValue);
        for (const char* kind : {"video", "audio", "subtitle"}) lists[kind] = expected[kind];
        // Through text, as a client reads it: jsoncpp's == tells signed from unsigned numbers.
        EXPECT_EQ(test_support::ParseJson(whole["return_data"].toStyledString()), lists);
        EXPECT_EQ(TakeLog().at(1), "I:Get Catalogue: " + std::to_string(lists["video"].size()) +
                                       " video, " + std::to_string(lists["audio"].size()) +
                                       " audio, " + std::to_string(lists["subtitle"].size()) +
                                       " subtitle");
        for (const char* kind : {"Audio", "Video", "Subtitle"}) {
            SCOPED_TRACE(kind);
            std::string lower = kind;
            lower[0] = static_cast<char>(std::tolower(lower[0]));
            const Json::Value& entries = expected[lower];
            const Json::Value size =
                Dispatch(Method((std::string("SizeOf") + kind).c_str())).body["return_data"];
            ASSERT_EQ(size, Json::Value(entries.size()));
            for (Json::ArrayIndex index = 0; index <= entries.size(); ++index) {
                const Json::Value reply =
                    Dispatch(Method((std::string("Get") + kind).c_str(), index)).body;
                if (index == entries.size()) {
                    EXPECT_EQ(reply["return_data"], "") << "index past the end";
                    continue;
                }
                EXPECT_EQ(reply["call_api_success"], true);
                EXPECT_EQ(test_support::ParseJson(reply["return_data"].asString()), entries[index])
                    << "entry " << index;
            }
        }
        const Json::Value& pids = expected["pid_by_tag"];
        for (const std::string& tag : pids.getMemberNames()) {
            EXPECT_EQ(Dispatch(Method("GetPID", std::stoi(tag))).body["return_data"], pids[tag])
                << "tag " << tag;
        }
    }

    // Each of `damaged` is refused and leaves the catalogue of the whole section.
    void ExpectRefused(const std::vector<std::pair<std::string, pmt_test::Bytes>>& damaged) {
        const pmt_test::Bytes whole = test_support::ReadTestData("pmt/" + GetParam().file);
        for (const auto& [what, bytes] : damaged) {
            ASSERT_EQ(Send(whole), 0);
            ASSERT_EQ(Send(bytes), 1) << what;
        }
        ExpectCatalogue(GetParam().golden["plain"]);
    }
};

TEST_P(CapturedSectionTest, IsCataloguedAsWorkedOutByHand) {
    ASSERT_EQ(Send(test_support::ReadTestData("pmt/" + GetParam().file)), 0);
    ExpectCatalogue(GetParam().golden["plain"]);
}

// Whichever step of the lookup fails, the current audio is not had; the log names the step.
class WithoutCurrentAudio : public CapturedSectionTest {};
class WithAudioDescription : public CapturedSectionTest {};

TEST_P(WithoutCurrentAudio, LosesWhatDependsOnIt) {
    const Json::Value& expected = GetParam().golden["without_current_audio"];
    const bool looks_up = expected != GetParam().golden["plain"];
    const struct {
        const char* step;
        const char* message;
    } steps[] = {
        {"navigation", "E:GetTvMode failed"},
        {"tv_mode", "E:GetTvMode failed"},
        {"criteria", "E:Get navigation criteria failed"},
        {"service_info", "E:getcurrentserviceinfor failed"},
        {"av_control", "E:TVServiceAPI::CreateAVControl fails"},
        {"current_audio", "E:GetCurrentAudioInfo fails"},
        {"service_data_aux", "E:get audio fails"},
        {"audio_query", "E:get audio fails"},
    };
    const pmt_test::Bytes bytes = test_support::ReadTestData("pmt/" + GetParam().file);
    for (const auto& step : steps) {
        SCOPED_TRACE(step.step);
        SetTvService(std::string(R"({"fail": ")") + step.step + "\"}");
        TakeLog();
        ASSERT_EQ(Send(bytes), 0);
        const std::vector<std::string> log = TakeLog();
        EXPECT_EQ(Matching(log, step.message).empty(), !looks_up);
        EXPECT_TRUE(Matching(log, "SUCCESS").empty());
        ExpectCatalogue(expected);
    }
}

TEST_P(WithAudioDescription, MarksPrivateStreamAudio) {
    const Json::Value& expected = GetParam().golden["with_audio_description"];
    const pmt_test::Bytes bytes = test_support::ReadTestData("pmt/" + GetParam().file);
    for (const char* audio : {R"({"audio_description": true})", R"({"spoken_subtitles": true})"}) {
        SCOPED_TRACE(audio);
        SetTvService(std::string(R"({"audio": )") + audio + "}");
        ASSERT_EQ(Send(bytes), 0);
        ExpectCatalogue(expected);
    }
}

TEST_P(CapturedSectionTest, EveryTruncationIsRefused) {
    const pmt_test::Bytes bytes = test_support::ReadTestData("pmt/" + GetParam().file);
    std::vector<std::pair<std::string, pmt_test::Bytes>> damaged;
    for (size_t length = 0; length < bytes.size(); ++length) {
        // Bytes past the end of the buffer read as zero: dropping a CRC's trailing zero bytes
        // leaves the very section.
        bool only_zeros_dropped = length > 0;
        for (size_t i = length; i < bytes.size(); ++i) only_zeros_dropped &= bytes[i] == 0;
        if (only_zeros_dropped) continue;
        damaged.emplace_back("first " + std::to_string(length) + " bytes",
                             pmt_test::Bytes(bytes.begin(), bytes.begin() + length));
    }
    ExpectRefused(damaged);
}

TEST_P(CapturedSectionTest, EveryDamagedByteIsRefused) {
    const pmt_test::Bytes bytes = test_support::ReadTestData("pmt/" + GetParam().file);
    std::vector<std::pair<std::string, pmt_test::Bytes>> damaged;
    for (size_t position = 0; position < bytes.size(); ++position) {
        for (unsigned pattern : {0x01u, 0x08u, 0x10u, 0x80u, 0xFFu}) {
            pmt_test::Bytes flipped = bytes;
            flipped[position] ^= static_cast<unsigned char>(pattern);
            damaged.emplace_back(
                "byte " + std::to_string(position) + " xor " + std::to_string(pattern), flipped);
        }
    }
    ExpectRefused(damaged);
}

const auto kTestName = [](const auto& info) { return test_support::TestNameOf(info.param.file); };
INSTANTIATE_TEST_SUITE_P(EveryCapture, CapturedSectionTest, ::testing::ValuesIn(CapturedSections()),
                         kTestName);
INSTANTIATE_TEST_SUITE_P(Captures, WithoutCurrentAudio,
                         ::testing::ValuesIn(CapturedSections("without_current_audio")), kTestName);
INSTANTIATE_TEST_SUITE_P(Captures, WithAudioDescription,
                         ::testing::ValuesIn(CapturedSections("with_audio_description")),
                         kTestName);

}  // namespace
