// The catalogue table and JSON document, on catalogues made up here: no bus involved.
#include "catalogue_table.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <memory>

#include "catalogue.h"

namespace {

using trevalo_cli::Catalogue;

Json::Value Parse(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    return value;
}

// Entries shaped as the service renders them.
Json::Value Video(int pid, int tag, int encoding, bool encrypted = false, int ca_system = 0) {
    return Parse(R"({"pid":)" + std::to_string(pid) + R"(,"encoding":)" + std::to_string(encoding) +
                 R"(,"encrypted":)" + (encrypted ? "true" : "false") + R"(,"comp_tag":)" +
                 std::to_string(tag) + R"(,"ca_sid":)" + std::to_string(ca_system) +
                 R"(,"aspect_ratio":100})");
}
Json::Value Audio(int pid, int tag, int encoding, const std::string& lang,
                  bool description = false) {
    return Parse(R"({"pid":)" + std::to_string(pid) + R"(,"encoding":)" + std::to_string(encoding) +
                 R"(,"encrypted":false,"comp_tag":)" + std::to_string(tag) + R"(,"lang":")" + lang +
                 R"(","audio_channels":2,"audio_desc":)" + (description ? "true" : "false") + "}");
}
Json::Value Subtitle(int pid, int tag, const std::string& lang, bool hearing_impaired = false) {
    return Parse(R"({"pid":)" + std::to_string(pid) + R"(,"encrypted":false,"comp_tag":)" +
                 std::to_string(tag) + R"(,"lang":")" + lang + R"(","hearing_impaired":)" +
                 (hearing_impaired ? "true" : "false") + "}");
}

// The components of a DVB-T programme with component tags 0 to 4.
Catalogue Programme8803() {
    Catalogue catalogue;
    catalogue.video = {Video(310, 0, 1)};
    catalogue.audio = {Audio(321, 1, 0, "fra"), Audio(322, 2, 0, "eng")};
    catalogue.subtitles = {Subtitle(342, 3, "fra"), Subtitle(343, 4, "fra")};
    return catalogue;
}

TEST(CatalogueTable, AlignsOneLinePerComponentInKindOrder) {
    EXPECT_EQ(FormatCatalogueTable(AllRows(Programme8803())),
              "KIND      #  PID           TAG  ENCODING  LANG  FLAGS\n"
              "video     0  310 (0x0136)  0    AVC (1)   -\n"
              "audio     0  321 (0x0141)  1    AC-3 (0)  fra\n"
              "audio     1  322 (0x0142)  2    AC-3 (0)  eng\n"
              "subtitle  0  342 (0x0156)  3    -         fra\n"
              "subtitle  1  343 (0x0157)  4    -         fra\n");
}

TEST(CatalogueTable, NamesEveryEncodingCodeAndShowsTheFlags) {
    Catalogue catalogue;
    catalogue.video = {Video(0x100, 255, 0), Video(0x101, 255, -1, true, 0x0B00)};
    catalogue.audio = {Audio(0x200, 255, 2, "deu"), Audio(0x201, 255, 3, "eng"),
                       Audio(0x202, 255, 4, "eng"), Audio(0x203, 7, 5, "qaa", true),
                       Audio(0x204, 255, 1, "zzzz")};
    catalogue.subtitles = {Subtitle(0x300, 9, "fin", true)};
    EXPECT_EQ(FormatCatalogueTable(AllRows(catalogue)),
              "KIND      #  PID           TAG  ENCODING        LANG  FLAGS\n"
              "video     0  256 (0x0100)  -    MPEG video (0)  -\n"
              "video     1  257 (0x0101)  -    unknown (-1)    -     encrypted, CA system 0x0B00\n"
              "audio     0  512 (0x0200)  -    MPEG audio (2)  deu\n"
              "audio     1  513 (0x0201)  -    AAC ADTS (3)    eng\n"
              "audio     2  514 (0x0202)  -    AAC LATM (4)    eng\n"
              "audio     3  515 (0x0203)  7    E-AC-3 (5)      qaa   audio description\n"
              "audio     4  516 (0x0204)  -    other (1)       zzzz\n"
              "subtitle  0  768 (0x0300)  9    -               fin   hearing impaired\n");
}

TEST(CatalogueTable, ShowsBytesThatWouldNotPrintAndMarksMissingFields) {
    Catalogue catalogue;
    Json::Value odd = Audio(0x200, 255, 0, "x");
    odd["lang"] = std::string(
        "\x01"
        "e\xE9",
        3);
    Json::Value incomplete(Json::objectValue);
    incomplete["lang"] = "eng";
    catalogue.audio = {odd, incomplete};
    EXPECT_EQ(FormatCatalogueTable(AllRows(catalogue)),
              "KIND   #  PID           TAG  ENCODING  LANG       FLAGS\n"
              "audio  0  512 (0x0200)  -    AC-3 (0)  \\x01e\\xE9\n"
              "audio  1  ?             ?    ?         eng\n");
}

TEST(CatalogueTable, SaysSoWhenThereIsNothing) {
    EXPECT_EQ(FormatCatalogueTable(AllRows(Catalogue())), "(no components)\n");
}

TEST(CatalogueJson, HoldsTheEntriesAsTheServiceGaveThemUnderTheirKinds) {
    const Catalogue catalogue = Programme8803();
    const Json::Value document = Parse(FormatCatalogueJson(catalogue));
    ASSERT_TRUE(document.isObject());
    EXPECT_EQ(document.getMemberNames(), (std::vector<std::string>{"audio", "subtitle", "video"}));
    ASSERT_EQ(document["audio"].size(), 2u);
    EXPECT_EQ(document["audio"][1], catalogue.audio[1]);
    EXPECT_EQ(document["subtitle"][0], catalogue.subtitles[0]);
    EXPECT_EQ(document["video"][0], catalogue.video[0]);

    const Json::Value empty = Parse(FormatCatalogueJson(Catalogue()));
    EXPECT_TRUE(empty["video"].isArray());
    EXPECT_EQ(empty["video"].size(), 0u);
}

}  // namespace
