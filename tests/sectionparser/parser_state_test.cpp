// What the parser keeps between calls: one instance per programme, replaced by every readable
// section, nothing for bytes that are not a PMT, the copy independent of the caller's buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "TCPMTParser.h"
#include "pmt_section_builder.h"
#include "trevalo/readable_extent.h"

using namespace pmt_test;

namespace {

Bytes ProgrammeSection(uint16_t programNumber, uint8_t version = 0) {
    return PmtBuilder()
        .ProgramNumber(programNumber)
        .Version(version)
        .ProgramDescriptor(CA(0x0B00, 0x0200))
        .Stream(0x02, 0x0100, {StreamIdentifier(1)})
        .Stream(0x06, 0x0101, {Subtitling({{"eng", 0x10, 1, 1}})})
        .Build();
}

Bytes Damaged(Bytes section) {
    section.back() ^= 0xFF;
    return section;
}

class ParserState : public ::testing::Test {
  protected:
    bool Feed(const Bytes& section) {
        const Bytes frame = Framed(section);
        return m_Parser.Parse(0, frame.data());  // the frame dies here: the parser must copy
    }

    TCPMTParser m_Parser{TVSHandle{1, 0, 0}};
};

TEST_F(ParserState, CopyOutlivesTheCallersBuffer) {
    const Bytes section = ProgrammeSection(9);
    Bytes frame = Framed(section);
    m_Parser.Parse(0, frame.data());
    std::fill(frame.begin(), frame.end(), 0xEE);
    TCPMTInstance* instance = m_Parser.PMTInstance(9);
    ASSERT_NE(instance, nullptr);
    EXPECT_TRUE(instance->IsValid());
    EXPECT_EQ(Bytes(instance->Bytes(), instance->Bytes() + instance->Size()), section);
    auto* subtitling = static_cast<TCDescSubtitling*>(instance->PMTElementary(1)->Descriptor(0));
    EXPECT_EQ(subtitling->Iso639LangCode(0), PackLanguageCode('e', 'n', 'g'));
}

// An invalid section keeps its header, and no descriptors or streams.
TEST_F(ParserState, LaterSectionReplacesTheProgrammeValidOrNot) {
    EXPECT_TRUE(Feed(ProgrammeSection(5, 1)));
    EXPECT_FALSE(Feed(Damaged(ProgrammeSection(5, 2))));
    TCPMTInstance* instance = m_Parser.PMTInstance(5);
    ASSERT_NE(instance, nullptr);
    EXPECT_FALSE(instance->IsValid());
    EXPECT_EQ(instance->ProgramNumber(), 5);
    EXPECT_EQ(instance->VersionNumber(), 2);
    EXPECT_EQ(instance->NumOfElementary(), 0);
    EXPECT_EQ(instance->NumOfProgramDescriptor(), 0);
    EXPECT_EQ(instance->ProgramDescriptor(0), nullptr);

    EXPECT_TRUE(Feed(ProgrammeSection(5, 3)));
    instance = m_Parser.PMTInstance(5);
    ASSERT_NE(instance, nullptr);
    EXPECT_TRUE(instance->IsValid());
    EXPECT_EQ(instance->VersionNumber(), 3);
    EXPECT_EQ(m_Parser.NumOfInstance(), 1);
}

TEST_F(ParserState, HeldProgrammesAreBoundedOldestFirst) {
    for (int programme = 1; programme <= TCPMTParser::kMaxProgrammes; ++programme) {
        Feed(ProgrammeSection(static_cast<uint16_t>(programme)));
    }
    Feed(ProgrammeSection(1, 4));  // programme 1 is now the latest, 2 the oldest
    EXPECT_EQ(m_Parser.NumOfInstance(), TCPMTParser::kMaxProgrammes);
    Feed(ProgrammeSection(1000));
    EXPECT_EQ(m_Parser.NumOfInstance(), TCPMTParser::kMaxProgrammes);
    EXPECT_EQ(m_Parser.PMTInstance(2), nullptr);
    ASSERT_NE(m_Parser.PMTInstance(1), nullptr);
    EXPECT_EQ(m_Parser.PMTInstance(1)->VersionNumber(), 4);
    EXPECT_NE(m_Parser.PMTInstance(3), nullptr);
    EXPECT_NE(m_Parser.PMTInstance(1000), nullptr);
}

TEST_F(ParserState, ResetDropsEverything) {
    Feed(ProgrammeSection(1));
    Feed(ProgrammeSection(2));
    m_Parser.Reset();
    EXPECT_EQ(m_Parser.NumOfInstance(), 0);
    EXPECT_EQ(m_Parser.PMTInstance(1), nullptr);
    EXPECT_TRUE(Feed(ProgrammeSection(2)));
    EXPECT_NE(m_Parser.PMTInstance(2), nullptr);
}

TEST_F(ParserState, NullPointerIsNotKeptAndHidesEarlierSections) {
    EXPECT_FALSE(m_Parser.Parse(0, nullptr));
    EXPECT_EQ(m_Parser.PMTInstance(0), nullptr);

    Feed(ProgrammeSection(1));
    Feed(ProgrammeSection(2));
    EXPECT_FALSE(m_Parser.Parse(0, nullptr));
    EXPECT_EQ(m_Parser.PMTInstance(1), nullptr);
    EXPECT_EQ(m_Parser.PMTInstance(2), nullptr);
    EXPECT_EQ(m_Parser.NumOfInstance(), 2);

    // The next PMT brings back what was held.
    Feed(ProgrammeSection(2));
    ASSERT_NE(m_Parser.PMTInstance(1), nullptr);
    EXPECT_TRUE(m_Parser.PMTInstance(1)->IsValid());
}

TEST_F(ParserState, SectionTooShortToNameItsProgrammeIsNotKept) {
    for (int length : {0, 1}) {
        Bytes section = ProgrammeSection(1);
        SetLengthField(section, kSectionLengthOffset, length);
        EXPECT_FALSE(Feed(section));
        EXPECT_EQ(m_Parser.NumOfInstance(), 0);
        EXPECT_EQ(m_Parser.PMTInstance(1), nullptr);
    }
    // From 2 on, program_number is inside the section: kept, and not valid.
    Bytes section = ProgrammeSection(1);
    SetLengthField(section, kSectionLengthOffset, 2);
    EXPECT_FALSE(Feed(section));
    ASSERT_NE(m_Parser.PMTInstance(1), nullptr);
    EXPECT_EQ(m_Parser.PMTInstance(1)->Status(), SECTION_LENGTH_TOO_SHORT);
    EXPECT_EQ(m_Parser.PMTInstance(1)->Size(), 5);
}

// A block whose owner recorded its length bounds the read wherever the pointer lies in it; a
// section cut by the block's end is kept as far as it goes and is not valid. The blocks are
// exactly as long as recorded, so a sanitizer sees any byte read past them.
TEST_F(ParserState, ARecordedBlockBoundsTheRead) {
    const Bytes section = ProgrammeSection(3);
    const struct {
        size_t block;  // bytes of the block from the section's start
        bool kept;
        ESectionStatus status;
    } cases[] = {
        {section.size(), true, SECTION_VALID},
        {section.size() - 1, true, SECTION_LENGTH_TOO_LONG},
        {5, true, SECTION_LENGTH_TOO_LONG},
        {4, false, SECTION_VALID},
        {1, false, SECTION_VALID},
    };
    for (const auto& cut : cases) {
        SCOPED_TRACE(cut.block);
        std::unique_ptr<unsigned char[]> block(new unsigned char[7 + cut.block]);
        std::fill(block.get(), block.get() + 7, 0x02);
        std::copy(section.begin(), section.begin() + static_cast<long>(cut.block), block.get() + 7);
        trevalo_extent::Record(block.get(), 7 + cut.block);
        m_Parser.Reset();
        EXPECT_EQ(m_Parser.Parse(0, block.get() + 7), cut.kept && cut.status == SECTION_VALID);
        trevalo_extent::Forget(block.get());
        EXPECT_EQ(m_Parser.NumOfInstance(), cut.kept ? 1 : 0);
        TCPMTInstance* instance = m_Parser.PMTInstance(3);
        ASSERT_EQ(instance != nullptr, cut.kept);
        if (!cut.kept) continue;
        EXPECT_EQ(instance->Status(), cut.status);
        EXPECT_EQ(instance->Size(), static_cast<int>(cut.block));
    }
}

}  // namespace
