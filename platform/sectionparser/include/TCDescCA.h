#ifndef SECTIONPARSER_TCDESCCA_H
#define SECTIONPARSER_TCDESCCA_H

#include <cstdint>

#include "TCDescriptor.h"
#include "trevalo/mpeg_constants.h"

// CA_descriptor (tag 0x09, ISO/IEC 13818-1): the conditional-access system that scrambles the
// stream and the PID of its ECM stream, then private bytes of that system.
class TCDescCA : public TCDescriptor {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kCa;
    static constexpr uint16_t kNoCAPID = 0x1FFF;

    using TCDescriptor::TCDescriptor;

    // The fixed part (CA_system_ID, CA_PID) takes 4 bytes; with fewer, CASystemID() answers 0,
    // CAPID() answers kNoCAPID and there are no private bytes.
    bool HasFixedPart() const { return Length() >= 4; }
    uint16_t CASystemID() const;
    uint16_t CAPID() const;
    const unsigned char* PrivateData() const { return Payload() + 4; }
    int PrivateDataLength() const { return HasFixedPart() ? Length() - 4 : 0; }

    bool IsWellFormed() const override { return HasFixedPart(); }
};

#endif
