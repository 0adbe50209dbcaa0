// Test and benchmark support: libdvbpsi as an independent reference reader. Of one PMT section,
// which it decodes into its own structures; and of a clean 188-byte transport stream, where its
// PAT decoder lists the programmes and its own packet-to-section gathering, with a gather
// callback of ours in place of a table decoder, yields each programme's PMT sections byte for
// byte. libdvbpsi takes its input in transport-stream packets only.
#ifndef TESTS_DVBPSI_REFERENCE_H
#define TESTS_DVBPSI_REFERENCE_H

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

#include "stream_builder.h"

namespace pmt_test {

// One libdvbpsi handle, fed a whole PMT at a time.
class DvbpsiPmtDecoder {
  public:
    DvbpsiPmtDecoder();
    ~DvbpsiPmtDecoder();
    DvbpsiPmtDecoder(const DvbpsiPmtDecoder&) = delete;
    DvbpsiPmtDecoder& operator=(const DvbpsiPmtDecoder&) = delete;

    // Attaches a fresh PMT decoder for `programNumber`, pushes the packets (ts_test::Packetize
    // makes them of a section) and detaches it. Returns the PMT libdvbpsi delivered (null when it
    // delivered none); the decoder owns it until the next Decode. libdvbpsi skips a version it
    // has already delivered, hence the fresh decoder per call.
    dvbpsi_pmt_t* Decode(const Bytes& packets, uint16_t programNumber);

  private:
    static void OnPmt(void* self, dvbpsi_pmt_t* pmt);

    dvbpsi_t* m_Handle;
    dvbpsi_pmt_t* m_Pmt = nullptr;
};

}  // namespace pmt_test

namespace ts_test {

struct ReferenceProgramme {
    uint16_t program_number = 0;
    uint16_t pmt_pid = 0;
    // The programme's PMT sections with a correct CRC_32, in stream order, each one left out
    // when it equals the one before.
    std::vector<Bytes> sections;
};

// The programmes of the first PAT, in its order (the network PID entry left out).
std::vector<ReferenceProgramme> ReadWithDvbpsi(const Bytes& stream);

}  // namespace ts_test

#endif
