// The records made from video, audio and private PES streams, and the TV-service lookups behind
// the audio ones.
#include <gmock/gmock.h>

#include "pmt_fixture.h"

using ::testing::ElementsAre;
using namespace pmt_test;

namespace {

Bytes Ac3() {
    return Descriptor(0x6A, {0x00});
}
Bytes EnhancedAc3() {
    return Descriptor(0x7A, {0x00});
}

}  // namespace

TEST_F(PmtHandlerTest, VideoTakesTheLastIdentifierAndTheLastCaSystem) {
    ASSERT_EQ(
        SendPmt(PmtBuilder()
                    .Stream(0x1B, 0x1FFF,
                            {StreamIdentifier(0x10), CA(0x0B00, 0x200), StreamIdentifier(0x20),
                             CA(0x0100, 0x201), Descriptor(0x0E, {0, 0, 0})})
                    .Stream(0x02, 0x101)
                    .Build()),
        Json::Value(0));
    const VideoComponent& first = Video(0);
    EXPECT_EQ(first.pid, 0x1FFF);
    EXPECT_EQ(first.comp_tag, 0x20);
    EXPECT_EQ(first.ca_sid, 0x0100);
    EXPECT_TRUE(first.encrypted);
    EXPECT_EQ(first.aspect_ratio, 100);
    const VideoComponent& second = Video(1);
    EXPECT_EQ(second.comp_tag, 255);
    EXPECT_EQ(second.ca_sid, 0);
    EXPECT_FALSE(second.encrypted);
    EXPECT_EQ(second.encoding, -1);

    const auto log = TakeLog();
    EXPECT_THAT(Matching(log, "I:Video stream"),
                ElementsAre("I:Video stream type 27 on pid 8191",
                            "I:Video stream component being added==> num_ofdescs:5 compt tag:32 "
                            "encrypted:yes videoencoding=1",
                            "I:Video stream type 2 on pid 257",
                            "I:Video stream component being added==> num_ofdescs:0 compt tag:255 "
                            "encrypted:no videoencoding=-1"));
    EXPECT_THAT(Matching(log, "System ID"),
                ElementsAre("I:AUDIO/VIDEO CA Decription, System ID = 2816",
                            "I:AUDIO/VIDEO CA Decription, System ID = 256"));
    EXPECT_THAT(Matching(log, "contains descriptor tag"),
                ElementsAre("I:Audio/Video stream contains descriptor tag 14"));
}

TEST_F(PmtHandlerTest, VideoWithALanguageDescriptorStillAsksForTheCurrentAudio) {
    SetTvService(R"({"fail": "current_audio"})");
    ASSERT_EQ(SendPmt(PmtBuilder().Stream(0x01, 0x100, {Language({{"eng", 0}})}).Build()),
              Json::Value(0));
    const auto log = TakeLog();
    EXPECT_THAT(Matching(log, "fails"),
                ElementsAre("E:GetCurrentAudioInfo fails", "E:GetAudioInfo fails"));
    EXPECT_EQ(Video(0).encoding, 0);
}

TEST_F(PmtHandlerTest, AudioTakesTheFirstEntryOfTheLastLanguageDescriptor) {
    SetTvService(R"({"audio": {"audio_description": true}})");
    ASSERT_EQ(SendPmt(PmtBuilder()
                          .Stream(0x04, 0x110,
                                  {Language({{"fra", 0}}), Language({{"ita", 3}, {"spa", 0}}),
                                   StreamIdentifier(5), CA(0x0500, 0x300)})
                          .Stream(0x81, 0x111)
                          .Build()),
              Json::Value(0));
    const AudioComponent& first = Audio(0);
    EXPECT_EQ(first.lang, "ita");
    EXPECT_EQ(first.encoding, 2);
    EXPECT_EQ(first.comp_tag, 5);
    EXPECT_TRUE(first.encrypted);
    EXPECT_EQ(first.audio_channels, 2);
    EXPECT_FALSE(first.audio_desc);  // never set from an audio stream type
    const AudioComponent& second = Audio(1);
    EXPECT_EQ(second.lang, "zzz");
    EXPECT_EQ(second.encoding, 0);
    EXPECT_EQ(second.comp_tag, 255);

    const auto log = TakeLog();
    EXPECT_THAT(Matching(log, "ISO 639 Language"),
                ElementsAre("I:ISO 639 Language, fra audio desc true",
                            "I:ISO 639 Language, ita audio desc true"));
    EXPECT_THAT(Matching(log, "Audio stream component being added"),
                ElementsAre("I:Audio stream component being added==> num_ofdescs:4 comp tag:5 "
                            "encypted:yes audioencoding:2",
                            "I:Audio stream component being added==> num_ofdescs:0 comp tag:255 "
                            "encypted:no audioencoding:0"));
}

TEST_F(PmtHandlerTest, LanguageBytesAreKeptAsTheyAre) {
    ASSERT_EQ(
        SendPmt(
            PmtBuilder().Stream(0x11, 0x130, {Language({{std::string("e\0G", 3), 0}})}).Build()),
        Json::Value(0));
    EXPECT_EQ(Audio(0).lang, std::string("e\0G", 3));
    EXPECT_EQ(Audio(0).lang.size(), 3u);
    EXPECT_EQ(Audio(0).encoding, 4);
}

TEST_F(PmtHandlerTest, SubtitlingEntriesBecomeOneRecordEach) {
    ASSERT_EQ(
        SendPmt(PmtBuilder()
                    .Stream(0x06, 0x100,
                            {Subtitling(
                                 {{"eng", 0x10, 1, 1}, {"fra", 0x20, 2, 2}, {"deu", 0x10, 3, 3}}),
                             StreamIdentifier(0x30)})
                    .Build()),
        Json::Value(0));
    ASSERT_EQ(TrevaloServiceServer::sbtList->size(), 3u);
    const char* languages[] = {"eng", "fra", "deu"};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(Subtitle(i).pid, 256);
        EXPECT_EQ(Subtitle(i).lang, languages[i]);
        EXPECT_EQ(Subtitle(i).comp_tag, 48);  // found ahead through updateCompTag
        EXPECT_FALSE(Subtitle(i).encrypted);
        EXPECT_FALSE(Subtitle(i).hearing_impaired);
    }
    const auto log = TakeLog();
    // Found once, ahead of the first entry; the later entries carry the tag it gave.
    EXPECT_EQ(Matching(log, "comp_tag not acquired Yet!").size(), 1u);
    EXPECT_THAT(
        Matching(log, "Subtitle stream component being added"),
        ElementsAre("I:Subtitle stream component being added==> num_ofdescs:3 comp tag:48",
                    "I:Subtitle stream component being added==> num_ofdescs:3 comp tag:48",
                    "I:Subtitle stream component being added==> num_ofdescs:3 comp tag:48"));
    EXPECT_THAT(Matching(log, "PRIVATE PES"),
                ElementsAre("I:PRIVATE PES Subtile Descriptor type on pid 256",
                            "I:PRIVATE PES Stream ID, component tag 48"));
}

TEST_F(PmtHandlerTest, TeletextKeepsOnlySubtitlePages) {
    ASSERT_EQ(
        SendPmt(PmtBuilder()
                    .Stream(0x06, 0x140,
                            {Teletext({{"fin", 0x01, 1, 0x00},
                                       {"swe", 0x02, 8, 0x88},
                                       {"nor", 0x03, 1, 0x10},
                                       {"dan", 0x05, 8, 0x89}})})
                    .Stream(0x06, 0x141, {StreamIdentifier(0x31), Teletext({{"ita", 0x02, 1, 0}})})
                    .Build()),
        Json::Value(0));
    ASSERT_EQ(TrevaloServiceServer::sbtList->size(), 3u);
    EXPECT_EQ(Subtitle(0).lang, "swe");
    EXPECT_EQ(Subtitle(1).lang, "dan");
    EXPECT_EQ(Subtitle(0).comp_tag, 255);
    EXPECT_FALSE(Subtitle(1).hearing_impaired);
    EXPECT_EQ(Subtitle(2).pid, 0x141);
    EXPECT_EQ(Subtitle(2).comp_tag, 0x31);  // the identifier before the teletext descriptor
    const auto log = TakeLog();
    EXPECT_EQ(Matching(log, "Not Teletext Type: 0x2 or 0x5..continuing LOOP").size(), 2u);
    // No stream identifier: the lookup runs before each entry and finds nothing.
    EXPECT_EQ(Matching(log, "Stream Identifier NOT FOUND!").size(), 2u);
    EXPECT_THAT(Matching(log, "Teletext ISO"),
                ElementsAre("I:Teletext ISO 639 Language, swe", "I:Teletext ISO 639 Language, dan",
                            "I:Teletext ISO 639 Language, ita"));
}

TEST_F(PmtHandlerTest, Ac3AndEnhancedAc3DescriptorsEachMakeAnAudioRecord) {
    ASSERT_EQ(SendPmt(PmtBuilder()
                          .Stream(0x06, 0x150,
                                  {Language({{"eng", 0}}), Language({{"fra", 0}, {"deu", 3}}),
                                   Ac3(), CA(0x0B00, 0x400), CA(0x0100, 0x401), EnhancedAc3(),
                                   StreamIdentifier(0x21)})
                          .Build()),
              Json::Value(0));
    ASSERT_EQ(TrevaloServiceServer::audList->size(), 2u);
    const AudioComponent& ac3 = Audio(0);
    EXPECT_EQ(ac3.encoding, 0);
    EXPECT_EQ(ac3.lang, "deu");  // the last entry of all
    EXPECT_EQ(ac3.comp_tag, 0x21);
    EXPECT_TRUE(ac3.encrypted);
    EXPECT_EQ(ac3.audio_channels, 2);
    EXPECT_FALSE(ac3.audio_desc);
    EXPECT_EQ(Audio(1).encoding, 5);
    EXPECT_EQ(Audio(1).comp_tag, 0x21);
    const auto log = TakeLog();
    EXPECT_THAT(Matching(log, "System ID"),
                ElementsAre("I:AUDIO CA Decription in Enhanced AC3 for ES Loop, System ID = 2816",
                            "I:AUDIO CA Decription in Enhanced AC3 for ES Loop, System ID = 2816"));
    EXPECT_THAT(
        Matching(log, "Loop ["),
        ElementsAre("I:Loop [0] of Lang Descriptor, num_of_langDescs:2",
                    "I:Loop [0] of LangsInDescriptor 2",
                    "I:Loop [1] of Lang Descriptor, num_of_langDescs:2",
                    "I:Loop [1] of LangsInDescriptor 2", "I:Loop [1] of LangsInDescriptor 2",
                    "I:Loop [0] of Lang Descriptor, num_of_langDescs:2",
                    "I:Loop [0] of LangsInDescriptor 2",
                    "I:Loop [1] of Lang Descriptor, num_of_langDescs:2",
                    "I:Loop [1] of LangsInDescriptor 2", "I:Loop [1] of LangsInDescriptor 2"));
    EXPECT_THAT(Matching(log, "being added"),
                ElementsAre("I:Audio stream component Enhanced AC3 being added==> num_ofdescs:7 "
                            "comp tag:33 encrypted:yes audioencoding:0",
                            "I:Audio stream component Enhanced AC3 being added==> num_ofdescs:7 "
                            "comp tag:33 encrypted:yes audioencoding:5"));
}

TEST_F(PmtHandlerTest, PrivateAudioWithoutLanguageIsZzzzAndFollowsTheCurrentAudio) {
    SetTvService(R"({"audio": {"spoken_subtitles": true}})");
    ASSERT_EQ(
        SendPmt(
            PmtBuilder().Stream(0x06, 0x160, {Ac3(), Subtitling({{"eng", 0x10, 1, 1}})}).Build()),
        Json::Value(0));
    ASSERT_EQ(TrevaloServiceServer::audList->size(), 1u);
    ASSERT_EQ(TrevaloServiceServer::sbtList->size(), 1u);
    EXPECT_EQ(Audio(0).lang, "zzzz");
    EXPECT_TRUE(Audio(0).audio_desc);
    EXPECT_FALSE(Audio(0).encrypted);
    EXPECT_EQ(Subtitle(0).pid, 0x160);
}

TEST_F(PmtHandlerTest, ServiceWithoutAnIdAsksWithAllOnes) {
    SetTvService(R"({"service_id": null})");
    ASSERT_EQ(SendPmt(PmtBuilder().Stream(0x06, 0x180, {Ac3()}).Build()), Json::Value(0));
    EXPECT_THAT(Matching(TakeLog(), "service id is"),
                ElementsAre("I:service id is 18446744073709551615"));
}

TEST_F(PmtHandlerTest, CurrentIndexLeftUntouchedIsMinusOne) {
    SetTvService(R"({"current_audio": {"index": null}})");
    ASSERT_EQ(SendPmt(PmtBuilder().Stream(0x06, 0x180, {Ac3()}).Build()), Json::Value(0));
    EXPECT_THAT(Matching(TakeLog(), "currentIndex"),
                ElementsAre("I:languageCode : 6647399, currentIndex : -1"));
}
