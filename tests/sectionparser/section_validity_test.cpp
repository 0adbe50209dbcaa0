// The checks that decide IsValid(), one rule at a time: every length field one too long and one
// too short, the CRC_32, the syntax indicator, truncated loops, the smallest and largest sections.
#include <gtest/gtest.h>

#include "TCPMTParser.h"
#include "pmt_section_builder.h"

using namespace pmt_test;

namespace {

constexpr uint16_t kProgram = 0x0102;

// Something in every loop: a CA descriptor for the programme, a video stream with a stream
// identifier, an audio stream with a language and a CA descriptor.
Bytes SampleSection() {
    return PmtBuilder()
        .ProgramNumber(kProgram)
        .Version(5)
        .PcrPid(0x0100)
        .ProgramDescriptor(CA(0x0B00, 0x0200))
        .Stream(0x02, 0x0100, {StreamIdentifier(0x01)})
        .Stream(0x03, 0x0101, {Language({{"eng", 0}}), CA(0x0100, 0x0201)})
        .Build();
}

class SectionValidity : public ::testing::Test {
  protected:
    // Parses the section from a 1024-byte zero-padded frame, the most a caller without a recorded
    // block may be read, and returns what the parser keeps for kProgram.
    const TCPMTInstance* Parse(const Bytes& section) {
        m_Frame = Framed(section);
        m_Parser.Parse(0, m_Frame.data());
        return m_Parser.PMTInstance(kProgram);
    }

    ESectionStatus StatusOf(const Bytes& section) {
        const TCPMTInstance* instance = Parse(section);
        return instance != nullptr ? instance->Status() : static_cast<ESectionStatus>(-1);
    }

    // The sample with the 12-bit length field at `offset` moved by `delta`, and, when `restamp`,
    // a CRC_32 that fits the damaged section, so that only the length rule can catch it.
    static Bytes WithLength(size_t offset, int delta, bool restamp = true) {
        Bytes section = SampleSection();
        SetLengthField(section, offset, LengthField(section, offset) + delta);
        if (restamp) RestampCrc(section);
        return section;
    }

    TCPMTParser m_Parser{TVSHandle{1, 0, 0}};
    Bytes m_Frame;
};

TEST_F(SectionValidity, SectionLengthBelow13IsTooShort) {
    for (int length = 2; length <= 12; ++length) {
        Bytes section = PmtBuilder().ProgramNumber(kProgram).Build();
        // No CRC_32 can fit in so few bytes; the length is judged before it anyway.
        SetLengthField(section, kSectionLengthOffset, length);
        EXPECT_EQ(StatusOf(section), SECTION_LENGTH_TOO_SHORT) << "section_length " << length;
    }
}

// One stream whose descriptors fill the section to exactly 1024 bytes.
Bytes LargestSection() {
    // 12 fixed bytes, 5 for the entry, 4 for the CRC_32: 1003 bytes of descriptors.
    const Bytes full(255, 0xA5);
    const Bytes rest(1003 - 3 * 257 - 2, 0x5A);
    return PmtBuilder()
        .ProgramNumber(kProgram)
        .Stream(0x06, 0x0200,
                {Descriptor(0x80, full), Descriptor(0x81, full), Descriptor(0x82, full),
                 Descriptor(0x83, rest)})
        .Build();
}

TEST_F(SectionValidity, LargestSectionHasLength1021) {
    const Bytes section = LargestSection();
    ASSERT_EQ(section.size(), 1024u);
    ASSERT_EQ(LengthField(section, kSectionLengthOffset), 1021);
    const TCPMTInstance* instance = Parse(section);
    ASSERT_NE(instance, nullptr);
    EXPECT_TRUE(instance->IsValid());
    EXPECT_EQ(instance->Size(), 1024);
    ASSERT_EQ(instance->NumOfElementary(), 1);
    EXPECT_EQ(instance->PMTElementary(0)->NumOfDescriptor(), 4);
    EXPECT_EQ(instance->PMTElementary(0)->Descriptor(3)->Length(), 230);
}

TEST_F(SectionValidity, SectionLengthAbove1021IsTooLongAndOnly1024BytesAreKept) {
    for (int length : {1022, 1023, 2000, 4095}) {
        Bytes section = LargestSection();
        SetLengthField(section, kSectionLengthOffset, length);
        // The buffer holds exactly 1024 bytes: reading past them would trip the sanitizers.
        const TCPMTInstance* instance =
            (m_Parser.Parse(0, section.data()), m_Parser.PMTInstance(kProgram));
        ASSERT_NE(instance, nullptr);
        EXPECT_EQ(instance->Status(), SECTION_LENGTH_TOO_LONG) << "section_length " << length;
        EXPECT_EQ(instance->Size(), 1024);
    }
}

// One length field off, with a CRC_32 that fits the damage unless said otherwise: each rule
// alone names the status.
TEST_F(SectionValidity, EachLengthFieldOffByOneNamesItsRule) {
    const size_t esInfo = FirstStreamOffset(SampleSection()) + 3;
    const struct {
        const char* what;
        size_t offset;
        int delta;
        bool restamp;
        ESectionStatus status;
    } cases[] = {
        // A stray byte after the last entry; the last entry's ES_info running into the CRC_32.
        {"section_length +1", kSectionLengthOffset, +1, true, SECTION_ES_ENTRY_TRUNCATED},
        {"section_length +4", kSectionLengthOffset, +4, true, SECTION_ES_ENTRY_TRUNCATED},
        {"section_length -1", kSectionLengthOffset, -1, true, SECTION_ES_INFO_OVERRUN},
        {"program_info_length +1", kProgramInfoLengthOffset, +1, true, SECTION_DESCRIPTOR_OVERRUN},
        {"program_info_length -1", kProgramInfoLengthOffset, -1, true, SECTION_DESCRIPTOR_OVERRUN},
        {"program_info_length +1, old CRC", kProgramInfoLengthOffset, +1, false,
         SECTION_CRC_MISMATCH},
        {"ES_info_length +1", esInfo, +1, true, SECTION_DESCRIPTOR_OVERRUN},
        {"ES_info_length -1", esInfo, -1, true, SECTION_DESCRIPTOR_OVERRUN},
        // The field's top two bits are '00' in a valid section, but they count.
        {"ES_info_length +0x400", esInfo, +0x400, true, SECTION_ES_INFO_OVERRUN},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(StatusOf(WithLength(c.offset, c.delta, c.restamp)), c.status) << c.what;
    }
    // The CA descriptor that ends the last stream's loop, and the one in the program_info loop.
    const Bytes sample = SampleSection();
    for (size_t offset : {sample.size() - 4 - CA(0, 0).size(), kFirstLoopOffset}) {
        ASSERT_EQ(sample[offset], 0x09);
        for (int delta : {+1, -1}) {
            Bytes section = sample;
            section[offset + 1] = static_cast<unsigned char>(section[offset + 1] + delta);
            RestampCrc(section);
            EXPECT_EQ(StatusOf(section), SECTION_DESCRIPTOR_OVERRUN)
                << "descriptor_length at " << offset << " " << delta;
        }
    }
    Bytes unsyntactic = sample;
    unsyntactic[1] &= 0x7F;
    RestampCrc(unsyntactic);
    EXPECT_EQ(StatusOf(unsyntactic), SECTION_NOT_SYNTAX_FORM);
    // Five zero bytes are a whole entry: stream_type 0, PID 0, no descriptors.
    const TCPMTInstance* instance = Parse(WithLength(kSectionLengthOffset, 5));
    ASSERT_NE(instance, nullptr);
    EXPECT_TRUE(instance->IsValid());
    EXPECT_EQ(instance->NumOfElementary(), 3);
}

TEST_F(SectionValidity, ProgramInfoLengthMayReachButNotPassTheCrc) {
    const Bytes descriptor = CA(0x0B00, 0x0200);
    Bytes section = PmtBuilder().ProgramNumber(kProgram).ProgramDescriptor(descriptor).Build();
    EXPECT_EQ(StatusOf(section), SECTION_VALID);
    SetLengthField(section, kProgramInfoLengthOffset, static_cast<int>(descriptor.size()) + 1);
    RestampCrc(section);
    EXPECT_EQ(StatusOf(section), SECTION_PROGRAM_INFO_OVERRUN);
}

TEST_F(SectionValidity, DescriptorHeaderCutByItsLoop) {
    const Bytes section =
        PmtBuilder().ProgramNumber(kProgram).Stream(0x06, 0x0300, {Bytes{0x52}}).Build();
    EXPECT_EQ(StatusOf(section), SECTION_DESCRIPTOR_OVERRUN);
    const Bytes programLoop =
        PmtBuilder().ProgramNumber(kProgram).ProgramDescriptor({0x09}).Build();
    EXPECT_EQ(StatusOf(programLoop), SECTION_DESCRIPTOR_OVERRUN);
}

}  // namespace
