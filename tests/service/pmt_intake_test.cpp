// "SendPMTData": parser lifetime, reset, programme lookup, catalogue replacement, stream routing.
#include <gmock/gmock.h>

#include "pmt_fixture.h"
#include "test_data.h"

using ::testing::ElementsAre;
using namespace pmt_test;

namespace {

Bytes OneOfEach(uint16_t program = 1) {
    return PmtBuilder()
        .ProgramNumber(program)
        .Stream(0x02, 0x100)
        .Stream(0x03, 0x101)
        .Stream(0x06, 0x102, {Subtitling({{"fin", 0x10, 1, 1}})})
        .Stream(0x24, 0x103)
        .Build();
}

}  // namespace

TEST_F(PmtHandlerTest, ValidSectionRebuildsTheCatalogueInStreamOrder) {
    EXPECT_EQ(SendPmt(OneOfEach()), Json::Value(0));
    EXPECT_EQ(Sizes(), "video 1, audio 1, subtitle 1");
    EXPECT_EQ(Video(0).pid, 0x100);
    EXPECT_EQ(Audio(0).pid, 0x101);
    EXPECT_EQ(Subtitle(0).pid, 0x102);
    const auto log = TakeLog();
    EXPECT_THAT(Matching(log, "index="),
                ElementsAre("I:index=0", "I:index=1", "I:index=2", "I:index=3"));
    EXPECT_EQ(log[1], "I:given section is valid");
    EXPECT_EQ(log[2], "I:Number of elementary streams 4");
    EXPECT_THAT(Matching(log, "Neither"), ElementsAre("I:ProcessComponents::Neither Audio/Video"));
    EXPECT_EQ(log[log.size() - 2], "I:Data parsing is done!");
    EXPECT_EQ(log.back(), "I:ret_data = 0");
}

TEST_F(PmtHandlerTest, ANewSectionReplacesTheWholeCatalogueAnEmptyOneEmptiesIt) {
    ASSERT_EQ(SendPmt(OneOfEach()), Json::Value(0));
    const Bytes second = PmtBuilder().Version(1).Stream(0x1B, 0x200).Stream(0x1B, 0x201).Build();
    ASSERT_EQ(SendPmt(second), Json::Value(0));
    ASSERT_EQ(Sizes(), "video 2, audio 0, subtitle 0");
    EXPECT_EQ(Video(0).pid, 0x200);
    EXPECT_EQ(Video(1).pid, 0x201);
    EXPECT_EQ(SendPmt(PmtBuilder().Version(2).Build()), Json::Value(0));
    EXPECT_EQ(Sizes(), "video 0, audio 0, subtitle 0");
}

TEST_F(PmtHandlerTest, FailedSectionsKeepThePreviousCatalogue) {
    ASSERT_EQ(SendPmt(OneOfEach()), Json::Value(0));
    Bytes bad_crc = PmtBuilder().Stream(0x1B, 0x300).Build();
    bad_crc.back() ^= 0x01;
    TakeLog();

    EXPECT_EQ(SendPmt(bad_crc), Json::Value(1));
    EXPECT_THAT(TakeLog(), ElementsAre(testing::_, "I:given section is not valid",
                                       "I:Data parsing is done!", "I:ret_data = 1"));

    EXPECT_EQ(SendPmt(OneOfEach(7), 8), Json::Value(1));  // programme 8 is not in it
    EXPECT_THAT(TakeLog(), ElementsAre(testing::_, "E:failed to get instance",
                                       "I:Data parsing is done!", "I:ret_data = 1"));

    EXPECT_EQ(SendPmt({}), Json::Value(1));                       // no buffer at all
    EXPECT_EQ(SendPmt(Bytes{0x00, 0xB0, 0x0D}), Json::Value(1));  // a PAT header, not a PMT
    // A buffer that ends before its section does: read no further than the buffer.
    Bytes cut = OneOfEach(7);
    cut.pop_back();
    EXPECT_EQ(SendPmt(cut, 7), Json::Value(1));
    EXPECT_EQ(SendPmt(Bytes{0x02, 0xB0}), Json::Value(1));

    EXPECT_EQ(Sizes(), "video 1, audio 1, subtitle 1");
    EXPECT_EQ(Video(0).pid, 0x100);
}

TEST_F(PmtHandlerTest, ResetDropsHeldSectionsButNotTheCatalogue) {
    ASSERT_EQ(SendPmt(OneOfEach(5), 5, true), Json::Value(0));
    EXPECT_EQ(TakeLog()[1], "I:reset parser");
    // Without reset the parser still holds programme 5 from the earlier section.
    ASSERT_EQ(SendPmt(OneOfEach(6), 5), Json::Value(0));
    // With reset it holds only what the new section brings.
    EXPECT_EQ(SendPmt(OneOfEach(6), 5, true), Json::Value(1));
    EXPECT_EQ(Sizes(), "video 1, audio 1, subtitle 1");  // the catalogue stays
}

// "reset" and "programNum" read as asBool and asInt read them (tests/data/pmt_request_data.json:
// each "data" either accepted, with whether the parser was reset and the programme looked up, or
// refused with its error line); what those would throw on is refused with the answer 1, one error
// line, and the catalogue left as it was.
TEST_F(PmtHandlerTest, ResetAndProgrammeAreConvertedOrRefused) {
    const Json::Value cases =
        test_support::ReadJsonFile(test_support::GoldenPath("pmt_request_data.json"));
    ASSERT_EQ(SendPmt(OneOfEach(9), 9), Json::Value(0));
    for (const Json::Value& c : cases) {
        SCOPED_TRACE(c.toStyledString());
        const bool accepted = !c.isMember("refused");
        // The parser forgets earlier sections, so only the programme converted can be found.
        Dispatch(Method("SendPMTData", test_support::ParseJson(R"({"reset": true})")));
        TakeLog();
        const Json::Value answer =
            Dispatch(Method("SendPMTData", c["data"]),
                     OneOfEach(accepted ? static_cast<uint16_t>(c["programme"].asUInt()) : 9))
                .body["return_data"];
        const auto log = TakeLog();
        if (accepted) {
            EXPECT_EQ(answer, Json::Value(0));
            EXPECT_EQ(Matching(log, "reset parser").size(), c["reset"].asBool() ? 1u : 0u);
        } else {
            EXPECT_EQ(answer, Json::Value(1));
            EXPECT_THAT(log, ElementsAre(testing::_, c["refused"].asString(),
                                         "I:Data parsing is done!", "I:ret_data = 1"));
            EXPECT_EQ(Sizes(), "video 1, audio 1, subtitle 1");
            EXPECT_EQ(Audio(0).pid, 0x101);
        }
    }
}
