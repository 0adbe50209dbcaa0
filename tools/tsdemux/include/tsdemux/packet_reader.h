// Finds the 188-byte transport-stream packets in a byte stream: locks onto the sync byte (0x47)
// at a stride of 188 (plain), 192 (a 4-byte timestamp before each packet, as in M2TS) or 204
// (16 Reed-Solomon bytes after each packet) bytes, and locks again after garbage or a cut packet.
#ifndef TSDEMUX_PACKET_READER_H
#define TSDEMUX_PACKET_READER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace tsdemux {

constexpr size_t kPacketSize = 188;
constexpr uint8_t kSyncByte = 0x47;

class PacketReader {
  public:
    // Receives each packet: kPacketSize bytes, the sync byte first. The bytes are valid only
    // during the call.
    using PacketHandler = std::function<void(const uint8_t* packet)>;

    explicit PacketReader(PacketHandler on_packet);

    // Takes the next bytes of the stream, in any split.
    void Feed(const uint8_t* bytes, size_t length);
    // The stream has ended: judges the bytes kept back for want of what follows them.
    void Finish();

    // The stride locked onto (188, 192 or 204); 0 before the first lock.
    size_t Stride() const { return m_Stride; }
    uint64_t Packets() const { return m_Packets; }
    // Times the reader had to search for the sync again, after the start.
    uint64_t Resyncs() const { return m_Resyncs; }
    // Packets cut short by the start of another one, and so dropped.
    uint64_t CutPackets() const { return m_CutPackets; }

  private:
    enum class Lock { kFound, kNeedMore, kNone };

    void Scan(bool at_end);
    bool ScanLocked(bool at_end);
    bool ScanForSync(bool at_end);
    // Whether packets start at `at`; `position` and `stride` of the lock when found. `relaxed`:
    // at the end, fewer confirmations than usual will do.
    Lock TryLock(size_t at, bool at_end, bool relaxed, size_t& position, size_t& stride) const;
    size_t Confirmations(size_t at, size_t stride, bool& contradicted) const;
    Lock PreferPacketAfterPrefix(bool at_end, size_t& position) const;
    void Emit(size_t at);
    void Compact();

    PacketHandler m_OnPacket;
    std::vector<uint8_t> m_Buffer;
    uint64_t m_Dropped = 0;  // bytes erased from the front of m_Buffer so far
    bool m_Locked = false;
    size_t m_Stride = 0;
    // Locked: where the next packet starts. Searching: the first byte not yet looked at.
    size_t m_Position = 0;
    // A packet whose end was not confirmed by the next sync: kept until the next lock shows
    // whether it was whole.
    bool m_HasPending = false;
    size_t m_Pending = 0;
    uint64_t m_Packets = 0;
    uint64_t m_Resyncs = 0;
    uint64_t m_CutPackets = 0;
};

}  // namespace tsdemux

#endif
