#include "interruption.h"

#include <signal.h>

namespace trevalo_cli {
namespace {

volatile sig_atomic_t g_interrupted = 0;

void OnSignal(int) {
    g_interrupted = 1;
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

}  // namespace trevalo_cli
