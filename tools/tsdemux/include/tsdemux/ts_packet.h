// The header fields of one 188-byte transport-stream packet (ISO/IEC 13818-1, 2.4.3.2) that a
// section reader needs, and where its payload lies.
#ifndef TSDEMUX_TS_PACKET_H
#define TSDEMUX_TS_PACKET_H

#include <cstddef>
#include <cstdint>

namespace tsdemux {

struct PacketView {
    uint16_t pid = 0;
    bool transport_error = false;
    bool payload_unit_start = false;
    uint8_t scrambling = 0;
    uint8_t continuity_counter = 0;
    // The adaptation field says the continuity counter may jump here.
    bool discontinuity = false;
    const uint8_t* payload = nullptr;  // null when the packet carries none
    size_t payload_size = 0;
};

// Reads the header of `packet` (188 bytes, sync byte first). False when the packet cannot be
// read: no sync byte, a reserved adaptation_field_control, an adaptation field that overruns it.
bool ReadPacket(const uint8_t* packet, PacketView& view);

}  // namespace tsdemux

#endif
