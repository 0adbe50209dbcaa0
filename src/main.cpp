#include <Ecore.h>
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "TrevaloLog.h"
#include "TrevaloService.h"

namespace {

// The service object lives for the whole process and is never deleted; holding it here keeps
// it reachable to the end (and out of leak checkers' reports).
TrevaloService* g_service = nullptr;

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

void InitClock() {
    // Ecore's system modules reach for the system bus and complain when it is absent; the
    // service only needs its monotonic clock, which ecore_init switches on.
    setenv("ECORE_NO_SYSTEM_MODULES", "1", 1);
    // Without XDG_RUNTIME_DIR, EFL makes $HOME/.run and aborts when it cannot, as for the
    // service's system user (home "/", a read-only system). The service keeps no runtime files:
    // the conventional path is named, never created.
    const std::string runtime_dir = "/run/user/" + std::to_string(getuid());
    setenv("XDG_RUNTIME_DIR", runtime_dir.c_str(), 0);
    ecore_init();
}

}  // namespace

int main() {
    InitClock();
    g_service = new TrevaloService();
    TREVALO_LOGI("Main Begin");

    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    if (loop == nullptr) {
        TREVALO_LOGE("Failed to create the mainloop");
        return -1;
    }
    // An orderly stop: SIGTERM or SIGINT quits the loop, and the teardown below runs.
    g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_unix_signal_add(SIGINT, QuitLoop, loop);

    if (!TrevaloService::OnCreate(g_service)) {
        TREVALO_LOGE("Failed to create the service");
        TrevaloService::OnTerminate(g_service);
        g_main_loop_unref(loop);
        return -1;
    }

    g_main_loop_run(loop);

    TrevaloService::OnTerminate(g_service);
    g_main_loop_unref(loop);
    return 0;
}
