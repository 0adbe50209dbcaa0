// One GLib source that drives an sd-bus connection from the default main context: it polls the
// connection's fd for the events sd-bus asks for, wakes at its timeout, and takes one step of
// sd_bus_process per dispatch, so that no flood of messages keeps the loop's other sources waiting.
#ifndef ONDREL_BUS_SOURCE_H
#define ONDREL_BUS_SOURCE_H

#include <glib.h>
#include <systemd/sd-bus.h>

namespace Ondrel {
namespace bus {

// Called once when the connection is gone (`error` an errno value); the source then stops.
using LostHandler = void (*)(void* data, int error);

// Attaches a source for `bus` to the default main context; destroy it with Detach before the
// bus goes.
GSource* Attach(sd_bus* bus, LostHandler on_lost, void* data);

void Detach(GSource* source);

}  // namespace bus
}  // namespace Ondrel

#endif
