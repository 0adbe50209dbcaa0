// Test support: libdvbpsi as an independent reader of a clean 188-byte transport stream. Its
// PAT decoder lists the programmes; its own packet-to-section gathering, with a gather callback
// of ours in place of a table decoder, yields each programme's PMT sections byte for byte.
#ifndef TESTS_TSDEMUX_DVBPSI_PMT_READER_H
#define TESTS_TSDEMUX_DVBPSI_PMT_READER_H

#include <cstdint>
#include <vector>

#include "stream_builder.h"

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
