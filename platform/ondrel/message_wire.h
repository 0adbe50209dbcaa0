// A message as it travels on the bus: the arguments (s body, ay buffer) of an sd-bus message.
#ifndef ONDREL_MESSAGE_WIRE_H
#define ONDREL_MESSAGE_WIRE_H

#include <systemd/sd-bus.h>

#include <string>

#include "Ondrel/TCMessage.h"

namespace Ondrel {
namespace message_wire {

// Appends the message's body as compact JSON, then its buffer. False when the body cannot travel
// as a D-Bus string (not valid UTF-8) or the message takes no more arguments.
bool Append(sd_bus_message* wire, const TCMessage& message);

// The lengths in bytes of the body and the buffer of the (s ay) arguments of `wire`, read without
// copying them; the arguments are left to be read from the start. False when they are not (s ay).
bool ArgumentSizes(sd_bus_message* wire, size_t* body, size_t* buffer);

// Fills `message` from the (s ay) arguments of `wire`. False, with `error` set, when they are not
// (s ay) or the body is not JSON text; the message is then left untouched.
bool Read(sd_bus_message* wire, TCMessage& message, std::string* error);

}  // namespace message_wire
}  // namespace Ondrel

#endif
