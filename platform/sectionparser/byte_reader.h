#ifndef SECTIONPARSER_BYTE_READER_H
#define SECTIONPARSER_BYTE_READER_H

#include <cstddef>
#include <cstdint>

namespace sectionparser {

// Reads big-endian fields from a span of bytes and never leaves it. A read that would pass the end
// fails, answers 0 and latches the reader into the failed state, in which every later read fails
// too; so a sequence of reads is checked once, at the end, through Failed().
class ByteReader {
  public:
    ByteReader(const unsigned char* data, size_t size) : m_Data(data), m_Size(size) {}

    bool Failed() const { return m_Failed; }
    bool AtEnd() const { return m_Position == m_Size; }
    size_t Remaining() const { return m_Size - m_Position; }
    const unsigned char* Current() const { return m_Data + m_Position; }

    uint8_t U8() {
        if (!Need(1)) return 0;
        return m_Data[m_Position++];
    }

    uint16_t U16() {
        if (!Need(2)) return 0;
        const uint16_t value =
            static_cast<uint16_t>((m_Data[m_Position] << 8) | m_Data[m_Position + 1]);
        m_Position += 2;
        return value;
    }

    // Hands the next `count` bytes to a reader of their own and moves past them. On overrun the
    // returned reader is empty and already failed, and this one is failed too.
    ByteReader Split(size_t count) {
        if (!Need(count)) return Failure();
        ByteReader part(m_Data + m_Position, count);
        m_Position += count;
        return part;
    }

  private:
    bool Need(size_t count) {
        if (m_Failed || count > m_Size - m_Position) {
            m_Failed = true;
            return false;
        }
        return true;
    }

    static ByteReader Failure() {
        ByteReader failed(nullptr, 0);
        failed.m_Failed = true;
        return failed;
    }

    const unsigned char* m_Data;
    size_t m_Size;
    size_t m_Position = 0;
    bool m_Failed = false;
};

}  // namespace sectionparser

#endif
