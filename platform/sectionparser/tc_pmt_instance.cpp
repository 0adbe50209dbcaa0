#include "TCPMTInstance.h"
#include "byte_reader.h"
#include "descriptor_table.h"

namespace {

// Fields between section_length and the program_info loop: program_number, version, section
// numbers, PCR_PID, program_info_length.
constexpr int kFixedHeaderSize = 12;
constexpr int kESEntryHeaderSize = 5;
constexpr int kDescriptorHeaderSize = 2;

// Adds every descriptor of `loop` to `table`; false when one runs past the loop's end.
bool ReadDescriptorLoop(sectionparser::ByteReader loop, DescriptorTable& table) {
    while (!loop.AtEnd()) {
        const unsigned char* raw = loop.Current();
        loop.U8();  // descriptor_tag
        const uint8_t length = loop.U8();
        loop.Split(length);
        if (loop.Failed()) return false;
        table.Add(raw);
    }
    return true;
}

}  // namespace

TCPMTInstance::TCPMTInstance() : m_Descriptors(std::make_unique<DescriptorTable>()) {}

TCPMTInstance::~TCPMTInstance() = default;

TCDescriptor* TCPMTInstance::ProgramDescriptor(int index) const {
    if (index < 0 || index >= m_NumOfProgramDescriptor) return nullptr;
    return m_Descriptors->From(0)[index];
}

TCPMTElementary* TCPMTInstance::PMTElementary(unsigned int index) {
    return index < m_Elementaries.size() ? &m_Elementaries[index] : nullptr;
}

const TCPMTElementary* TCPMTInstance::PMTElementary(unsigned int index) const {
    return index < m_Elementaries.size() ? &m_Elementaries[index] : nullptr;
}

void TCPMTInstance::Forget() {
    m_Elementaries.clear();
    m_Descriptors->Clear();
    m_NumOfProgramDescriptor = 0;
}

bool TCPMTInstance::Load(int sourcePID, const unsigned char* section, int readable) {
    Forget();
    ESectionStatus status = LoadLongForm(sourcePID, section, readable, kMinSectionLength);
    if (status == SECTION_VALID) status = ReadLoops();
    if (status != SECTION_VALID) Forget();
    SetStatus(status);
    return status == SECTION_VALID;
}

ESectionStatus TCPMTInstance::ReadLoops() {
    using sectionparser::ByteReader;

    // Everything between the fixed fields and the CRC_32; section_length >= 13 makes it exist.
    const unsigned char* loops = Bytes() + kFixedHeaderSize;
    const size_t loopsSize = static_cast<size_t>(Size() - kFixedHeaderSize - kCRCSize);
    ByteReader body(loops, loopsSize);

    // Each descriptor takes at least its 2 header bytes and each entry at least 5, which bounds how
    // many can follow; with that room set aside nothing moves while the loops are read.
    m_Descriptors->Prepare(loopsSize / kDescriptorHeaderSize);
    m_Elementaries.reserve(loopsSize / kESEntryHeaderSize);

    const int programInfoLength = ((ByteAt(10) & 0x0F) << 8) | ByteAt(11);
    const ByteReader programInfo = body.Split(programInfoLength);
    if (body.Failed()) return SECTION_PROGRAM_INFO_OVERRUN;
    if (!ReadDescriptorLoop(programInfo, *m_Descriptors)) return SECTION_DESCRIPTOR_OVERRUN;
    m_NumOfProgramDescriptor = m_Descriptors->Size();

    while (!body.AtEnd()) {
        const uint8_t streamType = body.U8();
        const short elementaryPID = static_cast<short>(body.U16() & 0x1FFF);
        const int esInfoLength = body.U16() & 0x0FFF;
        if (body.Failed()) return SECTION_ES_ENTRY_TRUNCATED;

        const unsigned char* esInfo = body.Current();
        const ByteReader esInfoLoop = body.Split(esInfoLength);
        if (body.Failed()) return SECTION_ES_INFO_OVERRUN;

        const int first = m_Descriptors->Size();
        if (!ReadDescriptorLoop(esInfoLoop, *m_Descriptors)) return SECTION_DESCRIPTOR_OVERRUN;
        m_Elementaries.push_back(TCPMTElementary(streamType, elementaryPID, esInfo, esInfoLength,
                                                 m_Descriptors->From(first),
                                                 m_Descriptors->Size() - first));
    }
    return SECTION_VALID;
}
