// TCValues written into sd-bus messages, for the server's properties and typed methods and the
// client's typed calls alike.
#ifndef ONDREL_VALUE_WIRE_H
#define ONDREL_VALUE_WIRE_H

#include <systemd/sd-bus.h>

#include "Ondrel/TCValue.h"

namespace Ondrel {
namespace value_wire {

// Appends `value` with its own signature; a negative errno when the message refuses it.
int AppendValue(sd_bus_message* message, const TCValue& value);
// Appends an a{sv}.
int AppendDictionary(sd_bus_message* message, const TCValue::Dictionary& dictionary);

}  // namespace value_wire
}  // namespace Ondrel

#endif
