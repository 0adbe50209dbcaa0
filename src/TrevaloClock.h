// The monotonic clock of the playing-time store (ecore_time_get), without Ecore's main loop.
#ifndef TREVALO_CLOCK_H
#define TREVALO_CLOCK_H

// Switches ecore_time_get to the monotonic clock. Ecore chooses its clock in ecore_init, which
// also opens the descriptors of its own main loop (pipes, epoll, timerfd, eventfd); the service
// runs GLib's loop, so Ecore is shut down again at once: the choice of clock stays, the
// descriptors go, and the signal handlers and mask Ecore took are put back. False, with the clock
// left to Ecore's default (the wall clock), when Ecore cannot be started.
bool StartMonotonicClock();

#endif
