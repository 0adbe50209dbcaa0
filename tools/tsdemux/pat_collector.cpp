#include "tsdemux/pat_collector.h"

#include <algorithm>

#include "trevalo/mpeg_constants.h"

namespace tsdemux {

bool PatCollector::Take(const std::vector<uint8_t>& section) {
    const SectionHeader header = ReadSectionHeader(section);
    // A PAT sent ahead of its time (current_next_indicator 0) does not apply yet.
    if (header.table_id != trevalo_mpeg::table_id::kPat || !header.current_next ||
        header.section_number > header.last_section_number) {
        return false;
    }
    if (header.version != m_Version || header.last_section_number != m_LastSection) {
        m_Version = header.version;
        m_LastSection = header.last_section_number;
        m_Parts.clear();
    }
    m_Parts[header.section_number] = ReadPatEntries(section);
    if (m_Parts.size() != static_cast<size_t>(m_LastSection) + 1) return false;

    std::vector<ProgramEntry> programmes;
    for (const auto& part : m_Parts) {
        for (const ProgramEntry& entry : part.second) {
            if (entry.program_number != 0) programmes.push_back(entry);
        }
    }
    const auto same = [](const ProgramEntry& a, const ProgramEntry& b) {
        return a.program_number == b.program_number && a.pid == b.pid;
    };
    if (m_Complete && programmes.size() == m_Programmes.size() &&
        std::equal(programmes.begin(), programmes.end(), m_Programmes.begin(), same)) {
        return false;  // the same PAT again
    }
    m_Complete = true;
    m_Programmes = std::move(programmes);
    return true;
}

}  // namespace tsdemux
