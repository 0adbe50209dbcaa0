// A message's buffer is exactly as long as its bytes and its length is recorded for a reader given
// only the pointer (the section parser), for as long as the message holds it: after a copy, a
// replacement, a move and the message's end.
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "Ondrel/TCMessage.h"
#include "trevalo/readable_extent.h"

namespace {

constexpr size_t kUnknown = 99999;

const unsigned char* BufferOf(const Ondrel::TCMessage& message) {
    unsigned char* bytes = nullptr;
    message.GetBuffer(bytes);
    return bytes;
}

size_t Readable(const unsigned char* at) {
    return trevalo_extent::ReadableFrom(at, kUnknown);
}

TEST(MessageBuffer, ItsLengthIsRecordedWhileTheMessageHoldsIt) {
    const unsigned char bytes[] = {0x02, 0xB0, 0x11, 0x00, 0x01};
    auto message = std::make_unique<Ondrel::TCMessage>();
    message->SetBuffer(bytes, sizeof bytes);
    const unsigned char* first = BufferOf(*message);
    EXPECT_EQ(Readable(first), 5u);
    EXPECT_EQ(Readable(first + 3), 2u);
    EXPECT_EQ(Readable(first + 5), kUnknown);

    const Ondrel::TCMessage copy(*message);
    EXPECT_NE(BufferOf(copy), first);
    EXPECT_EQ(Readable(BufferOf(copy)), 5u);

    message->SetBuffer(bytes, 2);  // replaced: the first block is forgotten
    EXPECT_EQ(Readable(BufferOf(*message)), 2u);

    Ondrel::TCMessage moved(std::move(*message));
    const unsigned char* held = BufferOf(moved);
    EXPECT_EQ(Readable(held), 2u);
    moved = Ondrel::TCMessage();  // the block goes with the message that held it
    EXPECT_EQ(Readable(held), kUnknown);
    message.reset();
    EXPECT_EQ(Readable(BufferOf(copy)), 5u);
}

}  // namespace
