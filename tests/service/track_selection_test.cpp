// The track selector over the records the PMT path makes, without a bus: one table of (section,
// preferences, expected choice), whose cases together cover every row of the rules table in
// docs/track-selection.md (checked against the document itself).
#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>

#include "TrevaloTrackSelector.h"
#include "pmt_fixture.h"
#include "test_data.h"

using namespace pmt_test;
using track_selection::Preferences;
using track_selection::SubtitleMode;

namespace {

constexpr uint8_t kAC3 = 0x6A;
constexpr uint8_t kEAC3 = 0x7A;

struct Section {
    Bytes bytes;
    int programme;
};

// The French broadcast's shape: main audio labelled "fre"; audio description labelled "qad" with
// a supplementary audio descriptor (fra, classification 1) and an E-AC-3 service type of visually
// impaired; original language "qaa"; subtitles fra for the hard of hearing (0x24), then fra
// (0x14).
Section French() {
    return {PmtBuilder()
                .Stream(0x1B, 100)
                .Stream(0x06, 101, {Language({{"fre", 0}}), AC3Audio(kEAC3, 0xC2)})
                .Stream(0x06, 102,
                        {Language({{"qad", 0}}), SupplementaryAudio(1, 1, "fra"),
                         AC3Audio(kEAC3, 0xD2)})
                .Stream(0x06, 103, {Language({{"qaa", 0}}), AC3Audio(kEAC3, 0xC2)})
                .Stream(0x06, 110, {Subtitling({{"fra", 0x24, 1, 1}})})
                .Stream(0x06, 111, {Subtitling({{"fra", 0x14, 1, 1}})})
                .Build(),
            1};
}

// The real capture of that shape (PIDs 430 fra, 431 qad, 432 qaa, 440 fra 0x24, 441 fra 0x14).
Section CapturedFrench() {
    return {test_support::ReadTestData("pmt/test-059.2.p1045.v1.0.sec"), 1045};
}

// What the captures lack: an AC-3 service type of visually impaired, teletext type 5, subtitling
// type 0x20; beside them English subtitles after the English teletext, music and effects
// (audio_type 1), clean audio (audio_type 2), German in both ISO 639-2 forms, stereo before
// multichannel.
Section Multilingual() {
    return {PmtBuilder()
                .Stream(0x04, 200, {Language({{"eng", 1}})})
                .Stream(0x06, 201, {Language({{"eng", 0}}), AC3Audio(kAC3, 0x42)})
                .Stream(0x06, 202, {Language({{"eng", 0}}), AC3Audio(kAC3, 0x52)})
                .Stream(0x06, 203, {Language({{"deu", 0}}), AC3Audio(kAC3, 0x42)})
                .Stream(0x06, 204, {Language({{"GER", 0}}), AC3Audio(kEAC3, 0xC4)})
                .Stream(0x04, 205, {Language({{"eng", 2}})})
                .Stream(0x06, 210, {Teletext({{"eng", 2, 1, 0x88}})})
                .Stream(0x06, 212, {Teletext({{"eng", 5, 1, 0x89}})})
                .Stream(0x06, 213, {Subtitling({{"ger", 0x20, 1, 1}})})
                .Stream(0x06, 214, {Subtitling({{"deu", 0x10, 1, 1}})})
                .Stream(0x06, 215, {Subtitling({{"eng", 0x10, 2, 2}})})
                .Build(),
            1};
}

// Describing tracks only: spoken subtitles mixed by the receiver, then audio description.
Section Described() {
    return {
        PmtBuilder()
            .Stream(0x06, 401,
                    {Language({{"fra", 0}}), SupplementaryAudio(0, 3, ""), AC3Audio(kAC3, 0x42)})
            .Stream(0x06, 402, {Language({{"fra", 0}}), AC3Audio(kAC3, 0x52)})
            .Build(),
        1};
}

// French only as audio description, beside English main audio.
Section DescribedInFrenchOnly() {
    return {PmtBuilder()
                .Stream(0x06, 501, {Language({{"eng", 0}}), AC3Audio(kAC3, 0x42)})
                .Stream(0x06, 502, {Language({{"fra", 0}}), AC3Audio(kAC3, 0x52)})
                .Build(),
            1};
}

Section VideoOnly() {
    return {PmtBuilder().Stream(0x1B, 500).Build(), 1};
}

struct Case {
    const char* name;
    Section (*section)();
    Preferences preferences;
    uint16_t audio_pid;          // 0: none
    uint16_t subtitle_pid;       // 0: none
    std::set<std::string> rows;  // the rows of the rules table the case decides on
};

Preferences Prefer(std::vector<std::string> audio, std::vector<std::string> subtitles = {},
                   SubtitleMode mode = SubtitleMode::kAuto, bool description = false,
                   bool hard_of_hearing = false, bool multichannel = false) {
    Preferences preferences;
    for (std::string& language : audio) {
        EXPECT_TRUE(track_selection::NormalizeLanguage(language, language)) << language;
    }
    for (std::string& language : subtitles) {
        EXPECT_TRUE(track_selection::NormalizeLanguage(language, language)) << language;
    }
    preferences.audio_languages = audio;
    preferences.subtitle_languages = subtitles;
    preferences.subtitles = mode;
    preferences.audio_description = description;
    preferences.hard_of_hearing = hard_of_hearing;
    preferences.prefer_multichannel = multichannel;
    return preferences;
}

constexpr SubtitleMode kOn = SubtitleMode::kOn;
constexpr SubtitleMode kAuto = SubtitleMode::kAuto;
constexpr SubtitleMode kOff = SubtitleMode::kOff;

const Case kCases[] = {
    {"French asked: the fre main track, no subtitles in the audio's language",
     French,
     Prefer({"fra"}),
     101,
     0,
     {"A2", "A3", "A7", "S3", "S6"}},
    {"French with audio description: the qad track by its supplementary language",
     French,
     Prefer({"FRA"}, {}, kAuto, true),
     102,
     0,
     {"A5"}},
    {"French subtitles on: the ordinary ones, the broadcaster's order put aside",
     French,
     Prefer({"fra"}, {"fra"}, kOn),
     101,
     111,
     {"S7", "S10"}},
    {"Hard of hearing: the 0x24 subtitles, though the audio is French",
     French,
     Prefer({"fra"}, {"fre"}, kAuto, false, true),
     101,
     110,
     {"S4", "S10"}},
    {"Original language with French subtitles",
     French,
     Prefer({"qaa"}, {"fra"}),
     103,
     111,
     {"A3", "S7"}},
    {"Subtitles off, though the audio is foreign",
     French,
     Prefer({"qaa"}, {"fra"}, kOff),
     103,
     0,
     {"S1"}},
    {"Nothing asked: the first main track, no subtitles",
     French,
     Prefer({}),
     101,
     0,
     {"A4", "A7", "S5"}},
    {"No track in the preferred language: the first main, no English subtitles",
     French,
     Prefer({"eng"}),
     101,
     0,
     {"A4", "S8"}},
    {"Subtitles on with none in a preferred language: those in the audio's",
     French,
     Prefer({"eng"}, {}, kOn),
     101,
     111,
     {"S9"}},
    {"Captured: French with audio description, subtitles for the hard of hearing",
     CapturedFrench,
     Prefer({"fre"}, {"fra"}, kAuto, true, true),
     431,
     440,
     {"A5", "S10"}},
    {"Captured: French, subtitles on",
     CapturedFrench,
     Prefer({"fra"}, {"fra"}, kOn),
     430,
     441,
     {"A2", "S7"}},
    {"Captured: nothing asked", CapturedFrench, Prefer({}), 430, 0, {"A7", "S5"}},
    {"German in either form: the broadcaster's first",
     Multilingual,
     Prefer({"ger"}),
     203,
     0,
     {"A3", "A9", "S6"}},
    {"German, multichannel preferred",
     Multilingual,
     Prefer({"deu"}, {}, kOn, false, false, true),
     204,
     214,
     {"A8", "S7"}},
    {"The second preferred language when the first has no track",
     Multilingual,
     Prefer({"xyz", "deu"}),
     203,
     214,
     {"A3"}},
    {"English: main before music and effects, the AC-3 visually impaired left out",
     Multilingual,
     Prefer({"eng"}, {}, kOn),
     201,
     210,
     {"A2", "A7", "S7", "S11"}},
    {"English, hard of hearing: clean audio and the teletext page of type 5",
     Multilingual,
     Prefer({"eng"}, {}, kAuto, false, true),
     205,
     212,
     {"A6", "S4", "S10"}},
    {"English with audio description: the AC-3 service type visually impaired",
     Multilingual,
     Prefer({"eng"}, {}, kAuto, true),
     202,
     0,
     {"A5"}},
    {"German subtitles for the hard of hearing: subtitling type 0x20",
     Multilingual,
     Prefer({"eng"}, {"deu"}, kOn, false, true),
     205,
     213,
     {"S7", "S10"}},
    {"English audio, German subtitles, none of the hard of hearing",
     Multilingual,
     Prefer({"eng"}, {"deu"}),
     201,
     214,
     {"S7", "S10"}},
    {"Only describing tracks: the first, though not asked",
     Described,
     Prefer({"fra"}),
     401,
     0,
     {"A2", "A9", "S2"}},
    {"Audio description before spoken subtitles",
     Described,
     Prefer({"fra"}, {}, kAuto, true),
     402,
     0,
     {"A5"}},
    {"French only as audio description, not asked: the English main track",
     DescribedInFrenchOnly,
     Prefer({"fra"}),
     501,
     0,
     {"A2", "A4", "S2"}},
    {"French only as audio description, asked",
     DescribedInFrenchOnly,
     Prefer({"fra"}, {}, kAuto, true),
     502,
     0,
     {"A3", "A5"}},
    {"No audio at all", VideoOnly, Prefer({"fra"}, {"fra"}, kOn), 0, 0, {"A1", "S2"}},
};

// A capital letter, printable ASCII, one full stop at the end.
bool IsOnePrintableSentence(const std::string& text) {
    if (text.size() < 2 || !std::isupper(static_cast<unsigned char>(text.front())) ||
        text.back() != '.') {
        return false;
    }
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

class TrackSelectionTest : public PmtHandlerTest, public ::testing::WithParamInterface<Case> {};

TEST_P(TrackSelectionTest, ChoosesAsTheRulesSay) {
    const Case& c = GetParam();
    const Section section = c.section();
    ASSERT_EQ(SendPmt(section.bytes, section.programme, true), 0);
    const track_selection::Choice choice = track_selection::SelectTracks(
        *TrevaloServiceServer::audList, *TrevaloServiceServer::sbtList, c.preferences);
    EXPECT_EQ(choice.audio_pid, c.audio_pid) << choice.audio_reason;
    EXPECT_EQ(choice.subtitle_pid, c.subtitle_pid) << choice.subtitle_reason;
    EXPECT_EQ(choice.audio < 0, c.audio_pid == 0);
    EXPECT_EQ(choice.subtitle < 0, c.subtitle_pid == 0);
    if (choice.audio >= 0) {
        EXPECT_EQ(Audio(choice.audio).pid, c.audio_pid);
    }
    if (choice.subtitle >= 0) {
        EXPECT_EQ(Subtitle(choice.subtitle).pid, c.subtitle_pid);
    }
    for (const std::string* reason : {&choice.audio_reason, &choice.subtitle_reason}) {
        EXPECT_TRUE(IsOnePrintableSentence(*reason)) << "not one printable sentence: " << *reason;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, TrackSelectionTest, ::testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& info) {
                             return "case" + std::to_string(info.index);
                         });

// The rows the cases name are exactly those of the document's rules table.
TEST(TrackSelectionRules, TheCasesCoverEveryRowOfTheDocumentedTable) {
    std::ifstream document(std::string(TREVALO_DOCS_DIR) + "/track-selection.md");
    ASSERT_TRUE(document) << "docs/track-selection.md";
    std::set<std::string> documented;
    for (std::string line; std::getline(document, line);) {
        // "| A1 | ...": a row of the rules table.
        const size_t end = line.find(" |", 2);
        if (line.rfind("| ", 0) != 0 || end == std::string::npos || end < 3) continue;
        const std::string name = line.substr(2, end - 2);
        if ((name[0] == 'A' || name[0] == 'S') &&
            name.find_first_not_of("0123456789", 1) == std::string::npos) {
            documented.insert(name);
        }
    }
    std::set<std::string> covered;
    for (const Case& c : kCases) covered.insert(c.rows.begin(), c.rows.end());
    EXPECT_EQ(covered, documented);
}

// Three ASCII letters, either ISO 639-2 form, any case; nothing else.
TEST(TrackSelectionRules, LanguagesReadAsThreeLettersInTheTerminologyForm) {
    const std::pair<const char*, const char*> pairs[] = {
        {"alb", "sqi"}, {"arm", "hye"}, {"baq", "eus"}, {"bur", "mya"}, {"chi", "zho"},
        {"cze", "ces"}, {"dut", "nld"}, {"fre", "fra"}, {"geo", "kat"}, {"ger", "deu"},
        {"gre", "ell"}, {"ice", "isl"}, {"mac", "mkd"}, {"mao", "mri"}, {"may", "msa"},
        {"per", "fas"}, {"rum", "ron"}, {"slo", "slk"}, {"tib", "bod"}, {"wel", "cym"}};
    for (const auto& pair : pairs) {
        std::string bibliographic, terminology, upper = pair.first;
        for (char& c : upper) c = static_cast<char>(std::toupper(c));
        ASSERT_TRUE(track_selection::NormalizeLanguage(upper, bibliographic)) << pair.first;
        ASSERT_TRUE(track_selection::NormalizeLanguage(pair.second, terminology));
        EXPECT_EQ(bibliographic, pair.second);
        EXPECT_EQ(terminology, pair.second);
    }
    std::string normalized = "unchanged";
    for (const char* bad : {"", "en", "engl", "en1", "e g", "\xC3\xA9ng", "zzzz"}) {
        EXPECT_FALSE(track_selection::NormalizeLanguage(bad, normalized)) << bad;
    }
    EXPECT_TRUE(track_selection::NormalizeLanguage("QaA", normalized));
    EXPECT_EQ(normalized, "qaa");
}

}  // namespace
