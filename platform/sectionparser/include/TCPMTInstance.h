#ifndef SECTIONPARSER_TCPMTINSTANCE_H
#define SECTIONPARSER_TCPMTINSTANCE_H

#include <memory>
#include <vector>

#include "TCBaseSection.h"
#include "TCDescriptor.h"
#include "TCPMTElementary.h"
#include "TCPMTLoopVisitor.h"
#include "trevalo/mpeg_constants.h"

class DescriptorTable;

// The latest TS_program_map_section (table_id 0x02) of one program_number, as a TCPMTParser keeps
// it. A valid instance passed, in this order:
//   - section_syntax_indicator is 1;
//   - section_length is within 13..1021 (13: the fixed fields after it plus the CRC_32);
//   - the CRC_32 (MPEG-2: polynomial 0x04C11DB7, initial value all ones) matches;
//   - the program_info loop ends before the CRC_32;
//   - every elementary-stream entry has its 5 fixed bytes and its ES_info loop before the CRC_32,
//     and the last entry ends exactly where the CRC_32 starts;
//   - every descriptor's 2 header bytes and payload lie inside its loop, and the last descriptor
//     ends exactly where its loop ends.
// An instance that is not valid answers its header fields but has no streams and no descriptors.
//
// The instance, its streams and descriptors belong to the parser; see TCPMTParser for how long
// pointers to them stay good.
class TCPMTInstance : public TCBaseSection {
  public:
    static constexpr int kTableId = trevalo_mpeg::table_id::kPmt;
    static constexpr int kMinSectionLength = 13;

    TCPMTInstance();
    ~TCPMTInstance() override;

    unsigned short ProgramNumber() const { return TableIdExtension(); }
    unsigned short PCRPID() const {
        return static_cast<unsigned short>(((ByteAt(8) & 0x1F) << 8) | ByteAt(9));
    }

    // Descriptors of the program_info loop, in loop order (null outside 0..count-1).
    int NumOfProgramDescriptor() const { return m_NumOfProgramDescriptor; }
    TCDescriptor* ProgramDescriptor(int index) const;

    // Entries of the elementary-stream loop, in loop order.
    int NumOfElementary() const { return static_cast<int>(m_Elementaries.size()); }
    // Null when `index` is not below NumOfElementary().
    TCPMTElementary* PMTElementary(unsigned int index);
    const TCPMTElementary* PMTElementary(unsigned int index) const;

    // Replaces what the instance holds with a copy of `section`, of which `readable` bytes may be
    // read, whose table_id the caller has checked and whose section_length is at least 2.
    // Returns IsValid().
    bool Load(int sourcePID, const unsigned char* section, int readable);

    // Reads the program_info and elementary-stream loops of the PMT section of `size` bytes at
    // `section` (table_id to CRC_32), never past the CRC_32, and hands what it finds to
    // `visitor`. Returns SECTION_VALID, SECTION_LENGTH_TOO_SHORT for fewer than 16 bytes (no
    // room for program_info_length and the CRC_32), or the first loop rule the section breaks
    // (see above). A descriptor running past its loop ends that loop and the next is still read;
    // a bad program_info_length or elementary-stream entry ends the reading. Load keeps nothing
    // of a section that breaks a rule; a reader that lists what it can keeps what came before.
    static ESectionStatus ReadLoops(const unsigned char* section, int size,
                                    TCPMTLoopVisitor& visitor);

  private:
    class LoopCollector;

    ESectionStatus KeepLoops();
    void Forget();

    std::unique_ptr<DescriptorTable> m_Descriptors;
    std::vector<TCPMTElementary> m_Elementaries;
    int m_NumOfProgramDescriptor = 0;
};

#endif
