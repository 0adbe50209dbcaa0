// Gathers the sections of the current Program Association Table into its programme list: a PAT
// may span several sections, and a new version replaces the one gathered so far.
#ifndef TSDEMUX_PAT_COLLECTOR_H
#define TSDEMUX_PAT_COLLECTOR_H

#include <cstdint>
#include <map>
#include <vector>

#include "tsdemux/psi_section.h"

namespace tsdemux {

class PatCollector {
  public:
    // Takes a section that passed CheckLongSection. True when it completed a PAT whose
    // programmes differ from those of the last complete one (or is the first complete one).
    bool Take(const std::vector<uint8_t>& section);

    bool Complete() const { return m_Complete; }
    // The programmes of the last complete PAT, in its order, without the network PID entry.
    const std::vector<ProgramEntry>& Programmes() const { return m_Programmes; }

  private:
    // The sections of the version being gathered, by section_number.
    int m_Version = -1;
    uint8_t m_LastSection = 0;
    std::map<uint8_t, std::vector<ProgramEntry>> m_Parts;

    bool m_Complete = false;
    std::vector<ProgramEntry> m_Programmes;
};

}  // namespace tsdemux

#endif
