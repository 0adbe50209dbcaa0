// The catalogue interface's values read back as the entries of the JSON queries: the interface's
// own members left out, the language as the JSON text carries it, and no catalogue from values
// that lack a property (a service without the interface answers GetAll with none).
#include "catalogue_properties.h"

#include <gtest/gtest.h>

#include "test_data.h"
#include "trevalo/json_text.h"

namespace {

using Ondrel::TCValue;

TCValue Language(const std::string& bytes) {
    return TCValue::Bytes(std::vector<uint8_t>(bytes.begin(), bytes.end()));
}

TCValue::Dictionary Properties(std::vector<TCValue::Dictionary> subtitles) {
    return {{"ProgramNumber", TCValue::UInt16(65535)},
            {"PmtVersion", TCValue::Int32(4)},
            {"Video", TCValue::Dictionaries({{{"pid", TCValue::UInt16(256)},
                                              {"encoding", TCValue::Int32(-1)},
                                              {"encrypted", TCValue::Boolean(true)},
                                              {"comp_tag", TCValue::Byte(255)}}})},
            {"Audio", TCValue::Dictionaries({{{"pid", TCValue::UInt16(257)},
                                              {"lang", TCValue::String("\\xE9ng")},
                                              {"lang_bytes", Language("\xE9ng")},
                                              {"audio_desc", TCValue::Boolean(false)}}})},
            {"Subtitles", TCValue::Dictionaries(std::move(subtitles))}};
}

TEST(CatalogueProperties, GivesTheEntriesOfTheJsonQueries) {
    const TCValue::Dictionary teletext = {
        {"pid", TCValue::UInt16(258)},    {"lang", TCValue::String("a\\x5Cb")},
        {"lang_bytes", Language("a\\b")}, {"kind", TCValue::String("teletext")},
        {"type", TCValue::Byte(2)},       {"page", TCValue::String("888")}};
    const TCValue::Dictionary dvb = {{"pid", TCValue::UInt16(259)},
                                     {"kind", TCValue::String("dvb-subtitle")},
                                     {"composition_page", TCValue::UInt16(1)},
                                     {"ancillary_page", TCValue::UInt16(2)}};
    trevalo_cli::Catalogue catalogue;
    int program = 0;
    ASSERT_TRUE(CatalogueFromProperties(Properties({teletext, dvb}), catalogue, program));
    EXPECT_EQ(program, 65535);
    // The JSON writer reads E9 6E 67 as one UTF-8 sequence: the queries' text says U+9BA7.
    Json::Value lists;
    ASSERT_TRUE(trevalo_json::Parse(
        R"({"video": [{"pid": 256, "encoding": -1, "encrypted": true, "comp_tag": 255}],
            "audio": [{"pid": 257, "lang": "\u9ba7", "audio_desc": false}],
            "subtitle": [{"pid": 258, "lang": "a\\b"}, {"pid": 259}]})",
        lists));
    for (const trevalo_cli::ComponentKind kind : trevalo_cli::kAllKinds) {
        const std::vector<Json::Value> expected(lists[KindName(kind)].begin(),
                                                lists[KindName(kind)].end());
        EXPECT_EQ(catalogue.List(kind), expected) << KindName(kind);
    }
}

TEST(CatalogueProperties, NoCatalogueWithoutEveryProperty) {
    const TCValue::Dictionary complete = Properties({});
    for (size_t left_out = 0; left_out <= complete.size(); ++left_out) {
        TCValue::Dictionary values = complete;
        if (left_out < complete.size()) {
            values.erase(values.begin() + static_cast<long>(left_out));
        } else {
            values[0].value = TCValue::Int32(7);  // ProgramNumber of another type
        }
        trevalo_cli::Catalogue catalogue;
        int program = 0;
        // PmtVersion is not needed to print the catalogue.
        EXPECT_EQ(CatalogueFromProperties(values, catalogue, program), left_out == 1) << left_out;
    }
}

}  // namespace
