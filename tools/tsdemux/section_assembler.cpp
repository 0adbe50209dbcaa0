#include "tsdemux/section_assembler.h"

#include <algorithm>
#include <utility>

namespace tsdemux {
namespace {

constexpr uint8_t kStuffing = 0xFF;  // a table_id of 0xFF: the rest of the payload is filler
constexpr size_t kHeaderSize = 3;    // table_id and the 12-bit section_length

}  // namespace

SectionAssembler::SectionAssembler(SectionHandler on_section)
    : m_OnSection(std::move(on_section)) {}

void SectionAssembler::Reset() {
    m_Section.clear();
    m_InSection = false;
    m_LastCounter = -1;
}

void SectionAssembler::Push(const PacketView& packet) {
    if (packet.transport_error) {
        Drop();
        m_LastCounter = -1;
        return;
    }
    // PSI is never scrambled, and packets with only an adaptation field keep the counter.
    if (packet.payload == nullptr || packet.scrambling != 0) return;
    // A packet may be sent twice in a row; the copy carries nothing new.
    if (packet.continuity_counter == m_LastCounter && !packet.discontinuity) return;
    if (!ContinuityHolds(packet)) Drop();

    const uint8_t* from = packet.payload;
    const uint8_t* const end = from + packet.payload_size;
    if (!packet.payload_unit_start) {
        // After a section that ends here only filler may follow: no section starts in this packet.
        if (m_InSection && Append(from, end)) Emit();
        return;
    }
    const size_t pointer = *from++;
    if (pointer > static_cast<size_t>(end - from)) {
        Drop();
        return;
    }
    const uint8_t* const start = from + pointer;
    if (m_InSection) {
        // The bytes before the pointed-to start finish the section in progress.
        if (Append(from, start)) {
            Emit();
        } else {
            Drop();
        }
    }
    StartSections(start, end);
}

bool SectionAssembler::ContinuityHolds(const PacketView& packet) {
    const int last = m_LastCounter;
    m_LastCounter = packet.continuity_counter;
    if (last < 0 || packet.discontinuity) return true;
    return packet.continuity_counter == ((last + 1) & 0x0F);
}

void SectionAssembler::StartSections(const uint8_t* from, const uint8_t* end) {
    while (from < end && *from != kStuffing) {
        m_InSection = true;
        m_Section.clear();
        if (!Append(from, end)) return;  // goes on in the next packet, or was dropped
        Emit();
    }
}

bool SectionAssembler::Append(const uint8_t*& from, const uint8_t* end) {
    while (true) {
        size_t wanted = kHeaderSize;
        if (m_Section.size() >= kHeaderSize) {
            wanted = kHeaderSize + (static_cast<size_t>(m_Section[1] & 0x0F) << 8 | m_Section[2]);
            if (wanted > kMaxSectionSize) {
                Drop();
                from = end;
                return false;
            }
            if (m_Section.size() == wanted) return true;
        }
        if (from == end) return false;
        const size_t take = std::min(wanted - m_Section.size(), static_cast<size_t>(end - from));
        m_Section.insert(m_Section.end(), from, from + take);
        from += take;
    }
}

void SectionAssembler::Emit() {
    std::vector<uint8_t> section;
    section.swap(m_Section);
    m_InSection = false;
    m_OnSection(section);
}

void SectionAssembler::Drop() {
    if (m_InSection) ++m_Dropped;
    m_InSection = false;
    m_Section.clear();
}

}  // namespace tsdemux
