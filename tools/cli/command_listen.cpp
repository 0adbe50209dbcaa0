// listen: every TrevaloSignal, one line each, until SIGINT or SIGTERM.
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <iostream>

#include "command_error.h"
#include "commands.h"
#include "json_text.h"
#include "service_connection.h"
#include "service_wait.h"

namespace trevalo_cli {
namespace {

constexpr const char kSignalName[] = "TrevaloSignal";

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

void PrintSignal(const std::string& name, const Ondrel::TCMessage& message) {
    std::cout << name << " " << CompactJson(message.body);
    unsigned char* bytes = nullptr;
    const unsigned int length = message.GetBuffer(bytes);
    if (length != 0) std::cout << " buffer (" << length << " bytes): " << HexBytes(bytes, length);
    std::cout << std::endl;  // a line at a time, also into a pipe
}

}  // namespace

int RunListen(const CommandContext& context, const Arguments& arguments) {
    if (!arguments.Operands().empty()) {
        throw UsageError("unexpected '" + arguments.Operands()[0] + "'");
    }
    ServiceConnection service(context.bus_address);
    service.Client().Subscribe(kSignalName, PrintSignal);
    if (!WaitForService(service, "listen")) return kExitSuccess;
    std::cerr << "listening for " << kSignalName << " from " << service.Client().BusName()
              << " (Ctrl-C stops)" << std::endl;

    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    const guint on_interrupt = g_unix_signal_add(SIGINT, QuitLoop, loop);
    const guint on_terminate = g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_main_loop_run(loop);
    g_source_remove(on_interrupt);
    g_source_remove(on_terminate);
    g_main_loop_unref(loop);
    return kExitSuccess;
}

}  // namespace trevalo_cli
