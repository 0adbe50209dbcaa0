// Every PMT section captured from a real broadcast parses as valid, from a buffer of exactly its
// own size, and every stream and descriptor in it can be read.
#include <gtest/gtest.h>

#include <memory>

#include "TCPMTParser.h"
#include "captured_sections.h"
#include "pmt_section_builder.h"

using namespace pmt_test;

namespace {

class CapturedSectionTest : public ::testing::TestWithParam<CapturedSection> {};

TEST(CapturedSections, AllTwentyArePresent) {
    EXPECT_EQ(CapturedSections().size(), 20u);
}

TEST_P(CapturedSectionTest, ParsesAsValid) {
    const CapturedSection& captured = GetParam();
    ASSERT_GE(captured.bytes.size(), 16u);

    // Exactly the file's bytes on the heap: a read past the section's end would be caught.
    auto exact = std::make_unique<unsigned char[]>(captured.bytes.size());
    std::copy(captured.bytes.begin(), captured.bytes.end(), exact.get());

    TCPMTParser parser(TVSHandle{1, 0, 0});
    parser.Initialize();
    EXPECT_TRUE(parser.Parse(0, exact.get()));
    exact.reset();

    TCPMTInstance* instance =
        parser.PMTInstance(static_cast<unsigned short>(captured.programNumber));
    ASSERT_NE(instance, nullptr);
    EXPECT_TRUE(instance->IsValid()) << "status " << instance->Status();
    EXPECT_EQ(instance->ProgramNumber(), captured.programNumber);
    EXPECT_EQ(instance->VersionNumber(), captured.version);
    EXPECT_EQ(instance->Size(), static_cast<int>(captured.bytes.size()));
    EXPECT_EQ(instance->CRC32(), ReferenceCrc32(captured.bytes.data(), captured.bytes.size() - 4));

    // Every byte of the loops is accounted for by a descriptor or an entry header.
    int loopBytes = 0;
    for (int index = 0; index < instance->NumOfProgramDescriptor(); ++index) {
        loopBytes += instance->ProgramDescriptor(index)->Length() + 2;
    }
    for (int index = 0; index < instance->NumOfElementary(); ++index) {
        const TCPMTElementary* stream = instance->PMTElementary(static_cast<unsigned>(index));
        ASSERT_NE(stream, nullptr);
        EXPECT_GE(stream->ElementaryPID(), 0);
        EXPECT_LE(stream->ElementaryPID(), 0x1FFF);
        int streamBytes = 0;
        for (int position = 0; position < stream->NumOfDescriptor(); ++position) {
            const TCDescriptor* descriptor = stream->Descriptor(position);
            ASSERT_NE(descriptor, nullptr);
            EXPECT_TRUE(descriptor->IsWellFormed())
                << "stream " << index << " tag " << descriptor->Tag();
            streamBytes += descriptor->Length() + 2;
        }
        EXPECT_EQ(streamBytes, stream->ESInfoLength());
        loopBytes += 5 + streamBytes;
    }
    EXPECT_EQ(loopBytes, instance->Size() - 12 - 4);
}

TEST_P(CapturedSectionTest, EveryChangedBitIsCaught) {
    const CapturedSection& captured = GetParam();
    TCPMTParser parser(TVSHandle{1, 0, 0});
    // The header bytes decide whether the section is kept at all; from program_number on, any
    // single flipped bit must leave the kept instance invalid.
    for (size_t byte = 3; byte < captured.bytes.size(); ++byte) {
        Bytes frame = Framed(captured.bytes);
        frame[byte] ^= static_cast<unsigned char>(0x80u >> (byte % 8));
        EXPECT_FALSE(parser.Parse(0, frame.data())) << "byte " << byte;
    }
}

INSTANTIATE_TEST_SUITE_P(Broadcast, CapturedSectionTest, ::testing::ValuesIn(CapturedSections()),
                         [](const auto& info) { return TestName(info.param); });

}  // namespace
