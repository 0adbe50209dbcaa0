#include <glib-unix.h>
#include <glib.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "TrevaloClock.h"
#include "TrevaloLog.h"
#include "TrevaloService.h"
#include "platform_sim_state.h"
#include "trevalo/bus_contract.h"

namespace {

// The service object lives for the whole process and is never deleted; holding it here keeps
// it reachable to the end (and out of leak checkers' reports).
TrevaloService* g_service = nullptr;

// The exit status after the bus was lost while serving: not an orderly stop, so that a unit's
// Restart=on-failure brings the service back.
constexpr int kBusLostStatus = 1;
bool g_bus_lost = false;

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

void QuitOnBusLost(void* loop) {
    g_bus_lost = true;
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
}

// What `trevalo_service --help` prints; the manual page trevalo_service(8) is made from it.
void PrintUsage() {
    std::cout
        << "Usage: trevalo_service [--help | --version]\n"
           "\n"
           "The component service of a digital-TV receiver. It owns the D-Bus name\n"
        << trevalo_bus::kBusName << " (object " << trevalo_bus::kObjectPath << ",\n"
        << "interface " << trevalo_bus::kInterface
        << ") and answers requests whose JSON body names a method:\n"
           "SendPMTData takes a programme's PMT section and rebuilds the catalogue of its video,\n"
           "audio and subtitle components; SizeOfAudio, GetAudio, GetPID and the like read the\n"
           "catalogue back; SaveCurrentVideoPlayingTime and GetCurrentVideoPlayingTime keep a\n"
           "playing-time clock; SendPESDataWithFirstPTS is relayed as the TrevaloSignal signal.\n"
           "trevalo-cli(1) is its command-line client.\n"
           "\n"
           "It takes no other arguments and is normally started by the bus on the first request to "
           "its\n"
           "name, or by systemd (trevalo_service.service). Its log lines, tagged TREVALO_SERVICE,\n"
           "go to stderr, or to the journal as one entry each with its priority under systemd.\n"
           "\n"
           "Environment:\n"
           "  DBUS_SESSION_BUS_ADDRESS  the bus to join; the activation files set it to the\n"
           "                            address of the bus that starts the service\n"
           "  PLATFORM_SIM_STATE        a JSON file with the state of the simulated platform\n"
           "                            (system settings, TV service), read again when it changes\n"
           "  DLOG_MIN_PRIORITY         drop log lines below this priority: V D I W E F S (S: "
           "all),\n"
           "                            or verbose, debug, info, warn, error, fatal, silent\n"
           "  JOURNAL_STREAM            set by systemd: when it names stderr, each log line is "
           "one\n"
           "                            journal entry\n"
           "\n"
           "Signals:\n"
           "  SIGINT, SIGTERM  release the catalogue, give the name back and exit with status 0\n"
           "\n"
           "Exit status:\n"
           "  0    stopped by SIGINT or SIGTERM\n"
           "  1    the bus was lost while it ran\n"
           "  2    an argument it does not know\n"
           "  255  no bus, or the name is owned by another process\n";
}

}  // namespace

int main(int argc, char** argv) {
    // --help and --version are the arguments it knows; any other is refused before it starts.
    if (argc > 1) {
        const std::string first = argv[1];
        const bool help = first == "--help" || first == "-h";
        if (argc == 2 && help) {
            PrintUsage();
            return 0;
        }
        if (argc == 2 && first == "--version") {
            std::cout << "trevalo_service " TREVALO_VERSION "\n";
            return 0;
        }
        const bool known = help || first == "--version";
        std::cerr << "trevalo_service: unexpected argument '" << argv[known ? 2 : 1]
                  << "' (see trevalo_service --help)\n";
        return 2;
    }
    const bool monotonic = StartMonotonicClock();
    // The simulated platform holds still for the length of each request.
    Ondrel::TCServer::SetRequestHooks(platform_sim::BeginRequest, platform_sim::EndRequest);
    g_service = new TrevaloService();
    TREVALO_LOGI("Main Begin");
    if (!monotonic) TREVALO_LOGE("Ecore cannot start: the playing time follows the wall clock");

    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    if (loop == nullptr) {
        TREVALO_LOGE("Failed to create the mainloop");
        return -1;
    }
    // An orderly stop: SIGTERM or SIGINT quits the loop, and the teardown below runs.
    g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_unix_signal_add(SIGINT, QuitLoop, loop);
    // Losing the bus ends the loop too, and the same teardown runs.
    Ondrel::TCServer::SetBusLostHook(QuitOnBusLost, loop);

    if (!TrevaloService::OnCreate(g_service)) {
        TREVALO_LOGE("Failed to create the service");
        TrevaloService::OnTerminate(g_service);
        g_main_loop_unref(loop);
        return -1;
    }

    g_main_loop_run(loop);

    TrevaloService::OnTerminate(g_service);
    g_main_loop_unref(loop);
    return g_bus_lost ? kBusLostStatus : 0;
}
