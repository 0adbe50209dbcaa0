#include <algorithm>

#include "TCBaseSection.h"
#include "trevalo/crc32_mpeg2.h"

TCBaseSection::~TCBaseSection() = default;

uint32_t TCBaseSection::CRC32() const {
    if (Size() < kCRCSize) return 0;
    const unsigned char* crc = Bytes() + Size() - kCRCSize;
    return (uint32_t{crc[0]} << 24) | (uint32_t{crc[1]} << 16) | (uint32_t{crc[2]} << 8) |
           uint32_t{crc[3]};
}

ESectionStatus TCBaseSection::LoadLongForm(int sourcePID, const unsigned char* section,
                                           int readable, int minSectionLength) {
    m_SourcePID = sourcePID;
    // Only the bytes the header claims, never more than one section's worth, and never past
    // what the caller's block holds.
    const int sectionLength = ((section[1] & 0x0F) << 8) | section[2];
    const int size = std::min({3 + sectionLength, kMaxSectionSize, readable});
    m_Bytes.assign(section, section + size);
    m_Status = CheckLongForm(minSectionLength);
    return m_Status;
}

ESectionStatus TCBaseSection::CheckLongForm(int minSectionLength) const {
    if (!SectionSyntaxIndicator()) return SECTION_NOT_SYNTAX_FORM;
    if (SectionLength() < minSectionLength) return SECTION_LENGTH_TOO_SHORT;
    // Longer than a section may be, or than the bytes that came with it.
    if (SectionLength() > kMaxSectionLength || 3 + SectionLength() > Size()) {
        return SECTION_LENGTH_TOO_LONG;
    }
    if (trevalo_mpeg::Crc32Mpeg2(Bytes(), m_Bytes.size()) != 0) return SECTION_CRC_MISMATCH;
    return SECTION_VALID;
}
