// Test support: PMT sections built by hand, with a CRC_32 computed here bit by bit, independently
// of the parser's own table-driven one, and helpers to damage them field by field.
#ifndef TESTS_PMT_SECTION_BUILDER_H
#define TESTS_PMT_SECTION_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "files.h"

namespace pmt_test {

using test_support::Bytes;

// Offsets of the fields the tests damage.
constexpr size_t kSectionLengthOffset = 1;
constexpr size_t kProgramInfoLengthOffset = 10;
constexpr size_t kFirstLoopOffset = 12;

// CRC_32 of ISO/IEC 13818-1 Annex A, one bit at a time.
uint32_t ReferenceCrc32(const unsigned char* data, size_t size);

// The parts one after the other.
Bytes Concat(const std::vector<Bytes>& parts);

// A descriptor: tag, length, payload.
Bytes Descriptor(uint8_t tag, const Bytes& payload);

// Descriptors of the kinds the service reads, from their fields.
Bytes StreamIdentifier(uint8_t componentTag);
Bytes CA(uint16_t systemId, uint16_t caPid, const Bytes& privateData = {});
struct LanguageEntry {
    std::string code;  // three characters
    uint8_t audioType;
};
Bytes Language(const std::vector<LanguageEntry>& entries);
struct SubtitlingEntry {
    std::string code;
    uint8_t subtitlingType;
    uint16_t compositionPageId;
    uint16_t ancillaryPageId;
};
Bytes Subtitling(const std::vector<SubtitlingEntry>& entries);
struct TeletextEntry {
    std::string code;
    uint8_t type;      // 5 bits
    uint8_t magazine;  // 3 bits
    uint8_t page;
};
Bytes Teletext(const std::vector<TeletextEntry>& entries);
// An AC-3 (0x6A) or Enhanced AC-3 (0x7A) descriptor carrying only component_type.
Bytes AC3Audio(uint8_t tag, uint8_t componentType);
// A supplementary audio descriptor (0x7F, extension 0x06); `code` empty for none.
Bytes SupplementaryAudio(uint8_t mixType, uint8_t editorialClassification, const std::string& code);

// The first eight bytes of a long-form section (section_syntax_indicator 1), up to
// last_section_number (both section numbers 0); FinishLongForm sets its length.
Bytes LongFormHeader(uint8_t tableId, uint16_t extension, uint8_t version, bool currentNext);
// Appends the CRC_32 to the section so far, with section_length to match.
void FinishLongForm(Bytes& section);

// Builds a TS_program_map_section with consistent lengths and a correct CRC_32.
class PmtBuilder {
  public:
    PmtBuilder& ProgramNumber(uint16_t programNumber) {
        return Set(m_ProgramNumber, programNumber);
    }
    PmtBuilder& Version(uint8_t version) { return Set(m_Version, version); }
    PmtBuilder& CurrentNext(bool currentNext) { return Set(m_CurrentNext, currentNext); }
    PmtBuilder& PcrPid(uint16_t pcrPid) { return Set(m_PcrPid, pcrPid); }
    PmtBuilder& ProgramDescriptor(const Bytes& descriptor);
    PmtBuilder& Stream(uint8_t streamType, uint16_t pid,
                       const std::vector<Bytes>& descriptors = {});

    Bytes Build() const;

  private:
    template <typename Field>
    PmtBuilder& Set(Field& field, Field value) {
        field = value;
        return *this;
    }

    struct StreamEntry {
        uint8_t type;
        uint16_t pid;
        std::vector<Bytes> descriptors;
    };
    uint16_t m_ProgramNumber = 1;
    uint8_t m_Version = 0;
    bool m_CurrentNext = true;
    uint16_t m_PcrPid = 0x0100;
    std::vector<Bytes> m_ProgramDescriptors;
    std::vector<StreamEntry> m_Streams;
};

// The 12-bit length field at `offset` (section_length, program_info_length, ES_info_length).
int LengthField(const Bytes& section, size_t offset);
void SetLengthField(Bytes& section, size_t offset, int value);

// Resizes the section to 3 + section_length bytes (cutting, or adding zeros before the CRC_32)
// and writes a correct CRC_32 at its end, so that only the damaged field is wrong.
void RestampCrc(Bytes& section);

// The section under another program_number and version_number, its CRC_32 made right again.
Bytes Renumbered(Bytes section, int program_number, int version);

// Offset of the first elementary-stream entry, past the program_info loop.
size_t FirstStreamOffset(const Bytes& section);

// The section at the start of a 1024-byte zero-filled buffer, as the framework hands it over.
Bytes Framed(const Bytes& section);

}  // namespace pmt_test

#endif
