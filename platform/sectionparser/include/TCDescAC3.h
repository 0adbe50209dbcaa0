#ifndef SECTIONPARSER_TCDESCAC3_H
#define SECTIONPARSER_TCDESCAC3_H

#include "TCDescAC3Audio.h"
#include "trevalo/mpeg_constants.h"

// AC-3_descriptor (tag 0x6A, ETSI EN 300 468): marks a private PES stream as AC-3 audio. Its
// optional fields are left raw (Payload()); what matters to callers is that it is there.
class TCDescAC3 : public TCDescAC3Audio {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kAc3;

    using TCDescAC3Audio::TCDescAC3Audio;
};

#endif
