// The track selector over the records the PMT path makes, without a bus: one table of (section,
// preferences, expected choice) in tests/data/track_selections.json, whose cases together cover
// every row of the rules table in docs/track-selection.md (checked against the document itself).
#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>

#include "TrevaloTrackSelector.h"
#include "pmt_fixture.h"
#include "test_data.h"

using track_selection::Preferences;
using track_selection::SubtitleMode;

namespace {

// tests/data/track_selections.json: the sections and the cases.
const Json::Value& Golden() {
    static const Json::Value golden =
        test_support::ReadJsonFile(test_support::GoldenPath("track_selections.json"));
    return golden;
}

struct Case {
    Json::Value given;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.given["why"].asString();
}

std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (const Json::Value& given : Golden()["cases"]) cases.push_back({given});
    return cases;
}

std::vector<std::string> Languages(const Json::Value& codes) {
    std::vector<std::string> languages;
    for (const Json::Value& code : codes) {
        std::string language;
        EXPECT_TRUE(track_selection::NormalizeLanguage(code.asString(), language))
            << code.asString();
        languages.push_back(language);
    }
    return languages;
}

Preferences PreferencesOf(const Json::Value& given) {
    Preferences preferences;
    preferences.audio_languages = Languages(given["audio_languages"]);
    preferences.subtitle_languages = Languages(given["subtitle_languages"]);
    const std::string mode = given.get("subtitles", "auto").asString();
    preferences.subtitles = mode == "on"    ? SubtitleMode::kOn
                            : mode == "off" ? SubtitleMode::kOff
                                            : SubtitleMode::kAuto;
    preferences.audio_description = given.get("audio_description", false).asBool();
    preferences.hard_of_hearing = given.get("hard_of_hearing", false).asBool();
    preferences.prefer_multichannel = given.get("multichannel", false).asBool();
    return preferences;
}

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
    const Json::Value& given = GetParam().given;
    const Json::Value& section = Golden()["sections"][given["section"].asString()];
    ASSERT_TRUE(section.isObject()) << given["section"].asString();
    const pmt_test::Bytes bytes = section.isMember("capture")
                                      ? test_support::ReadTestData(section["capture"].asString())
                                      : test_support::SectionFromJson(section);
    ASSERT_EQ(SendPmt(bytes, section.get("programme", 1).asInt(), true), 0);
    const track_selection::Choice choice = track_selection::SelectTracks(
        *TrevaloServiceServer::audList, *TrevaloServiceServer::sbtList, PreferencesOf(given));
    const int audio_pid = given["audio_pid"].asInt();
    const int subtitle_pid = given["subtitle_pid"].asInt();
    EXPECT_EQ(choice.audio_pid, audio_pid) << choice.audio_reason;
    EXPECT_EQ(choice.subtitle_pid, subtitle_pid) << choice.subtitle_reason;
    EXPECT_EQ(choice.audio < 0, audio_pid == 0);
    EXPECT_EQ(choice.subtitle < 0, subtitle_pid == 0);
    if (choice.audio >= 0) {
        EXPECT_EQ(Audio(choice.audio).pid, audio_pid);
    }
    if (choice.subtitle >= 0) {
        EXPECT_EQ(Subtitle(choice.subtitle).pid, subtitle_pid);
    }
    for (const std::string* reason : {&choice.audio_reason, &choice.subtitle_reason}) {
        EXPECT_TRUE(IsOnePrintableSentence(*reason)) << "not one printable sentence: " << *reason;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, TrackSelectionTest, ::testing::ValuesIn(Cases()),
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
    for (const Case& c : Cases()) {
        for (const Json::Value& row : c.given["rows"]) covered.insert(row.asString());
    }
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
