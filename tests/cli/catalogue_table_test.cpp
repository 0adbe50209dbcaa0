// The catalogue table and JSON document, on the catalogues of tests/data/catalogue_tables.json
// and a few made up here: no bus involved.
#include "catalogue_table.h"

#include <gtest/gtest.h>

#include "catalogue.h"
#include "test_data.h"

namespace {

using trevalo_cli::Catalogue;

Catalogue CatalogueOf(const Json::Value& lists) {
    Catalogue catalogue;
    for (const Json::Value& entry : lists["video"]) catalogue.video.push_back(entry);
    for (const Json::Value& entry : lists["audio"]) catalogue.audio.push_back(entry);
    for (const Json::Value& entry : lists["subtitle"]) catalogue.subtitles.push_back(entry);
    return catalogue;
}

TEST(CatalogueTable, PrintsEveryGoldenCatalogueAsItsTable) {
    for (const Json::Value& golden :
         test_support::ReadJsonFile(test_support::GoldenPath("catalogue_tables.json"))) {
        std::string table;
        for (const Json::Value& line : golden["table"]) table += line.asString() + "\n";
        EXPECT_EQ(FormatCatalogueTable(AllRows(CatalogueOf(golden["catalogue"]))), table)
            << golden["why"].asString();
    }
}

TEST(CatalogueTable, ShowsBytesThatWouldNotPrint) {
    Catalogue catalogue;
    Json::Value odd;
    odd["lang"] = std::string(
        "\x01"
        "e\xE9\x7F\\",
        5);
    catalogue.audio = {odd};
    // A backslash is escaped too: "\\x01" could be four bytes otherwise.
    EXPECT_EQ(FormatCatalogueTable(AllRows(catalogue)),
              "KIND   #  PID  TAG  ENCODING  LANG               FLAGS\n"
              "audio  0  ?    ?    ?         \\x01e\\xE9\\x7F\\x5C\n");
}

TEST(CatalogueJson, HoldsTheEntriesAsTheServiceGaveThemUnderTheirKinds) {
    const Json::Value golden =
        test_support::ReadJsonFile(test_support::GoldenPath("catalogue_tables.json"))[0];
    const Json::Value document =
        test_support::ParseJson(FormatCatalogueJson(CatalogueOf(golden["catalogue"])));
    EXPECT_EQ(document, golden["catalogue"]);
    const Json::Value empty = test_support::ParseJson(FormatCatalogueJson(Catalogue()));
    EXPECT_EQ(empty, test_support::ParseJson(R"({"audio": [], "subtitle": [], "video": []})"));
}

}  // namespace
