// The systemd watchdog fed from the GLib main loop: a timeout source on the default main context
// sends WATCHDOG=1, so the pings stop when the loop stops turning (a wedged handler, a SIGSTOP)
// and the manager kills and restarts the process.
#ifndef ONDREL_WATCHDOG_H
#define ONDREL_WATCHDOG_H

namespace Ondrel {
namespace watchdog {

// When the manager watches this process (sd_watchdog_enabled: WATCHDOG_USEC, and WATCHDOG_PID
// naming it if set), attaches the source, pinging at half the interval, and logs one line saying
// so; otherwise (outside systemd, on the session bus) does nothing. Harmless when called again.
void Start();

}  // namespace watchdog
}  // namespace Ondrel

#endif
