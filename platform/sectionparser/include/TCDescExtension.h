#ifndef SECTIONPARSER_TCDESCEXTENSION_H
#define SECTIONPARSER_TCDESCEXTENSION_H

#include <cstdint>

#include "TCDescriptor.h"
#include "trevalo/mpeg_constants.h"

// extension_descriptor (tag 0x7F, ETSI EN 300 468): a descriptor_tag_extension byte, then the
// payload of the descriptor it names. The parser hands out the class of the extensions it decodes
// (TCDescSupplementaryAudio) and this one for the others.
class TCDescExtension : public TCDescriptor {
  public:
    static constexpr int kTag = trevalo_mpeg::descriptor_tag::kExtension;
    static constexpr int kNoTagExtension = -1;

    using TCDescriptor::TCDescriptor;

    // descriptor_tag_extension; kNoTagExtension when the payload is empty.
    int TagExtension() const { return Length() >= 1 ? Payload()[0] : kNoTagExtension; }

    // The bytes after descriptor_tag_extension.
    const unsigned char* ExtensionPayload() const { return Payload() + 1; }
    int ExtensionLength() const { return Length() >= 1 ? Length() - 1 : 0; }

    bool IsWellFormed() const override { return Length() >= 1; }
};

#endif
