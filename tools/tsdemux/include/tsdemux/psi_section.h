// The long-form PSI section header (ISO/IEC 13818-1, 2.4.4.10), its CRC_32 check, and the
// programme loop of a Program Association Table section.
#ifndef TSDEMUX_PSI_SECTION_H
#define TSDEMUX_PSI_SECTION_H

#include <cstdint>
#include <vector>

namespace tsdemux {

enum class SectionCheck {
    kOk,
    kNotLongForm,  // section_syntax_indicator clear, or too short for the header and CRC_32
    kBadCrc,
};

// Whether `section` is a long-form section whose CRC_32 holds.
SectionCheck CheckLongSection(const std::vector<uint8_t>& section);

struct SectionHeader {
    uint8_t table_id = 0;
    uint16_t table_id_extension = 0;  // transport_stream_id in a PAT, program_number in a PMT
    uint8_t version = 0;
    bool current_next = false;
    uint8_t section_number = 0;
    uint8_t last_section_number = 0;
};

// The header of a section that passed CheckLongSection.
SectionHeader ReadSectionHeader(const std::vector<uint8_t>& section);

struct ProgramEntry {
    uint16_t program_number = 0;  // 0: the entry names the network PID, not a programme
    uint16_t pid = 0;
};

// The programme loop of a PAT section that passed CheckLongSection, in section order.
std::vector<ProgramEntry> ReadPatEntries(const std::vector<uint8_t>& section);

}  // namespace tsdemux

#endif
