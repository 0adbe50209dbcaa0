// Test and benchmark support: libdvbpsi as an independent reference decoder of PMT sections. The
// section travels in MPEG-2 transport-stream packets, the way libdvbpsi takes its input.
#ifndef TESTS_SECTIONPARSER_DVBPSI_REFERENCE_H
#define TESTS_SECTIONPARSER_DVBPSI_REFERENCE_H

#include <array>
#include <cstdint>
#include <vector>

// libdvbpsi's headers rely on these being included first.
#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

extern "C" {
#include <dvbpsi/descriptor.h>
#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/pmt.h>
}

namespace pmt_test {

using TsPacket = std::array<uint8_t, 188>;

// The section in TS packets on `pid`: a pointer_field of 0 in the first one, 0xFF stuffing after
// the section, continuity_counter counting from 0.
std::vector<TsPacket> Packetize(const std::vector<unsigned char>& section, uint16_t pid);

// One libdvbpsi handle, fed a whole PMT at a time.
class DvbpsiPmtDecoder {
  public:
    DvbpsiPmtDecoder();
    ~DvbpsiPmtDecoder();
    DvbpsiPmtDecoder(const DvbpsiPmtDecoder&) = delete;
    DvbpsiPmtDecoder& operator=(const DvbpsiPmtDecoder&) = delete;

    // Attaches a fresh PMT decoder for `programNumber`, pushes the packets and detaches it.
    // Returns the PMT libdvbpsi delivered (null when it delivered none); the decoder owns it until
    // the next Decode. libdvbpsi skips a version it has already delivered, hence the fresh
    // decoder per call.
    dvbpsi_pmt_t* Decode(std::vector<TsPacket>& packets, uint16_t programNumber);

  private:
    static void OnPmt(void* self, dvbpsi_pmt_t* pmt);

    dvbpsi_t* m_Handle;
    dvbpsi_pmt_t* m_Pmt = nullptr;
};

}  // namespace pmt_test

#endif
