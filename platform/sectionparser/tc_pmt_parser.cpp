#include "TCPMTParser.h"

TCPMTParser::TCPMTParser(const TVSHandle& handle) : TCSectionParser(handle) {}

TCPMTParser::~TCPMTParser() = default;

void TCPMTParser::Reset() {
    m_Instances.clear();
    m_LastParseKept = true;
}

bool TCPMTParser::Parse(int sourcePID, const unsigned char* section) {
    m_LastParseKept = false;
    if (section == nullptr || section[0] != TCPMTInstance::kTableId) return false;
    // program_number must lie inside the section for the bytes to name a programme.
    const int sectionLength = ((section[1] & 0x0F) << 8) | section[2];
    if (sectionLength < 2) return false;

    const auto programNumber = static_cast<unsigned short>((section[3] << 8) | section[4]);
    std::unique_ptr<TCPMTInstance>& instance = m_Instances[programNumber];
    if (!instance) instance = std::make_unique<TCPMTInstance>();
    m_LastParseKept = true;
    return instance->Load(sourcePID, section);
}

TCPMTInstance* TCPMTParser::PMTInstance(unsigned short programNumber) {
    if (!m_LastParseKept) return nullptr;
    const auto found = m_Instances.find(programNumber);
    return found != m_Instances.end() ? found->second.get() : nullptr;
}
