// Test support: transport streams built byte by byte, with the freedom to break every rule the
// reader must cope with (counters that jump, sections cut anywhere, garbage, other strides).
#ifndef TESTS_STREAM_BUILDER_H
#define TESTS_STREAM_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "pmt_section_builder.h"

namespace ts_test {

using test_support::Bytes;

// One 188-byte packet. The payload is padded with 0xFF (PSI stuffing) to fill the packet.
struct PacketFields {
    uint16_t pid = 0;
    bool payload_unit_start = false;
    uint8_t continuity_counter = 0;
    bool transport_error = false;
    // An adaptation field of this many bytes (after its length byte) when >= 0.
    int adaptation_length = -1;
    bool discontinuity = false;
    bool has_payload = true;  // false: adaptation_field_control 10, an adaptation field only
    Bytes payload;
};
Bytes MakePacket(const PacketFields& fields);

// Long-form sections with a correct CRC_32.
Bytes MakePatSection(uint16_t transport_stream_id, uint8_t version,
                     const std::vector<std::pair<uint16_t, uint16_t>>& programmes_and_pids,
                     bool current_next = true);
Bytes MakePmtSection(uint16_t program_number, uint8_t version,
                     const std::vector<std::pair<uint8_t, uint16_t>>& types_and_pids,
                     bool current_next = true);

// A section in packets of `pid`: pointer_field 0 in the first, counters from `counter` on
// (updated), the last packet padded.
Bytes Packetize(const Bytes& section, uint16_t pid, uint8_t& counter);
Bytes Packetize(const Bytes& section, uint16_t pid);  // counters from 0

// The packets of a 188-byte stream with a 4-byte timestamp before each (192; its first byte is
// always 0x47) or 16 parity bytes after each (204; some of them 0x47), drawn from `seed`; as
// they are for 188.
Bytes Restride(const Bytes& stream, size_t stride, uint32_t seed);

// `count` bytes of noise, one in 32 of them 0x47 (eight times what chance gives).
Bytes Garbage(size_t count, uint32_t seed);

using pmt_test::Concat;

}  // namespace ts_test

#endif
