#include "interruption.h"

#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

namespace trevalo_cli {
namespace {

volatile sig_atomic_t g_interrupted = 0;
GMainLoop* g_running_loop = nullptr;

void OnSignal(int) {
    g_interrupted = 1;
}

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

}  // namespace

void CatchInterruption() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: a blocked read returns EINTR
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool Interrupted() {
    return g_interrupted != 0;
}

void RunMainLoopUntilInterrupted() {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    const guint on_interrupt = g_unix_signal_add(SIGINT, QuitLoop, loop);
    const guint on_terminate = g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_running_loop = loop;
    g_main_loop_run(loop);
    g_running_loop = nullptr;
    g_source_remove(on_interrupt);
    g_source_remove(on_terminate);
    g_main_loop_unref(loop);
}

void StopMainLoop() {
    if (g_running_loop != nullptr) g_main_loop_quit(g_running_loop);
}

}  // namespace trevalo_cli
