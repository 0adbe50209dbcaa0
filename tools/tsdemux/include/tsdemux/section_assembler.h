// Reassembles the PSI sections carried on one PID (ISO/IEC 13818-1, 2.4.4): sections start where
// the pointer_field of a payload_unit_start packet says, run on across packets, may follow one
// another in a packet, and end where their section_length says; 0xFF fills the rest. A packet
// lost (a continuity_counter that jumps) drops the section in progress.
#ifndef TSDEMUX_SECTION_ASSEMBLER_H
#define TSDEMUX_SECTION_ASSEMBLER_H

#include <cstdint>
#include <functional>
#include <vector>

#include "tsdemux/ts_packet.h"

namespace tsdemux {

// The longest section, table_id to its last byte (section_length at most 4093).
constexpr size_t kMaxSectionSize = 4096;

class SectionAssembler {
  public:
    // Receives each complete section, table_id to the last byte. Nothing is checked beyond its
    // length: the CRC is the receiver's to check.
    using SectionHandler = std::function<void(const std::vector<uint8_t>& section)>;

    explicit SectionAssembler(SectionHandler on_section);

    // Takes the next packet of the PID.
    void Push(const PacketView& packet);
    // Forgets the section in progress and the continuity counter (the PID changed).
    void Reset();

    // Sections dropped because a packet was missing, damaged or inconsistent.
    uint64_t DroppedSections() const { return m_Dropped; }

  private:
    bool ContinuityHolds(const PacketView& packet);
    void StartSections(const uint8_t* from, const uint8_t* end);
    // Appends bytes to the section in progress, up to its end; true when it is complete.
    bool Append(const uint8_t*& from, const uint8_t* end);
    void Emit();
    void Drop();

    SectionHandler m_OnSection;
    std::vector<uint8_t> m_Section;
    bool m_InSection = false;
    int m_LastCounter = -1;  // -1: unknown
    uint64_t m_Dropped = 0;
};

}  // namespace tsdemux

#endif
