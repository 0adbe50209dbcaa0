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
Bytes DistinctPackets(size_t count, uint16_t first_pid = 0x100) {
    Bytes stream;
    for (size_t i = 0; i < count; ++i) {
        PacketFields fields;
        fields.pid = static_cast<uint16_t>(first_pid + i);
        fields.continuity_counter = static_cast<uint8_t>(i);
        for (size_t b = 0; b < 184; ++b) fields.payload.push_back(static_cast<uint8_t>(i * 7 + b));
        const Bytes packet = MakePacket(fields);
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    return stream;
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

std::vector<Bytes> Split(const Bytes& stream) {
    std::vector<Bytes> packets;
    for (size_t at = 0; at + 188 <= stream.size(); at += 188) {
        packets.emplace_back(stream.begin() + at, stream.begin() + at + 188);
    }
    return packets;
}

// 188 is the plain stream; 192 and 204 put sync lookalikes around every packet.
TEST(PacketReader, HandsOutEveryPacketWhateverTheStrideAndTheSplit) {
    const Bytes stream = DistinctPackets(30);
    for (const size_t stride : {188, 192, 204}) {
        for (const size_t piece : {0, 1, 7, 187, 188, 189, 1000, 4096}) {
            SCOPED_TRACE(testing::Message() << "stride " << stride << ", piece " << piece);
            const Collected collected = Read(ts_test::Restride(stream, stride, 7), piece);
            EXPECT_EQ(collected.packets, Split(stream));
            EXPECT_EQ(collected.stride, stride);
            EXPECT_EQ(collected.resyncs, 0u);
        }
    }
}

TEST(PacketReader, DropsAPacketCutShortByTheNextOne) {
    const Bytes stream = DistinctPackets(12);
    Bytes damaged(stream.begin(), stream.begin() + 4 * 188 + 100);  // packet 4 keeps 100 bytes
    damaged.insert(damaged.end(), stream.begin() + 5 * 188, stream.end());
    const Collected collected = Read(damaged);
    std::vector<Bytes> expected = Split(stream);
    expected.erase(expected.begin() + 4);
    EXPECT_EQ(collected.packets, expected);
    EXPECT_EQ(collected.cut, 1u);
}

TEST(PacketReader, KeepsTheLastWholePacketAndDropsAPartialOne) {
    const Bytes stream = DistinctPackets(6);
    const Bytes partial(stream.begin(), stream.end() - 88);
    const std::vector<Bytes> whole = Split(stream);
    EXPECT_EQ(Read(partial).packets, std::vector<Bytes>(whole.begin(), whole.end() - 1));
    // Garbage after the last packet does not cost the packet.
    EXPECT_EQ(Read(Concat({stream, Garbage(40, 9)})).packets, Split(stream));
}

TEST(PacketReader, ReadsStreamsTooShortToConfirmAStride) {
    const Bytes one = DistinctPackets(1);
    EXPECT_EQ(Read(one).packets, Split(one));
    const Bytes two = DistinctPackets(2);
    EXPECT_EQ(Read(two, 5).packets, Split(two));
    EXPECT_TRUE(Read(Bytes(one.begin(), one.end() - 1)).packets.empty());
    EXPECT_TRUE(Read(Bytes()).packets.empty());
}

}  // namespace
