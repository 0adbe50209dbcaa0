#include "bus_source.h"

#include <cerrno>
#include <cstdint>

namespace Ondrel {
namespace bus {
namespace {

struct BusSource {
    GSource base;  // first: GLib allocates and hands out the whole struct as a GSource
    sd_bus* bus;
    GPollFD poll_fd;
    LostHandler on_lost;
    void* data;
    bool more;  // the last sd_bus_process did something: call it again before polling
};

BusSource* Of(GSource* source) {
    return reinterpret_cast<BusSource*>(source);
}

// True when sd-bus's timeout has passed; otherwise `wait_ms` receives the time to it (-1: none).
bool Due(sd_bus* bus, gint* wait_ms) {
    uint64_t until = 0;
    if (sd_bus_get_timeout(bus, &until) < 0) return true;  // closed: let dispatch report it
    if (until == UINT64_MAX) {
        if (wait_ms != nullptr) *wait_ms = -1;
        return false;
    }
    // Both clocks are CLOCK_MONOTONIC in microseconds.
    const uint64_t now = static_cast<uint64_t>(g_get_monotonic_time());
    if (until <= now) return true;
    if (wait_ms != nullptr) *wait_ms = static_cast<gint>((until - now + 999) / 1000);
    return false;
}

gboolean Prepare(GSource* source, gint* wait_ms) {
    BusSource* self = Of(source);
    const int events = sd_bus_get_events(self->bus);
    if (events < 0) return TRUE;
    // GPollFD events are read after prepare, so no wake-up of the context is needed.
    self->poll_fd.events = static_cast<gushort>(events);
    if (self->more || Due(self->bus, wait_ms)) {
        *wait_ms = 0;
        return TRUE;
    }
    return FALSE;
}

gboolean Check(GSource* source) {
    BusSource* self = Of(source);
    if (self->more) return TRUE;
    if ((self->poll_fd.revents & (self->poll_fd.events | G_IO_HUP | G_IO_ERR | G_IO_NVAL)) != 0) {
        return TRUE;
    }
    return Due(self->bus, nullptr);
}

gboolean Dispatch(GSource* source, GSourceFunc, gpointer) {
    BusSource* self = Of(source);
    // One step per turn of the loop, as sd-event drives sd-bus: the other sources (signals, the
    // log's flush) run between two messages however fast they come. What is left to write goes
    // out when Prepare's POLLOUT says the socket takes it, never in a wait here.
    const int result = sd_bus_process(self->bus, nullptr);
    self->more = result > 0;
    // A connection being closed takes steps of its own (the Disconnected message) and then says
    // why it ended.
    if (result < 0 || (result == 0 && sd_bus_is_open(self->bus) <= 0)) {
        self->on_lost(self->data, result < 0 ? -result : ENOTCONN);
        return G_SOURCE_REMOVE;
    }
    return G_SOURCE_CONTINUE;
}

GSourceFuncs kFuncs = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};

}  // namespace

GSource* Attach(sd_bus* bus, LostHandler on_lost, void* data) {
    GSource* source = g_source_new(&kFuncs, sizeof(BusSource));
    BusSource* self = Of(source);
    self->bus = bus;
    self->on_lost = on_lost;
    self->data = data;
    self->more = true;  // whatever sd-bus read while connecting is dispatched at once
    self->poll_fd.fd = sd_bus_get_fd(bus);
    self->poll_fd.events = G_IO_IN;
    self->poll_fd.revents = 0;
    g_source_add_poll(source, &self->poll_fd);
    g_source_set_name(source, "ondrel bus");
    g_source_attach(source, nullptr);
    return source;
}

void Detach(GSource* source) {
    if (source == nullptr) return;
    g_source_destroy(source);
    g_source_unref(source);
}

}  // namespace bus
}  // namespace Ondrel
