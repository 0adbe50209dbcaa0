// The elementary streams of a PMT section as `programmes` lists them: their languages from the
// three descriptors that carry some, and length fields that run past what holds them.
#include "tsdemux/pmt_streams.h"

#include <gmock/gmock.h>

namespace {

using Bytes = std::vector<uint8_t>;
using ::testing::ElementsAre;

// A PMT section around `body` (PCR PID, program_info, the stream loop), with four bytes in place
// of the CRC_32, which the reader does not check.
Bytes Section(const Bytes& body) {
    Bytes section = {0x02, 0xB0, 0x00, 0x00, 0x01, 0xC1, 0x00, 0x00};
    for (const uint8_t byte : body) section.push_back(byte);
    section.resize(section.size() + 4);
    return section;
}

TEST(PmtStreams, LanguagesComeFromLanguageSubtitlingAndTeletextDescriptorsEachOnce) {
    const Bytes section = Section({
        0xE1, 0x00, 0xF0, 0x00,                                // PCR PID 0x100, no program_info
        0x06, 0xE1, 0x01, 0xF0, 32,                            // private data on 0x101
        0x0A, 8,    'e',  'n',  'g',  0,    'd', 'e', 'u', 3,  // ISO 639: eng, deu
        0x59, 8,    'f',  'r',  'a',  0x10, 0,   1,   0,   2,  // subtitling: fra
        0x56, 10,   'e',  'n',  'g',  0x11, 0,   'i', 't', 'a', 0x29, 0,  // teletext: eng, ita
        0x1B, 0xE1, 0x02, 0xF0, 0x00,                                     // AVC video on 0x102
    });
    const tsdemux::PmtStreams read = tsdemux::ReadPmtStreams(section);
    EXPECT_FALSE(read.truncated);
    EXPECT_EQ(read.pcr_pid, 0x100);
    ASSERT_EQ(read.streams.size(), 2u);
    EXPECT_EQ(read.streams[0].stream_type, 0x06);
    EXPECT_EQ(read.streams[0].pid, 0x101);
    EXPECT_THAT(read.streams[0].descriptor_tags, ElementsAre(0x0A, 0x59, 0x56));
    EXPECT_THAT(read.streams[0].languages, ElementsAre("eng", "deu", "fra", "ita"));
    EXPECT_EQ(read.streams[1].pid, 0x102);
    EXPECT_TRUE(read.streams[1].languages.empty());
}

TEST(PmtStreams, ALengthPastItsEndListsWhatCameBeforeAndSaysSo) {
    const struct {
        const char* what;
        Bytes body;
        size_t streams;
    } cases[] = {
        {"program_info_length", {0xE1, 0x00, 0xF0, 0x09, 0x0A}, 0},
        {"ES_info_length",
         {0xE1, 0x00, 0xF0, 0x00, 0x1B, 0xE1, 0x01, 0xF0, 0x00, 0x03, 0xE1, 0x02, 0xF0, 0x20},
         1},
        {"descriptor_length",
         {0xE1, 0x00, 0xF0, 0x00, 0x03, 0xE1, 0x02, 0xF0, 0x03, 0x0A, 0x09, 'e'},
         1},
        // A descriptor ends only its own loop: what follows the loop is still listed.
        {"descriptor_length, then a stream",
         {0xE1, 0x00, 0xF0, 0x00, 0x03, 0xE1, 0x02, 0xF0, 0x03, 0x0A, 0x09, 'e', 0x1B, 0xE1, 0x03,
          0xF0, 0x00},
         2},
        {"a programme descriptor's length",
         {0xE1, 0x00, 0xF0, 0x02, 0x0A, 0x05, 0x1B, 0xE1, 0x01, 0xF0, 0x00},
         1},
        {"no room for program_info_length", {0xE1, 0x00}, 0},
        {"a stream entry cut short", {0xE1, 0x00, 0xF0, 0x00, 0x1B, 0xE1, 0x01}, 0},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.what);
        const tsdemux::PmtStreams read = tsdemux::ReadPmtStreams(Section(entry.body));
        EXPECT_TRUE(read.truncated);
        EXPECT_EQ(read.streams.size(), entry.streams);
    }
}

}  // namespace
