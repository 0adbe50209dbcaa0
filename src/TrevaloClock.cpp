#include "TrevaloClock.h"

#include <Ecore.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

bool StartMonotonicClock() {
    // Ecore's system modules reach for the system bus and complain when it is absent.
    setenv("ECORE_NO_SYSTEM_MODULES", "1", 1);
    // Without XDG_RUNTIME_DIR, EFL makes $HOME/.run and aborts when it cannot, as for the
    // service's system user (home "/", a read-only system). The service keeps no runtime files:
    // the conventional path is named, never created.
    const std::string runtime_dir = "/run/user/" + std::to_string(getuid());
    setenv("XDG_RUNTIME_DIR", runtime_dir.c_str(), 0);
    // Ecore takes over the process's signals (handlers, and the main thread's mask) and its
    // shutdown gives them back to no one: they are put back as they were.
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    struct sigaction actions[NSIG] = {};
    for (int signal_number = 1; signal_number < NSIG; ++signal_number) {
        sigaction(signal_number, nullptr, &actions[signal_number]);
    }
    const bool started = ecore_init() > 0;
    if (started) ecore_shutdown();
    for (int signal_number = 1; signal_number < NSIG; ++signal_number) {
        sigaction(signal_number, &actions[signal_number], nullptr);
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    return started;
}
