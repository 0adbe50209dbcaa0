// The service as it was before "GetCatalogue" and the catalogue interface: the real dispatcher
// behind a server that exports only the request interface, with "GetCatalogue" answered as any
// unknown method. The client's fallbacks run against it.
#include <Ecore.h>
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <cstdlib>

#include "TrevaloService.h"
#include "TrevaloServiceServer.h"
#include "trevalo/bus_contract.h"

namespace {

class ServiceBeforeCatalogue : public Ondrel::TCServer {
  public:
    ServiceBeforeCatalogue()
        : Ondrel::TCServer(trevalo_bus::kServerName, Ondrel::TCServer::SERVER_TYPE_SERVICE) {
        DeclareSignal(trevalo_bus::kTrevaloSignal);
        DeclareSignal(trevalo_bus::kCatalogueChanged);
    }

    bool IfMessageReceived(const char* sender, const Ondrel::TCMessage* request,
                           Ondrel::TCMessage* reply, const char* object_path) override {
        if (request->body.isObject() && request->body["method"] == "GetCatalogue") {
            Ondrel::TCMessage renamed(*request);
            renamed.body["method"] = "GetCatalogue (not known yet)";
            return m_Dispatcher.IfMessageReceived(sender, &renamed, reply, object_path);
        }
        return m_Dispatcher.IfMessageReceived(sender, request, reply, object_path);
    }

  private:
    TrevaloService m_Dispatcher;  // never on the bus itself
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
    if (!service.CreateDBusServer()) return 255;
    TrevaloServiceServer::InitTrevaloServiceServer();
    g_main_loop_run(loop);
    TrevaloServiceServer::FiniTrevaloServiceServer();
    service.CloseDBusServer();
    g_main_loop_unref(loop);
    return 0;
}
