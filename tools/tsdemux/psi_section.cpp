#include "tsdemux/psi_section.h"

#include "trevalo/crc32_mpeg2.h"

namespace tsdemux {
namespace {

constexpr size_t kLongHeaderSize = 8;  // table_id to last_section_number
constexpr size_t kCrcSize = 4;
constexpr size_t kPatEntrySize = 4;

}  // namespace

SectionCheck CheckLongSection(const std::vector<uint8_t>& section) {
    if (section.size() < kLongHeaderSize + kCrcSize || (section[1] & 0x80) == 0) {
        return SectionCheck::kNotLongForm;
    }
    // Run over the whole section, CRC_32 included, the register ends at zero.
    return trevalo_mpeg::Crc32Mpeg2(section.data(), section.size()) == 0 ? SectionCheck::kOk
                                                                         : SectionCheck::kBadCrc;
}

SectionHeader ReadSectionHeader(const std::vector<uint8_t>& section) {
    SectionHeader header;
    header.table_id = section[0];
    header.table_id_extension = static_cast<uint16_t>(section[3] << 8 | section[4]);
    header.version = static_cast<uint8_t>((section[5] >> 1) & 0x1F);
    header.current_next = (section[5] & 0x01) != 0;
    header.section_number = section[6];
    header.last_section_number = section[7];
    return header;
}

std::vector<ProgramEntry> ReadPatEntries(const std::vector<uint8_t>& section) {
    std::vector<ProgramEntry> entries;
    const size_t loop_end = section.size() - kCrcSize;
    for (size_t at = kLongHeaderSize; at + kPatEntrySize <= loop_end; at += kPatEntrySize) {
        ProgramEntry entry;
        entry.program_number = static_cast<uint16_t>(section[at] << 8 | section[at + 1]);
        entry.pid = static_cast<uint16_t>((section[at + 2] & 0x1F) << 8 | section[at + 3]);
        entries.push_back(entry);
    }
    return entries;
}

}  // namespace tsdemux
