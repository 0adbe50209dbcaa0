#include "tsdemux/packet_reader.h"

#include <algorithm>
#include <utility>

namespace tsdemux {
namespace {

constexpr size_t kTimestampedStride = 192;
constexpr size_t kPrefixSize = kTimestampedStride - kPacketSize;
constexpr size_t kStrides[] = {kPacketSize, kTimestampedStride, 204};
// Sync bytes after the first that must sit at one stride before the reader trusts it: a lone
// 0x47 in garbage or payload is common, four in a row at a packet stride are not.
constexpr size_t kConfirmations = 3;
// Bytes already judged are dropped from the front of the buffer once they reach this many.
constexpr size_t kCompactAt = 64 * 1024;

}  // namespace

PacketReader::PacketReader(PacketHandler on_packet) : m_OnPacket(std::move(on_packet)) {}

void PacketReader::Feed(const uint8_t* bytes, size_t length) {
    m_Buffer.insert(m_Buffer.end(), bytes, bytes + length);
    Scan(false);
    Compact();
}

void PacketReader::Finish() {
    Scan(true);
    m_Buffer.clear();
    m_Position = 0;
    m_Locked = false;
    m_HasPending = false;
}

void PacketReader::Scan(bool at_end) {
    while (m_Locked ? ScanLocked(at_end) : ScanForSync(at_end)) {
    }
}

bool PacketReader::ScanLocked(bool at_end) {
    const size_t next = m_Position + m_Stride;
    if (next < m_Buffer.size()) {
        if (m_Buffer[next] == kSyncByte) {
            Emit(m_Position);
            m_Position = next;
            return true;
        }
        // No sync where the next packet should start: garbage follows this packet, or another
        // packet started inside it. The next lock tells which.
        m_Locked = false;
        m_HasPending = true;
        m_Pending = m_Position;
        m_Position += 1;
        ++m_Resyncs;
        return true;
    }
    if (!at_end) return false;
    if (m_Position + kPacketSize <= m_Buffer.size()) Emit(m_Position);
    m_Position = m_Buffer.size();
    m_Locked = false;
    return false;
}

bool PacketReader::ScanForSync(bool at_end) {
    for (size_t at = m_Position; at < m_Buffer.size(); ++at) {
        if (m_HasPending && at >= m_Pending + kPacketSize) {
            // Nothing started inside the pending packet: it was whole.
            Emit(m_Pending);
            m_HasPending = false;
        }
        if (m_Buffer[at] != kSyncByte) continue;
        size_t position = at;
        size_t stride = 0;
        // A lock that cuts the pending packet short must be fully confirmed, even at the end.
        switch (TryLock(at, at_end, !m_HasPending, position, stride)) {
            case Lock::kNeedMore:
                m_Position = at;
                return false;
            case Lock::kNone:
                continue;
            case Lock::kFound:
                if (m_HasPending) {
                    if (position >= m_Pending + kPacketSize) {
                        Emit(m_Pending);
                    } else {
                        ++m_CutPackets;
                    }
                    m_HasPending = false;
                }
                m_Locked = true;
                m_Stride = stride;
                m_Position = position;
                return true;
        }
    }
    m_Position = m_Buffer.size();
    if (at_end && m_HasPending) {
        Emit(m_Pending);  // ScanLocked saw all of its bytes
        m_HasPending = false;
    }
    return false;
}

size_t PacketReader::Confirmations(size_t at, size_t stride, bool& contradicted) const {
    size_t confirmed = 0;
    contradicted = false;
    for (size_t k = 1; k <= kConfirmations; ++k) {
        const size_t next = at + k * stride;
        if (next >= m_Buffer.size()) break;
        if (m_Buffer[next] != kSyncByte) {
            contradicted = true;
            break;
        }
        ++confirmed;
    }
    return confirmed;
}

PacketReader::Lock PacketReader::TryLock(size_t at, bool at_end, bool relaxed, size_t& position,
                                         size_t& stride) const {
    bool undecided = false;
    size_t best_stride = 0;
    size_t best_confirmed = 0;
    for (const size_t candidate : kStrides) {
        bool contradicted = false;
        const size_t confirmed = Confirmations(at, candidate, contradicted);
        if (contradicted) continue;
        if (confirmed == kConfirmations) {
            position = at;
            stride = candidate;
            return candidate == kTimestampedStride ? PreferPacketAfterPrefix(at_end, position)
                                                   : Lock::kFound;
        }
        if (!undecided || confirmed > best_confirmed) {
            best_stride = candidate;
            best_confirmed = confirmed;
        }
        undecided = true;
    }
    if (!undecided) return Lock::kNone;
    if (!at_end) return Lock::kNeedMore;
    // The stream ended before enough syncs: trust what nothing contradicts, if one sync
    // confirms it, or if the stream starts with it (a file of a single packet).
    const bool starts_stream = at == 0 && m_Dropped == 0;
    if (relaxed && at + kPacketSize <= m_Buffer.size() && (best_confirmed > 0 || starts_stream)) {
        position = at;
        stride = best_stride;
        return Lock::kFound;
    }
    return Lock::kNone;
}

PacketReader::Lock PacketReader::PreferPacketAfterPrefix(bool at_end, size_t& position) const {
    // In 192-byte packets a 4-byte timestamp comes first, and its top byte changes slowly: it
    // may be 0x47 in packet after packet. The sync byte proper is then up to 4 bytes later.
    if (!at_end &&
        position + kPrefixSize + kConfirmations * kTimestampedStride >= m_Buffer.size()) {
        return Lock::kNeedMore;
    }
    for (size_t shift = kPrefixSize; shift > 0; --shift) {
        bool contradicted = false;
        if (m_Buffer.size() > position + shift && m_Buffer[position + shift] == kSyncByte &&
            Confirmations(position + shift, kTimestampedStride, contradicted) == kConfirmations) {
            position += shift;
            break;
        }
    }
    return Lock::kFound;
}

void PacketReader::Emit(size_t at) {
    ++m_Packets;
    m_OnPacket(m_Buffer.data() + at);
}

void PacketReader::Compact() {
    const size_t needed_from = m_HasPending ? std::min(m_Pending, m_Position) : m_Position;
    if (needed_from < kCompactAt) return;
    m_Buffer.erase(m_Buffer.begin(), m_Buffer.begin() + static_cast<std::ptrdiff_t>(needed_from));
    m_Dropped += needed_from;
    m_Position -= needed_from;
    if (m_HasPending) m_Pending -= needed_from;
}

}  // namespace tsdemux
