// Finds every programme of a transport stream and the first valid PMT section of each: the PAT
// names the PMT PIDs, and the sections on them are gathered until each programme has one.
#ifndef TSDEMUX_PROGRAMME_SCANNER_H
#define TSDEMUX_PROGRAMME_SCANNER_H

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "tsdemux/packet_reader.h"
#include "tsdemux/pat_collector.h"
#include "tsdemux/pmt_extractor.h"
#include "tsdemux/section_assembler.h"

namespace tsdemux {

class ProgrammeScanner {
  public:
    ProgrammeScanner();
    ProgrammeScanner(const ProgrammeScanner&) = delete;
    ProgrammeScanner& operator=(const ProgrammeScanner&) = delete;

    void Feed(const uint8_t* bytes, size_t length);
    void Finish();

    bool PatComplete() const { return m_Pat.Complete(); }
    // The programmes of the last complete PAT, in its order.
    const std::vector<ProgramEntry>& Programmes() const { return m_Pat.Programmes(); }
    // The first valid PMT of a programme of that PAT; null while none was seen.
    const FoundPmt* PmtOf(uint16_t program_number) const;
    // The PAT is complete and each of its programmes has its PMT.
    bool AllFound() const;

    uint64_t BadCrcSections() const { return m_BadCrc; }
    const PacketReader& Reader() const { return m_Reader; }

  private:
    void OnPacket(const uint8_t* packet);
    void OnPatSection(const std::vector<uint8_t>& section);
    void OnPmtSection(uint16_t pid, const std::vector<uint8_t>& section);
    bool Passes(const std::vector<uint8_t>& section);

    PacketReader m_Reader;
    SectionAssembler m_PatAssembler;
    PatCollector m_Pat;
    // One assembler per PMT PID of the PAT (programmes may share one).
    std::map<uint16_t, std::unique_ptr<SectionAssembler>> m_PmtAssemblers;
    std::map<uint16_t, FoundPmt> m_Found;  // by programme number
    uint64_t m_BadCrc = 0;
};

}  // namespace tsdemux

#endif
