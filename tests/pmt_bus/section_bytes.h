// PMT section bytes made in the tests: hand-built sections with a correct CRC_32, and the
// checks a hostile-input test needs to know whether bytes can still pass for a section.
#ifndef TESTS_PMT_BUS_SECTION_BYTES_H
#define TESTS_PMT_BUS_SECTION_BYTES_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace pmt_bus {

using Bytes = std::vector<unsigned char>;

// CRC_32 of ISO/IEC 13818-1 (polynomial 0x04C11DB7, preset all ones, no reflection): over a
// whole section, CRC_32 field included, it is 0.
uint32_t Crc32Mpeg2(const unsigned char* data, std::size_t size);

// Whether `buffer`, as the service receives it (followed by zero bytes up to 1024 bytes), starts
// with a PMT section header whose section_length ends within those 1024 bytes and whose CRC_32
// holds over that length. Bytes for which this is false cannot be a valid PMT.
bool CrcHolds(const Bytes& buffer);

// Rewrites the last four bytes of `section` as the CRC_32 of the bytes before them.
void FixCrc(Bytes& section);

struct Stream {
    unsigned stream_type;
    unsigned pid;
    Bytes descriptors;  // the ES_info loop
};

// A PMT section with these streams (version 0, current, section 0 of 0, PCR PID 0x1FFF, no
// programme descriptors) and its CRC_32.
Bytes BuildSection(unsigned programme, const std::vector<Stream>& streams,
                   const Bytes& programme_descriptors = {});

// Descriptors, as bytes.
Bytes Descriptor(unsigned tag, const Bytes& body);
Bytes Language(const Bytes& code3, unsigned audio_type = 0);
Bytes StreamIdentifier(unsigned component_tag);
Bytes Subtitling(const std::vector<Bytes>& languages);
Bytes Teletext(const std::vector<std::pair<Bytes, unsigned>>& language_and_type);
Bytes Ac3();
Bytes EnhancedAc3();
Bytes Ca(unsigned system_id);

Bytes operator+(Bytes a, const Bytes& b);

}  // namespace pmt_bus

#endif
