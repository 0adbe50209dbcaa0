// Reassembling sections from packets: pointer_field, sections across packets and several in one,
// filler, lost, repeated and damaged packets (most of them as data), and the packet header.
#include "tsdemux/section_assembler.h"

#include <gtest/gtest.h>

#include <map>

#include "stream_builder.h"
#include "test_data.h"
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

// tests/data/section_assembly.json: sections by name (size and pattern), the packets that carry
// them (payload_unit_start with its pointer_field, counter, adaptation field, transport error, no
// payload at all or one of slices of the sections), and the sections that must come out, in order.
TEST(Assembly, GivesTheSectionsOfEveryGoldenPacketRun) {
    for (const Json::Value& run :
         test_support::ReadJsonFile(test_support::GoldenPath("section_assembly.json"))) {
        SCOPED_TRACE(run["name"].asString());
        std::map<std::string, Bytes> sections;
        for (const std::string& name : run["sections"].getMemberNames()) {
            const Json::Value& shape = run["sections"][name];
            sections[name] =
                SectionOfSize(shape[0].asUInt(), static_cast<uint8_t>(shape[1].asUInt()));
        }
        std::vector<Bytes> out;
        tsdemux::SectionAssembler assembler(
            [&out](const std::vector<uint8_t>& section) { out.push_back(section); });
        for (const Json::Value& carried : run["packets"]) {
            PacketFields fields;
            fields.pid = kPid;
            fields.payload_unit_start = carried.isMember("start");
            if (fields.payload_unit_start)
                fields.payload.push_back(static_cast<uint8_t>(carried["start"].asUInt()));
            fields.continuity_counter = static_cast<uint8_t>(carried["counter"].asUInt());
            fields.adaptation_length = carried.get("adaptation", -1).asInt();
            fields.transport_error = carried.get("error", false).asBool();
            fields.has_payload = carried.get("payload", true).asBool();
            for (const Json::Value& slice : carried["bytes"]) {
                const Bytes& section = sections.at(slice[0].asString());
                const Bytes part =
                    Slice(section, slice.get(1, 0).asUInt(),
                          slice.get(2, static_cast<Json::UInt>(section.size())).asUInt());
                fields.payload.insert(fields.payload.end(), part.begin(), part.end());
            }
            const Bytes packet = MakePacket(fields);
            tsdemux::PacketView view;
            ASSERT_TRUE(tsdemux::ReadPacket(packet.data(), view));
            assembler.Push(view);
        }
        std::vector<Bytes> expected;
        for (const Json::Value& name : run["emits"])
            expected.push_back(sections.at(name.asString()));
        EXPECT_EQ(out, expected);
        if (run.isMember("dropped")) {
            EXPECT_EQ(assembler.DroppedSections(), run["dropped"].asUInt());
        }
    }
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
