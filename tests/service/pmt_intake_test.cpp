// "SendPMTData": parser lifetime, reset, programme lookup, catalogue replacement, stream routing.
#include <gmock/gmock.h>

#include "TCPMTParser.h"
#include "pmt_fixture.h"

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
    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video), 1u);
    EXPECT_EQ(audio, 1u);
    EXPECT_EQ(video, 1u);
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

TEST_F(PmtHandlerTest, FirstRequestCreatesTheParserAndLaterOnesReuseIt) {
    // The parser lives for the process, so earlier tests may have made it already.
    SendPmt(OneOfEach());
    TCPMTParser* parser = TrevaloServiceServer::m_pParser;
    ASSERT_NE(parser, nullptr);
    SendPmt(OneOfEach(), 1, true);
    EXPECT_EQ(TrevaloServiceServer::m_pParser, parser);
}

TEST_F(PmtHandlerTest, ANewSectionReplacesTheWholeCatalogue) {
    ASSERT_EQ(SendPmt(OneOfEach()), Json::Value(0));
    const Bytes second = PmtBuilder().Version(1).Stream(0x1B, 0x200).Stream(0x1B, 0x201).Build();
    ASSERT_EQ(SendPmt(second), Json::Value(0));
    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video), 0u);
    EXPECT_EQ(audio, 0u);
    ASSERT_EQ(video, 2u);
    EXPECT_EQ(Video(0).pid, 0x200);
    EXPECT_EQ(Video(1).pid, 0x201);
}

TEST_F(PmtHandlerTest, EmptyStreamLoopEmptiesTheCatalogue) {
    ASSERT_EQ(SendPmt(OneOfEach()), Json::Value(0));
    EXPECT_EQ(SendPmt(PmtBuilder().Version(2).Build()), Json::Value(0));
    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video) + audio + video, 0u);
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

    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video), 1u);
    EXPECT_EQ(audio, 1u);
    EXPECT_EQ(Video(0).pid, 0x100);
}

TEST_F(PmtHandlerTest, ResetDropsHeldSectionsButNotTheCatalogue) {
    ASSERT_EQ(SendPmt(OneOfEach(5), 5, true), Json::Value(0));
    EXPECT_EQ(TakeLog()[1], "I:reset parser");
    // Without reset the parser still holds programme 5 from the earlier section.
    ASSERT_EQ(SendPmt(OneOfEach(6), 5), Json::Value(0));
    // With reset it holds only what the new section brings.
    EXPECT_EQ(SendPmt(OneOfEach(6), 5, true), Json::Value(1));
    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video), 1u);  // the catalogue stays
}

TEST_F(PmtHandlerTest, ProgrammeNumberKeepsItsLowSixteenBits) {
    EXPECT_EQ(SendPmt(OneOfEach(1), 65537), Json::Value(0));
    EXPECT_EQ(SendPmt(OneOfEach(0xFFFF), -1), Json::Value(0));
    Json::Value data;
    data["programNum"] = 1.0 * 0x10002;  // a whole-valued number counts as an integer
    EXPECT_EQ(Dispatch(Method("SendPMTData", data), OneOfEach(2)).body["return_data"],
              Json::Value(0));
}

TEST_F(PmtHandlerTest, MissingDataReadsResetFalseAndProgrammeZero) {
    EXPECT_EQ(Dispatch(Method("SendPMTData"), OneOfEach(0)).body["return_data"], Json::Value(0));
}

TEST_F(PmtHandlerTest, MembersOfTheWrongKindAreRefused) {
    ASSERT_EQ(SendPmt(OneOfEach()), Json::Value(0));
    Json::Value reset_number;
    reset_number["reset"] = 1;
    Json::Value program_string;
    program_string["programNum"] = "1";
    Json::Value program_real;
    program_real["programNum"] = 1.5;
    Json::Value program_wide;
    program_wide["programNum"] = Json::Value(Json::UInt64(0x100000001ull));
    const struct {
        Json::Value data;
        const char* error;
    } cases[] = {
        {Json::Value("x"), "E:SendPMTData refused: \"data\" is a string, not an object"},
        {Json::Value(Json::arrayValue),
         "E:SendPMTData refused: \"data\" is an array, not an object"},
        {reset_number, "E:SendPMTData refused: \"reset\" is a signed integer, not a boolean"},
        {program_string,
         "E:SendPMTData refused: \"programNum\" is a string, not a signed 32-bit integer"},
        {program_real,
         "E:SendPMTData refused: \"programNum\" is a real number, not a signed 32-bit integer"},
        {program_wide,
         "E:SendPMTData refused: \"programNum\" is an unsigned integer, not a "
         "signed 32-bit integer"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.error);
        TakeLog();
        EXPECT_EQ(Dispatch(Method("SendPMTData", c.data), OneOfEach(9)).body["return_data"],
                  Json::Value(1));
        EXPECT_THAT(TakeLog(),
                    ElementsAre(testing::_, c.error, "I:Data parsing is done!", "I:ret_data = 1"));
    }
    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video), 1u);
    EXPECT_EQ(Video(0).pid, 0x100);
}

TEST_F(PmtHandlerTest, RoutesEveryStreamTypeOfTheTable) {
    PmtBuilder builder;
    const uint8_t video_types[] = {0x01, 0x02, 0x1B, 0x80};
    const uint8_t audio_types[] = {0x03, 0x04, 0x0F, 0x11, 0x81, 0x87};
    uint16_t pid = 0x100;
    for (uint8_t type : video_types) builder.Stream(type, pid++);
    for (uint8_t type : audio_types) builder.Stream(type, pid++);
    for (uint8_t type : {0x05, 0x0B, 0x24, 0x06}) builder.Stream(type, pid++);
    ASSERT_EQ(SendPmt(builder.Build()), Json::Value(0));

    size_t audio = 0, video = 0;
    EXPECT_EQ(Sizes(audio, video), 0u);
    ASSERT_EQ(video, 4u);
    ASSERT_EQ(audio, 6u);
    EXPECT_EQ(Video(0).encoding, 0);   // MPEG-1
    EXPECT_EQ(Video(1).encoding, -1);  // MPEG-2 keeps the preset
    EXPECT_EQ(Video(2).encoding, 1);   // AVC
    EXPECT_EQ(Video(3).encoding, 0);   // 0x80
    const int audio_codes[] = {2, 2, 3, 4, 0, 5};
    for (size_t i = 0; i < 6; ++i) EXPECT_EQ(Audio(i).encoding, audio_codes[i]) << i;

    const auto log = TakeLog();
    EXPECT_THAT(
        Matching(log, "Audio stream type"),
        ElementsAre("I:Audio stream type 3 on pid 260", "I:Audio stream type 4 on pid 261",
                    "I:Audio stream type 15 on pid 262", "I:Audio stream type 17 on pid 263",
                    "I:Audio stream type 129 on pid 264", "I:Audio stream type 135 on pid 265"));
    EXPECT_THAT(Matching(log, "PMT_STREAM_TYPE_PRIVATE"),
                ElementsAre("I:Stream type is PMT_STREAM_TYPE_PRIVATE"));
    EXPECT_EQ(Matching(log, "Neither Audio/Video").size(), 2u);  // 0x0B and 0x24
}
