// The service as it was before "GetCatalogue": the real dispatcher, with that method answered
// as any unknown one. The client's fallback to the per-entry queries runs against it.
#include <Ecore.h>
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <cstdlib>

#include "TrevaloService.h"

namespace {

class ServiceBeforeCatalogue : public TrevaloService {
  public:
    bool IfMessageReceived(const char* sender, const Ondrel::TCMessage* request,
                           Ondrel::TCMessage* reply, const char* object_path) override {
        if (request->body.isObject() && request->body["method"] == "GetCatalogue") {
            Ondrel::TCMessage renamed(*request);
            renamed.body["method"] = "GetCatalogue (not known yet)";
            return TrevaloService::IfMessageReceived(sender, &renamed, reply, object_path);
        }
        return TrevaloService::IfMessageReceived(sender, request, reply, object_path);
    }
};

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main() {
    setenv("ECORE_NO_SYSTEM_MODULES", "1", 1);
    ecore_init();
    static ServiceBeforeCatalogue service;
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, QuitLoop, loop);
    if (!TrevaloService::OnCreate(&service)) return 255;
    g_main_loop_run(loop);
    TrevaloService::OnTerminate(&service);
    g_main_loop_unref(loop);
    return 0;
}
