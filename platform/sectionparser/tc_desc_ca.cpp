#include "TCDescCA.h"

uint16_t TCDescCA::CASystemID() const {
    if (!HasFixedPart()) return 0;
    return static_cast<uint16_t>((Payload()[0] << 8) | Payload()[1]);
}

uint16_t TCDescCA::CAPID() const {
    if (!HasFixedPart()) return kNoCAPID;
    return static_cast<uint16_t>(((Payload()[2] & 0x1F) << 8) | Payload()[3]);
}
