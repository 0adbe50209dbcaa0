#include "tsdemux/pmt_extractor.h"

#include <algorithm>
#include <utility>

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
    if (view.pid == kPatPid) {
        m_PatAssembler.Push(view);
    } else if (m_PmtPid >= 0 && view.pid == m_PmtPid) {
        m_PmtAssembler.Push(view);
    }
}

void PmtExtractor::OnPatSection(const std::vector<uint8_t>& section) {
    const SectionCheck check = CheckLongSection(section);
    if (check == SectionCheck::kBadCrc) ++m_BadCrc;
    if (check != SectionCheck::kOk) return;
    const SectionHeader header = ReadSectionHeader(section);
    // A PAT sent ahead of its time (current_next_indicator 0) does not apply yet.
    if (header.table_id != kPatTableId || !header.current_next ||
        header.section_number > header.last_section_number) {
        return;
    }
    if (header.version != m_PatVersion || header.last_section_number != m_PatLastSection) {
        m_PatVersion = header.version;
        m_PatLastSection = header.last_section_number;
        m_PatParts.clear();
    }
    m_PatParts[header.section_number] = ReadPatEntries(section);
    if (m_PatParts.size() != static_cast<size_t>(m_PatLastSection) + 1) return;

    std::vector<ProgramEntry> programmes;
    for (const auto& part : m_PatParts) {
        for (const ProgramEntry& entry : part.second) {
            if (entry.program_number != 0) programmes.push_back(entry);
        }
    }
    UseProgrammes(std::move(programmes));
}

void PmtExtractor::UseProgrammes(std::vector<ProgramEntry> programmes) {
    const auto same = [](const ProgramEntry& a, const ProgramEntry& b) {
        return a.program_number == b.program_number && a.pid == b.pid;
    };
    if (m_PatComplete && programmes.size() == m_Programmes.size() &&
        std::equal(programmes.begin(), programmes.end(), m_Programmes.begin(), same)) {
        return;  // the same PAT again
    }
    m_PatComplete = true;
    m_Programmes = std::move(programmes);
    // The first programme, once chosen, stays the one followed.
    if (m_Program == 0 && !m_Programmes.empty()) m_Program = m_Programmes.front().program_number;

    int pmt_pid = -1;
    for (const ProgramEntry& entry : m_Programmes) {
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
    if (header.table_id != kPmtTableId || header.table_id_extension != m_Program ||
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
