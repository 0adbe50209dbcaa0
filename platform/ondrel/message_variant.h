// A message as it travels on the bus: the tuple (s body, ay buffer).
#ifndef ONDREL_MESSAGE_VARIANT_H
#define ONDREL_MESSAGE_VARIANT_H

#include <gio/gio.h>

#include <string>

#include "Ondrel/TCMessage.h"

namespace Ondrel {
namespace message_variant {

// A floating (s ay) tuple of the message, body as compact JSON; null when the body cannot
// travel as a D-Bus string (not valid UTF-8).
GVariant* ToVariant(const TCMessage& message);

// Fills `message` from an (s ay) tuple. False, with `error` set, when the body is not JSON text;
// the message is then left untouched.
bool FromVariant(GVariant* tuple, TCMessage& message, std::string* error);

}  // namespace message_variant
}  // namespace Ondrel

#endif
