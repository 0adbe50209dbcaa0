#ifndef SECTIONPARSER_TCDESCSTREAMIDENTIFIER_H
#define SECTIONPARSER_TCDESCSTREAMIDENTIFIER_H

#include <cstdint>

#include "TCDescriptor.h"
#include "trevalo/mpeg_constants.h"

// stream_identifier_descriptor (tag 0x52, ETSI EN 300 468): the component_tag that ties an
// elementary stream to the component descriptors of the service.
class TCDescStreamIdentifier : public TCDescriptor {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kStreamIdentifier;
    static constexpr uint8_t kNoComponentTag = 0xFF;

    using TCDescriptor::TCDescriptor;

    // component_tag; kNoComponentTag (0xFF) when the payload is empty.
    uint8_t ComponentTag() const;
    bool HasComponentTag() const { return Length() >= 1; }

    bool IsWellFormed() const override { return Length() == 1; }
};

#endif
