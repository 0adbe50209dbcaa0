#ifndef SECTIONPARSER_TCBASESECTION_H
#define SECTIONPARSER_TCBASESECTION_H

#include <cstdint>
#include <vector>

#include "ESectionStatus.h"

// A copy of one long-form PSI section (ISO/IEC 13818-1) and the verdict on it. The copy is the
// section's 3 + section_length bytes, at most 1024: the layer never reads past the end the
// section's own header gives, nor past 1024 bytes from where it starts.
//
// Accessors of header fields that lie beyond a too-short copy answer 0.
class TCBaseSection {
  public:
    static constexpr int kMaxSectionSize = 1024;
    static constexpr int kMaxSectionLength = kMaxSectionSize - 3;  // 1021
    static constexpr int kCRCSize = 4;

    virtual ~TCBaseSection();

    // True when every check of the section passed; Status() says which failed first otherwise.
    bool IsValid() const { return m_Status == SECTION_VALID; }
    ESectionStatus Status() const { return m_Status; }

    int TableId() const { return ByteAt(0); }
    bool SectionSyntaxIndicator() const { return (ByteAt(1) & 0x80) != 0; }
    int SectionLength() const { return ((ByteAt(1) & 0x0F) << 8) | ByteAt(2); }
    unsigned short TableIdExtension() const {
        return static_cast<unsigned short>((ByteAt(3) << 8) | ByteAt(4));
    }
    int VersionNumber() const { return (ByteAt(5) >> 1) & 0x1F; }
    bool CurrentNextIndicator() const { return (ByteAt(5) & 0x01) != 0; }
    int SectionNumber() const { return ByteAt(6); }
    int LastSectionNumber() const { return ByteAt(7); }

    // The section's CRC_32 field as sent (the last four bytes of the copy).
    uint32_t CRC32() const;

    // The kept copy of the section.
    const unsigned char* Bytes() const { return m_Bytes.data(); }
    int Size() const { return static_cast<int>(m_Bytes.size()); }

    // The first argument of the TCSectionParser::Parse call that brought the section.
    int SourcePID() const { return m_SourcePID; }

  protected:
    TCBaseSection() = default;
    TCBaseSection(const TCBaseSection&) = delete;
    TCBaseSection& operator=(const TCBaseSection&) = delete;

    // Copies the section at `section`, of which `readable` bytes (at least 3) may be read, and
    // runs the checks every long-form section shares: section_syntax_indicator set,
    // section_length within minSectionLength..1021 and within what was readable, CRC_32. Returns
    // and records the verdict.
    ESectionStatus LoadLongForm(int sourcePID, const unsigned char* section, int readable,
                                int minSectionLength);

    void SetStatus(ESectionStatus status) { m_Status = status; }

    // The byte at `offset` of the copy, 0 beyond it.
    int ByteAt(int offset) const { return offset < Size() ? m_Bytes[offset] : 0; }

  private:
    ESectionStatus CheckLongForm(int minSectionLength) const;

    std::vector<unsigned char> m_Bytes;
    ESectionStatus m_Status = SECTION_LENGTH_TOO_SHORT;
    int m_SourcePID = 0;
};

#endif
