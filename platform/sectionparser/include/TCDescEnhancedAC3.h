#ifndef SECTIONPARSER_TCDESCENHANCEDAC3_H
#define SECTIONPARSER_TCDESCENHANCEDAC3_H

#include "TCDescAC3Audio.h"
#include "trevalo/mpeg_constants.h"

// enhanced_AC-3_descriptor (tag 0x7A, ETSI EN 300 468): marks a private PES stream as Enhanced
// AC-3 audio. Its optional fields are left raw (Payload()).
class TCDescEnhancedAC3 : public TCDescAC3Audio {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kEnhancedAc3;

    using TCDescAC3Audio::TCDescAC3Audio;
};

#endif
