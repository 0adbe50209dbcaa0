#include "watchdog.h"

#include <glib.h>
#include <systemd/sd-daemon.h>

#include <cstdint>

#include "dlog.h"

namespace Ondrel {
namespace watchdog {
namespace {

gboolean Ping(gpointer) {
    sd_notify(0, "WATCHDOG=1");
    return G_SOURCE_CONTINUE;
}

// The manager's interval (0: not watched), read before main: EFL's ecore_init takes
// WATCHDOG_USEC out of the environment for a timer of its own main loop, which never runs here.
uint64_t WatchedInterval() {
    uint64_t interval_us = 0;
    return sd_watchdog_enabled(0, &interval_us) > 0 ? interval_us : 0;
}
const uint64_t g_interval_us = WatchedInterval();

bool g_started = false;

}  // namespace

void Start() {
    if (g_started || g_interval_us == 0) return;
    g_started = true;
    const uint64_t interval_us = g_interval_us;
    // Half the interval: a ping late by a busy moment still arrives in time.
    const guint period_ms = static_cast<guint>(interval_us / 2000 > 0 ? interval_us / 2000 : 1);
    // The first ping at once: the manager's clock runs from the start.
    Ping(nullptr);
    GSource* source = g_timeout_source_new(period_ms);
    g_source_set_callback(source, Ping, nullptr, nullptr);
    g_source_set_name(source, "ondrel watchdog");
    g_source_attach(source, nullptr);
    g_source_unref(source);  // the main context holds it for the life of the process
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "ONDREL", "watchdog: WATCHDOG=1 every %u ms\n", period_ms);
}

}  // namespace watchdog
}  // namespace Ondrel
