#include "dvbpsi_reference.h"

#include <algorithm>

namespace pmt_test {

namespace {

void IgnoreMessage(dvbpsi_t*, const dvbpsi_msg_level_t, const char*) {}

}  // namespace

std::vector<TsPacket> Packetize(const std::vector<unsigned char>& section, uint16_t pid) {
    std::vector<TsPacket> packets;
    size_t sent = 0;
    uint8_t continuity = 0;
    do {
        TsPacket packet;
        packet.fill(0xFF);
        const bool first = packets.empty();
        packet[0] = 0x47;
        packet[1] = static_cast<uint8_t>((first ? 0x40 : 0x00) | ((pid >> 8) & 0x1F));
        packet[2] = static_cast<uint8_t>(pid);
        packet[3] = static_cast<uint8_t>(0x10 | continuity);  // payload only
        continuity = (continuity + 1) & 0x0F;
        size_t offset = 4;
        if (first) packet[offset++] = 0;  // pointer_field
        const size_t count = std::min(section.size() - sent, packet.size() - offset);
        std::copy_n(section.begin() + static_cast<long>(sent), count,
                    packet.begin() + static_cast<long>(offset));
        sent += count;
        packets.push_back(packet);
    } while (sent < section.size());
    return packets;
}

DvbpsiPmtDecoder::DvbpsiPmtDecoder() : m_Handle(dvbpsi_new(&IgnoreMessage, DVBPSI_MSG_NONE)) {}

DvbpsiPmtDecoder::~DvbpsiPmtDecoder() {
    if (m_Pmt != nullptr) dvbpsi_pmt_delete(m_Pmt);
    dvbpsi_delete(m_Handle);
}

void DvbpsiPmtDecoder::OnPmt(void* self, dvbpsi_pmt_t* pmt) {
    auto* decoder = static_cast<DvbpsiPmtDecoder*>(self);
    if (decoder->m_Pmt != nullptr) dvbpsi_pmt_delete(decoder->m_Pmt);
    decoder->m_Pmt = pmt;
}

dvbpsi_pmt_t* DvbpsiPmtDecoder::Decode(std::vector<TsPacket>& packets, uint16_t programNumber) {
    if (m_Pmt != nullptr) {
        dvbpsi_pmt_delete(m_Pmt);
        m_Pmt = nullptr;
    }
    if (!dvbpsi_pmt_attach(m_Handle, programNumber, &DvbpsiPmtDecoder::OnPmt, this)) return nullptr;
    for (auto& packet : packets) dvbpsi_packet_push(m_Handle, packet.data());
    dvbpsi_pmt_detach(m_Handle);
    return m_Pmt;
}

}  // namespace pmt_test
