#include <algorithm>

#include "TCPMTParser.h"
#include "trevalo/readable_extent.h"

namespace {

// table_id, the two bytes of section_length and the two of program_number.
constexpr int kProgrammeHeaderSize = 5;

}  // namespace

TCPMTParser::TCPMTParser(const TVSHandle& handle) : TCSectionParser(handle) {}

TCPMTParser::~TCPMTParser() = default;

void TCPMTParser::Reset() {
    m_Instances.clear();
    m_LastParseKept = true;
}

bool TCPMTParser::Parse(int sourcePID, const unsigned char* section) {
    m_LastParseKept = false;
    if (section == nullptr) return false;
    // The bound this parser reads within: the block's recorded end, and one section at most.
    const int readable = static_cast<int>(
        std::min<size_t>(trevalo_extent::ReadableFrom(section, TCBaseSection::kMaxSectionSize),
                         TCBaseSection::kMaxSectionSize));
    // table_id, section_length and program_number must all be there to name a programme.
    if (readable < kProgrammeHeaderSize || section[0] != TCPMTInstance::kTableId) return false;
    const int sectionLength = ((section[1] & 0x0F) << 8) | section[2];
    if (sectionLength < 2) return false;

    const auto programNumber = static_cast<unsigned short>((section[3] << 8) | section[4]);
    if (m_Instances.count(programNumber) == 0 &&
        m_Instances.size() >= static_cast<size_t>(kMaxProgrammes)) {
        DropOldestProgramme();
    }
    HeldInstance& held = m_Instances[programNumber];
    if (!held.instance) held.instance = std::make_unique<TCPMTInstance>();
    held.arrival = ++m_Arrivals;
    m_LastParseKept = true;
    return held.instance->Load(sourcePID, section, readable);
}

void TCPMTParser::DropOldestProgramme() {
    auto oldest = m_Instances.begin();
    for (auto it = m_Instances.begin(); it != m_Instances.end(); ++it) {
        if (it->second.arrival < oldest->second.arrival) oldest = it;
    }
    if (oldest != m_Instances.end()) m_Instances.erase(oldest);
}

TCPMTInstance* TCPMTParser::PMTInstance(unsigned short programNumber) {
    if (!m_LastParseKept) return nullptr;
    const auto found = m_Instances.find(programNumber);
    return found != m_Instances.end() ? found->second.instance.get() : nullptr;
}
