#include "tsdemux/programme_scanner.h"

#include "trevalo/mpeg_constants.h"
#include "tsdemux/ts_packet.h"

namespace tsdemux {

ProgrammeScanner::ProgrammeScanner()
    : m_Reader([this](const uint8_t* packet) { OnPacket(packet); }),
      m_PatAssembler([this](const std::vector<uint8_t>& section) { OnPatSection(section); }) {}

void ProgrammeScanner::Feed(const uint8_t* bytes, size_t length) {
    m_Reader.Feed(bytes, length);
}

void ProgrammeScanner::Finish() {
    m_Reader.Finish();
}

const FoundPmt* ProgrammeScanner::PmtOf(uint16_t program_number) const {
    const auto found = m_Found.find(program_number);
    return found == m_Found.end() ? nullptr : &found->second;
}

bool ProgrammeScanner::AllFound() const {
    if (!m_Pat.Complete()) return false;
    for (const ProgramEntry& entry : m_Pat.Programmes()) {
        if (PmtOf(entry.program_number) == nullptr) return false;
    }
    return true;
}

void ProgrammeScanner::OnPacket(const uint8_t* packet) {
    PacketView view;
    if (!ReadPacket(packet, view)) return;
    if (view.pid == trevalo_mpeg::kPatPid) {
        m_PatAssembler.Push(view);
        return;
    }
    const auto assembler = m_PmtAssemblers.find(view.pid);
    if (assembler != m_PmtAssemblers.end()) assembler->second->Push(view);
}

bool ProgrammeScanner::Passes(const std::vector<uint8_t>& section) {
    const SectionCheck check = CheckLongSection(section);
    if (check == SectionCheck::kBadCrc) ++m_BadCrc;
    return check == SectionCheck::kOk;
}

void ProgrammeScanner::OnPatSection(const std::vector<uint8_t>& section) {
    if (!Passes(section) || !m_Pat.Take(section)) return;
    for (const ProgramEntry& entry : m_Pat.Programmes()) {
        std::unique_ptr<SectionAssembler>& assembler = m_PmtAssemblers[entry.pid];
        if (assembler) continue;
        const uint16_t pid = entry.pid;
        assembler = std::make_unique<SectionAssembler>(
            [this, pid](const std::vector<uint8_t>& pmt) { OnPmtSection(pid, pmt); });
    }
}

void ProgrammeScanner::OnPmtSection(uint16_t pid, const std::vector<uint8_t>& section) {
    if (!Passes(section)) return;
    const SectionHeader header = ReadSectionHeader(section);
    if (header.table_id != trevalo_mpeg::table_id::kPmt || !header.current_next) return;
    const uint16_t program = header.table_id_extension;
    if (m_Found.count(program) != 0) return;
    // Only on the PID the PAT gives the programme.
    for (const ProgramEntry& entry : m_Pat.Programmes()) {
        if (entry.program_number != program || entry.pid != pid) continue;
        FoundPmt& found = m_Found[program];
        found.program_number = program;
        found.pid = pid;
        found.version = header.version;
        found.section = section;
        return;
    }
}

}  // namespace tsdemux
