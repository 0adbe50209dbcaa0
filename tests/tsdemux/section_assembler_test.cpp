// Reassembling sections from packets: pointer_field, sections across packets and several in one,
// stuffing, lost, repeated and damaged packets.
#include "tsdemux/section_assembler.h"

#include <gtest/gtest.h>

#include "stream_builder.h"
#include "tsdemux/ts_packet.h"

namespace {

using ts_test::Bytes;
using ts_test::MakePacket;
using ts_test::PacketFields;

constexpr uint16_t kPid = 0x0100;

// A long section of `size` bytes, recognisable by `mark`; the CRC is not checked here.
Bytes SectionOfSize(size_t size, uint8_t mark) {
    Bytes section = {0x02, static_cast<uint8_t>(0xB0 | (size - 3) >> 8),
                     static_cast<uint8_t>(size - 3)};
    while (section.size() < size) section.push_back(static_cast<uint8_t>(mark + section.size()));
    return section;
}

Bytes Slice(const Bytes& bytes, size_t from, size_t to) {
    return Bytes(bytes.begin() + from, bytes.begin() + std::min(to, bytes.size()));
}

class Assembler : public ::testing::Test {
  protected:
    void Push(PacketFields fields) {
        if (fields.pid == 0) fields.pid = kPid;
        const Bytes packet = MakePacket(fields);
        tsdemux::PacketView view;
        ASSERT_TRUE(tsdemux::ReadPacket(packet.data(), view));
        assembler_.Push(view);
    }
    // A payload_unit_start packet: pointer_field, then `bytes`.
    void Start(uint8_t counter, uint8_t pointer, const Bytes& bytes) {
        PacketFields fields;
        fields.payload_unit_start = true;
        fields.continuity_counter = counter;
        fields.payload.push_back(pointer);
        fields.payload.insert(fields.payload.end(), bytes.begin(), bytes.end());
        Push(fields);
    }
    void Continue(uint8_t counter, const Bytes& bytes) {
        PacketFields fields;
        fields.continuity_counter = counter;
        fields.payload = bytes;
        Push(fields);
    }

    std::vector<Bytes> sections_;
    tsdemux::SectionAssembler assembler_{
        [this](const std::vector<uint8_t>& section) { sections_.push_back(section); }};
};

TEST_F(Assembler, JoinsASectionRunningOverThreePackets) {
    const Bytes section = SectionOfSize(500, 1);
    Start(0, 0, Slice(section, 0, 183));
    Continue(1, Slice(section, 183, 367));
    EXPECT_TRUE(sections_.empty());
    Continue(2, Slice(section, 367, 500));
    ASSERT_EQ(sections_.size(), 1u);
    EXPECT_EQ(sections_[0], section);
}

TEST_F(Assembler, ReadsSeveralSectionsInOnePacketAndStopsAtStuffing) {
    const Bytes first = SectionOfSize(40, 1);
    const Bytes second = SectionOfSize(60, 2);
    Bytes payload = first;
    payload.insert(payload.end(), second.begin(), second.end());
    Start(0, 0, payload);  // 0xFF stuffing fills the rest of the packet
    ASSERT_EQ(sections_.size(), 2u);
    EXPECT_EQ(sections_[0], first);
    EXPECT_EQ(sections_[1], second);
    EXPECT_EQ(assembler_.DroppedSections(), 0u);  // the filler is no section, not even a bad one
}

TEST_F(Assembler, FinishesTheSectionInProgressWithTheBytesBeforeThePointer) {
    const Bytes first = SectionOfSize(250, 1);
    const Bytes second = SectionOfSize(30, 2);
    Start(0, 0, Slice(first, 0, 183));
    Bytes payload = Slice(first, 183, 250);  // 67 bytes end the first section
    payload.insert(payload.end(), second.begin(), second.end());
    Start(1, 67, payload);
    ASSERT_EQ(sections_.size(), 2u);
    EXPECT_EQ(sections_[0], first);
    EXPECT_EQ(sections_[1], second);
}

TEST_F(Assembler, SkipsTheTailOfASectionWhoseStartItNeverSaw) {
    // Reading starts in the middle of a section: the pointer_field steps over its tail.
    const Bytes unseen = SectionOfSize(300, 1);
    const Bytes next = SectionOfSize(50, 2);
    Bytes payload = Slice(unseen, 240, 300);
    payload.insert(payload.end(), next.begin(), next.end());
    Start(4, 60, payload);
    ASSERT_EQ(sections_.size(), 1u);
    EXPECT_EQ(sections_[0], next);
}

TEST_F(Assembler, JoinsAHeaderSplitBetweenPackets) {
    const Bytes section = SectionOfSize(150, 3);
    // The first packet ends two bytes into the section: section_length is not known yet.
    PacketFields fields;
    fields.payload_unit_start = true;
    fields.adaptation_length = 180;  // leaves 3 payload bytes: pointer_field and two section bytes
    fields.payload = {0x00, section[0], section[1]};
    Push(fields);
    Continue(1, Slice(section, 2, 150));
    ASSERT_EQ(sections_.size(), 1u);
    EXPECT_EQ(sections_[0], section);
}

TEST_F(Assembler, DropsTheSectionWhenAPacketIsLostAndReadsTheNextOne) {
    const Bytes section = SectionOfSize(500, 4);
    Start(0, 0, Slice(section, 0, 183));
    // Packet 1 lost.
    Continue(2, Slice(section, 367, 500));
    EXPECT_TRUE(sections_.empty());
    EXPECT_EQ(assembler_.DroppedSections(), 1u);
    const Bytes next = SectionOfSize(100, 5);
    Start(3, 0, next);
    ASSERT_EQ(sections_.size(), 1u);
    EXPECT_EQ(sections_[0], next);
}

TEST_F(Assembler, IgnoresARepeatedPacket) {
    const Bytes section = SectionOfSize(300, 6);
    Start(5, 0, Slice(section, 0, 183));
    Start(5, 0, Slice(section, 0, 183));  // the same packet again
    Continue(6, Slice(section, 183, 300));
    ASSERT_EQ(sections_.size(), 1u);
    EXPECT_EQ(sections_[0], section);
}

TEST_F(Assembler, CountersWrapAroundFrom15To0) {
    const Bytes section = SectionOfSize(300, 7);
    Start(15, 0, Slice(section, 0, 183));
    Continue(0, Slice(section, 183, 300));
    ASSERT_EQ(sections_.size(), 1u);
}

TEST_F(Assembler, DropsTheSectionOfADamagedPacket) {
    const Bytes section = SectionOfSize(300, 8);
    Start(0, 0, Slice(section, 0, 183));
    PacketFields damaged;
    damaged.continuity_counter = 1;
    damaged.transport_error = true;
    damaged.payload = Slice(section, 183, 300);
    Push(damaged);
    Continue(2, Slice(section, 183, 300));
    EXPECT_TRUE(sections_.empty());
}

TEST_F(Assembler, SkipsPacketsWithOnlyAnAdaptationField) {
    const Bytes section = SectionOfSize(300, 9);
    Start(0, 0, Slice(section, 0, 183));
    PacketFields filler;
    filler.continuity_counter = 0;  // without payload the counter does not advance
    filler.adaptation_length = 183;
    const Bytes packet = MakePacket(filler);
    Bytes no_payload = packet;
    no_payload[3] = static_cast<uint8_t>((no_payload[3] & 0xCF) | 0x20);  // adaptation only
    tsdemux::PacketView view;
    ASSERT_TRUE(tsdemux::ReadPacket(no_payload.data(), view));
    EXPECT_EQ(view.payload, nullptr);
    assembler_.Push(view);
    Continue(1, Slice(section, 183, 300));
    ASSERT_EQ(sections_.size(), 1u);
}

TEST_F(Assembler, RefusesLengthsBeyondTheLongestSectionAndAPointerPastThePayload) {
    Bytes oversized = {0x02, 0xBF, 0xFF};  // section_length 4095: 4098 bytes in all
    oversized.resize(183, 0x00);
    Start(0, 0, oversized);
    for (uint8_t counter = 1; counter < 15; ++counter) Continue(counter, Bytes(184, 0x00));
    EXPECT_TRUE(sections_.empty());
    Start(15, 200, SectionOfSize(20, 1));  // pointer_field beyond the 183 payload bytes
    EXPECT_TRUE(sections_.empty());
    const Bytes fine = SectionOfSize(20, 2);
    Start(0, 0, fine);
    ASSERT_EQ(sections_.size(), 1u);
    EXPECT_EQ(sections_[0], fine);
}

TEST(TsPacket, ReadsTheHeaderFieldsAndFindsThePayloadAfterTheAdaptationField) {
    PacketFields fields;
    fields.pid = 0x1ABC;
    fields.payload_unit_start = true;
    fields.continuity_counter = 9;
    fields.adaptation_length = 7;
    fields.discontinuity = true;
    fields.payload = {0x11, 0x22};
    const Bytes packet = MakePacket(fields);
    tsdemux::PacketView view;
    ASSERT_TRUE(tsdemux::ReadPacket(packet.data(), view));
    EXPECT_EQ(view.pid, 0x1ABC);
    EXPECT_TRUE(view.payload_unit_start);
    EXPECT_FALSE(view.transport_error);
    EXPECT_EQ(view.continuity_counter, 9);
    EXPECT_TRUE(view.discontinuity);
    ASSERT_EQ(view.payload_size, 188u - 4 - 1 - 7);
    EXPECT_EQ(view.payload[0], 0x11);

    Bytes overrun = packet;
    overrun[4] = 184;  // an adaptation field longer than the packet
    EXPECT_FALSE(tsdemux::ReadPacket(overrun.data(), view));
    Bytes reserved = packet;
    reserved[3] &= 0xCF;  // adaptation_field_control 00
    EXPECT_FALSE(tsdemux::ReadPacket(reserved.data(), view));
}

}  // namespace
