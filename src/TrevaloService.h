#ifndef TREVALO_SERVICE_H
#define TREVALO_SERVICE_H

#include "Ondrel/TCServer.h"

// The service process's server object: registers "trevalo_service" on the bus and dispatches
// each request by its "method" to the handlers of TrevaloServiceServer.
class TrevaloService : public Ondrel::TCServer {
  public:
    TrevaloService();
    ~TrevaloService() override;

    bool IfMessageReceived(const char* sender, const Ondrel::TCMessage* request,
                           Ondrel::TCMessage* reply, const char* object_path) override;

    // Opens the bus server, then creates the component catalogue. `app` is the service object.
    static bool OnCreate(void* app);
    // Releases the catalogue, then closes the bus server.
    static void OnTerminate(void* app);
};

#endif
