#include "TCDescStreamIdentifier.h"

uint8_t TCDescStreamIdentifier::ComponentTag() const {
    return HasComponentTag() ? Payload()[0] : kNoComponentTag;
}
