#include "tsdemux/ts_packet.h"

#include "tsdemux/packet_reader.h"

namespace tsdemux {

bool ReadPacket(const uint8_t* packet, PacketView& view) {
    if (packet[0] != kSyncByte) return false;
    view = PacketView{};
    view.transport_error = (packet[1] & 0x80) != 0;
    view.payload_unit_start = (packet[1] & 0x40) != 0;
    view.pid = static_cast<uint16_t>(((packet[1] & 0x1F) << 8) | packet[2]);
    view.scrambling = static_cast<uint8_t>(packet[3] >> 6);
    view.continuity_counter = static_cast<uint8_t>(packet[3] & 0x0F);
    const uint8_t control = (packet[3] >> 4) & 0x03;
    if (control == 0) return false;  // reserved

    size_t offset = 4;
    if ((control & 0x02) != 0) {
        const size_t field_length = packet[4];
        offset = 5 + field_length;
        if (offset > kPacketSize) return false;
        view.discontinuity = field_length > 0 && (packet[5] & 0x80) != 0;
    }
    if ((control & 0x01) != 0 && offset < kPacketSize) {
        view.payload = packet + offset;
        view.payload_size = kPacketSize - offset;
    }
    return true;
}

}  // namespace tsdemux
