// Finding packets in a byte stream: strides, garbage, cut packets, any split of the input.
#include "tsdemux/packet_reader.h"

#include <gtest/gtest.h>

#include "stream_builder.h"

namespace {

using ts_test::Bytes;
using ts_test::Concat;
using ts_test::Garbage;
using ts_test::MakePacket;
using ts_test::PacketFields;

// `count` distinct packets: PID and counter tell them apart, the payload is a running pattern.
std::vector<Bytes> DistinctPackets(size_t count) {
    std::vector<Bytes> packets;
    for (size_t i = 0; i < count; ++i) {
        PacketFields fields;
        fields.pid = static_cast<uint16_t>(0x100 + i);
        fields.continuity_counter = static_cast<uint8_t>(i);
        for (size_t b = 0; b < 184; ++b) fields.payload.push_back(static_cast<uint8_t>(i * 7 + b));
        packets.push_back(MakePacket(fields));
    }
    return packets;
}

struct Collected {
    std::vector<Bytes> packets;
    size_t stride = 0;
    uint64_t resyncs = 0;
    uint64_t cut = 0;
};

// Feeds `stream` in pieces of `piece` bytes (all at once when 0).
Collected Read(const Bytes& stream, size_t piece = 0) {
    Collected collected;
    tsdemux::PacketReader reader([&collected](const uint8_t* packet) {
        collected.packets.emplace_back(packet, packet + tsdemux::kPacketSize);
    });
    const size_t step = piece == 0 ? stream.size() : piece;
    for (size_t at = 0; at < stream.size(); at += step) {
        reader.Feed(stream.data() + at, std::min(step, stream.size() - at));
    }
    reader.Finish();
    collected.stride = reader.Stride();
    collected.resyncs = reader.Resyncs();
    collected.cut = reader.CutPackets();
    return collected;
}

// 188 is the plain stream; 192 and 204 put sync lookalikes around every packet.
TEST(PacketReader, HandsOutEveryPacketWhateverTheStrideAndTheSplit) {
    const std::vector<Bytes> packets = DistinctPackets(30);
    for (const size_t stride : {188, 192, 204}) {
        for (const size_t piece : {0, 1, 7, 187, 188, 189, 1000, 4096}) {
            SCOPED_TRACE(testing::Message() << "stride " << stride << ", piece " << piece);
            const Collected collected = Read(ts_test::Restride(Concat(packets), stride, 7), piece);
            EXPECT_EQ(collected.packets, packets);
            EXPECT_EQ(collected.stride, stride);
            EXPECT_EQ(collected.resyncs, 0u);
        }
    }
}

TEST(PacketReader, DropsAPacketCutShortByTheNextOne) {
    std::vector<Bytes> packets = DistinctPackets(12);
    std::vector<Bytes> pieces = packets;
    pieces[4].resize(100);  // packet 4 keeps 100 bytes
    packets.erase(packets.begin() + 4);
    const Collected collected = Read(Concat(pieces));
    EXPECT_EQ(collected.packets, packets);
    EXPECT_EQ(collected.cut, 1u);
}

TEST(PacketReader, KeepsTheLastWholePacketAndDropsAPartialOne) {
    const std::vector<Bytes> packets = DistinctPackets(6);
    const Bytes stream = Concat(packets);
    EXPECT_EQ(Read(Bytes(stream.begin(), stream.end() - 88)).packets,
              std::vector<Bytes>(packets.begin(), packets.end() - 1));
    // Garbage after the last packet does not cost the packet.
    EXPECT_EQ(Read(Concat({stream, Garbage(40, 9)})).packets, packets);
}

TEST(PacketReader, ReadsStreamsTooShortToConfirmAStride) {
    const std::vector<Bytes> one = DistinctPackets(1);
    EXPECT_EQ(Read(one[0]).packets, one);
    const std::vector<Bytes> two = DistinctPackets(2);
    EXPECT_EQ(Read(Concat(two), 5).packets, two);
    EXPECT_TRUE(Read(Bytes(one[0].begin(), one[0].end() - 1)).packets.empty());
    EXPECT_TRUE(Read(Bytes()).packets.empty());
}

}  // namespace
