#include "tsdemux/pmt_extractor.h"

#include <utility>

#include "trevalo/mpeg_constants.h"
#include "tsdemux/ts_packet.h"

namespace tsdemux {

PmtExtractor::PmtExtractor(uint16_t program_number, PmtHandler on_pmt)
    : m_OnPmt(std::move(on_pmt)),
      m_Program(program_number),
      m_Reader([this](const uint8_t* packet) { OnPacket(packet); }),
      m_PatAssembler([this](const std::vector<uint8_t>& section) { OnPatSection(section); }),
      m_PmtAssembler([this](const std::vector<uint8_t>& section) { OnPmtSection(section); }) {}

void PmtExtractor::Feed(const uint8_t* bytes, size_t length) {
    m_Reader.Feed(bytes, length);
}

void PmtExtractor::Finish() {
    m_Reader.Finish();
}

void PmtExtractor::OnPacket(const uint8_t* packet) {
    PacketView view;
    if (!ReadPacket(packet, view)) return;
    if (view.pid == trevalo_mpeg::kPatPid) {
        m_PatAssembler.Push(view);
    } else if (m_PmtPid >= 0 && view.pid == m_PmtPid) {
        m_PmtAssembler.Push(view);
    }
}

void PmtExtractor::OnPatSection(const std::vector<uint8_t>& section) {
    const SectionCheck check = CheckLongSection(section);
    if (check == SectionCheck::kBadCrc) ++m_BadCrc;
    if (check != SectionCheck::kOk || !m_Pat.Take(section)) return;

    // The first programme, once chosen, stays the one followed.
    const std::vector<ProgramEntry>& programmes = m_Pat.Programmes();
    if (m_Program == 0 && !programmes.empty()) m_Program = programmes.front().program_number;
    int pmt_pid = -1;
    for (const ProgramEntry& entry : programmes) {
        if (entry.program_number == m_Program) {
            pmt_pid = entry.pid;
            break;
        }
    }
    m_ProgrammeMissing = pmt_pid < 0;
    if (pmt_pid != m_PmtPid) {
        m_PmtPid = pmt_pid;
        m_PmtAssembler.Reset();
    }
}

void PmtExtractor::OnPmtSection(const std::vector<uint8_t>& section) {
    const SectionCheck check = CheckLongSection(section);
    if (check == SectionCheck::kBadCrc) ++m_BadCrc;
    if (check != SectionCheck::kOk) return;
    const SectionHeader header = ReadSectionHeader(section);
    // Several programmes may share the PID; a PMT sent ahead of its time does not apply yet.
    if (header.table_id != trevalo_mpeg::table_id::kPmt || header.table_id_extension != m_Program ||
        !header.current_next) {
        return;
    }
    if (section == m_LastHandedOut) return;
    m_LastHandedOut = section;
    FoundPmt found;
    found.program_number = m_Program;
    found.pid = static_cast<uint16_t>(m_PmtPid);
    found.version = header.version;
    found.section = section;
    m_OnPmt(found);
}

}  // namespace tsdemux
