#ifndef SECTIONPARSER_TCPMTPARSER_H
#define SECTIONPARSER_TCPMTPARSER_H

// The one header a user of the PMT parser includes: the parser, the PMT it yields, its streams and
// every descriptor class it hands out.
#include <map>
#include <memory>

#include "EAudioType.h"
#include "ELanguageCode.h"
#include "ESectionStatus.h"
#include "TCBaseSection.h"
#include "TCDescAC3.h"
#include "TCDescAC3Audio.h"
#include "TCDescCA.h"
#include "TCDescEnhancedAC3.h"
#include "TCDescExtension.h"
#include "TCDescLanguage.h"
#include "TCDescStreamIdentifier.h"
#include "TCDescSubtitling.h"
#include "TCDescSupplementaryAudio.h"
#include "TCDescTeletext.h"
#include "TCDescriptor.h"
#include "TCPMTElementary.h"
#include "TCPMTInstance.h"
#include "TCPMTLoopVisitor.h"
#include "TCSectionParser.h"
#include "TVSHandle.h"

// Parser of Program Map Table sections (ISO/IEC 13818-1, table_id 0x02).
//
// What it keeps: the latest section of each program_number, copied, until Reset. A section whose
// header can be read (table_id 0x02 and a section_length of at least 2, so that program_number
// lies inside it) replaces the instance of its programme, valid or not, so IsValid() tells about
// the section just sent. Bytes that are not a PMT header (a null pointer, another table_id, a
// section_length below 2) are not kept; after such a Parse, PMTInstance answers null for every
// programme until the next Parse that brings a PMT header, so that a caller never mistakes an
// earlier section for the bytes it just sent. What was held before is not dropped by that.
//
// At most kMaxProgrammes programmes are held (a multiplex carries far fewer), so that a stream of
// sections with ever new program_numbers cannot grow memory without bound: a section of a new
// programme arriving while that many are held replaces the programme whose section came longest
// ago.
//
// Ownership: instances, their streams and their descriptors belong to the parser. A pointer it
// hands out stays good until the next Parse or Reset.
class TCPMTParser : public TCSectionParser {
  public:
    static constexpr int kMaxProgrammes = 256;

    explicit TCPMTParser(const TVSHandle& handle);
    ~TCPMTParser() override;

    void Reset() override;
    bool Parse(int sourcePID, const unsigned char* section) override;

    // The instance held for `programNumber`, null when there is none (see above).
    TCPMTInstance* PMTInstance(unsigned short programNumber);

    // Number of programmes held.
    int NumOfInstance() const { return static_cast<int>(m_Instances.size()); }

  private:
    struct HeldInstance {
        std::unique_ptr<TCPMTInstance> instance;
        unsigned long long arrival = 0;  // m_Arrivals when its latest section came
    };
    void DropOldestProgramme();

    std::map<unsigned short, HeldInstance> m_Instances;
    unsigned long long m_Arrivals = 0;
    bool m_LastParseKept = true;
};

#endif
