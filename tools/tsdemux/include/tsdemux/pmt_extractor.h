// Follows one programme's PMT through a transport stream: the PAT on PID 0 names the PID that
// carries the programme's PMT, and every PMT section of the programme on that PID that passes
// the CRC check and differs from the one handed out before is handed out (a new version, as a
// tuner's output or a recording goes on).
#ifndef TSDEMUX_PMT_EXTRACTOR_H
#define TSDEMUX_PMT_EXTRACTOR_H

#include <cstdint>
#include <functional>
#include <vector>

#include "tsdemux/packet_reader.h"
#include "tsdemux/pat_collector.h"
#include "tsdemux/psi_section.h"
#include "tsdemux/section_assembler.h"

namespace tsdemux {

struct FoundPmt {
    uint16_t program_number = 0;
    uint16_t pid = 0;
    uint8_t version = 0;
    std::vector<uint8_t> section;  // table_id to CRC_32
};

class PmtExtractor {
  public:
    using PmtHandler = std::function<void(const FoundPmt& pmt)>;

    // `program_number` 0 follows the first programme the PAT lists.
    PmtExtractor(uint16_t program_number, PmtHandler on_pmt);

    PmtExtractor(const PmtExtractor&) = delete;
    PmtExtractor& operator=(const PmtExtractor&) = delete;

    void Feed(const uint8_t* bytes, size_t length);
    void Finish();

    // What was seen so far, to tell why no PMT came out.
    bool PatComplete() const { return m_Pat.Complete(); }
    // The programmes of the last complete PAT, in its order, without the network PID entry.
    const std::vector<ProgramEntry>& Programmes() const { return m_Pat.Programmes(); }
    // The last complete PAT does not list the programme asked for.
    bool ProgrammeMissing() const { return m_ProgrammeMissing; }
    // The programme followed: the one asked for, or the first of the PAT once it is known.
    uint16_t ProgramNumber() const { return m_Program; }
    // The PID of its PMT; -1 while unknown.
    int PmtPid() const { return m_PmtPid; }
    uint64_t BadCrcSections() const { return m_BadCrc; }
    const PacketReader& Reader() const { return m_Reader; }

  private:
    void OnPacket(const uint8_t* packet);
    void OnPatSection(const std::vector<uint8_t>& section);
    void OnPmtSection(const std::vector<uint8_t>& section);

    PmtHandler m_OnPmt;
    uint16_t m_Program;
    PacketReader m_Reader;
    SectionAssembler m_PatAssembler;
    SectionAssembler m_PmtAssembler;

    PatCollector m_Pat;
    bool m_ProgrammeMissing = false;
    int m_PmtPid = -1;
    uint64_t m_BadCrc = 0;
    std::vector<uint8_t> m_LastHandedOut;
};

}  // namespace tsdemux

#endif
