#include "TCPMTInstance.h"
#include "byte_reader.h"
#include "descriptor_table.h"

namespace {

// Fields between section_length and the program_info loop: program_number, version, section
// numbers, PCR_PID, program_info_length.
constexpr int kFixedHeaderSize = 12;
constexpr int kESEntryHeaderSize = 5;
constexpr int kDescriptorHeaderSize = 2;

// Hands every descriptor of `loop` to `take` of `visitor`; false when one runs past the loop's end.
bool ReadDescriptorLoop(sectionparser::ByteReader loop, TCPMTLoopVisitor& visitor,
                        void (TCPMTLoopVisitor::*take)(const unsigned char*)) {
    while (!loop.AtEnd()) {
        const unsigned char* raw = loop.Current();
        loop.U8();  // descriptor_tag
        const uint8_t length = loop.U8();
        loop.Split(length);
        if (loop.Failed()) return false;
        (visitor.*take)(raw);
    }
    return true;
}

// The status of a section that broke `sofar` (SECTION_VALID: none yet) and now `fault` too.
ESectionStatus FirstFault(ESectionStatus sofar, ESectionStatus fault) {
    return sofar == SECTION_VALID ? fault : sofar;
}

}  // namespace

// Keeps what ReadLoops finds in the instance's descriptor table and stream list.
class TCPMTInstance::LoopCollector final : public TCPMTLoopVisitor {
  public:
    explicit LoopCollector(TCPMTInstance& instance) : m_Instance(instance) {}

    void ProgramDescriptor(const unsigned char* descriptor) override {
        m_Instance.m_Descriptors->Add(descriptor);
        ++m_Instance.m_NumOfProgramDescriptor;
    }

    void Elementary(unsigned char streamType, short elementaryPID, const unsigned char* esInfo,
                    int esInfoLength) override {
        DescriptorTable& table = *m_Instance.m_Descriptors;
        m_Instance.m_Elementaries.push_back(TCPMTElementary(
            streamType, elementaryPID, esInfo, esInfoLength, table.From(table.Size()), 0));
    }

    void ElementaryDescriptor(const unsigned char* descriptor) override {
        m_Instance.m_Descriptors->Add(descriptor);
        ++m_Instance.m_Elementaries.back().m_NumOfDescriptor;
    }

  private:
    TCPMTInstance& m_Instance;
};

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
    if (status == SECTION_VALID) status = KeepLoops();
    if (status != SECTION_VALID) Forget();
    SetStatus(status);
    return status == SECTION_VALID;
}

ESectionStatus TCPMTInstance::KeepLoops() {
    // Each descriptor takes at least its 2 header bytes and each entry at least 5, which bounds how
    // many can follow; with that room set aside nothing moves while the loops are read.
    const auto loopsSize = static_cast<size_t>(Size() - kFixedHeaderSize - kCRCSize);
    m_Descriptors->Prepare(loopsSize / kDescriptorHeaderSize);
    m_Elementaries.reserve(loopsSize / kESEntryHeaderSize);
    LoopCollector collector(*this);
    return ReadLoops(Bytes(), Size(), collector);
}

ESectionStatus TCPMTInstance::ReadLoops(const unsigned char* section, int size,
                                        TCPMTLoopVisitor& visitor) {
    using sectionparser::ByteReader;

    if (size < kFixedHeaderSize + kCRCSize) return SECTION_LENGTH_TOO_SHORT;
    // Everything between the fixed fields and the CRC_32.
    ByteReader body(section + kFixedHeaderSize,
                    static_cast<size_t>(size - kFixedHeaderSize - kCRCSize));
    ESectionStatus status = SECTION_VALID;

    const int programInfoLength = ((section[10] & 0x0F) << 8) | section[11];
    const ByteReader programInfo = body.Split(programInfoLength);
    if (body.Failed()) return SECTION_PROGRAM_INFO_OVERRUN;
    if (!ReadDescriptorLoop(programInfo, visitor, &TCPMTLoopVisitor::ProgramDescriptor)) {
        status = SECTION_DESCRIPTOR_OVERRUN;
    }

    while (!body.AtEnd()) {
        const uint8_t streamType = body.U8();
        const short elementaryPID = static_cast<short>(body.U16() & 0x1FFF);
        const int esInfoLength = body.U16() & 0x0FFF;
        if (body.Failed()) return FirstFault(status, SECTION_ES_ENTRY_TRUNCATED);

        const unsigned char* esInfo = body.Current();
        const ByteReader esInfoLoop = body.Split(esInfoLength);
        if (body.Failed()) return FirstFault(status, SECTION_ES_INFO_OVERRUN);

        visitor.Elementary(streamType, elementaryPID, esInfo, esInfoLength);
        if (!ReadDescriptorLoop(esInfoLoop, visitor, &TCPMTLoopVisitor::ElementaryDescriptor)) {
            status = FirstFault(status, SECTION_DESCRIPTOR_OVERRUN);
        }
    }
    return status;
}
