// watch [--json]: the catalogue every time the service announces a new one, until SIGINT or
// SIGTERM.
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <iostream>
#include <string>

#include "catalogue_table.h"
#include "command_error.h"
#include "commands.h"
#include "interruption.h"
#include "service_requests.h"
#include "service_wait.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
namespace {

namespace member = trevalo_bus::member;

struct Watch {
    ServiceConnection& service;
    bool json;
    Json::Value announced;  // the body of the newest signal not printed yet
    guint printing = 0;     // the idle source that prints it, 0 when none is due
};

// "programme N: V video, A audio, S subtitle", the sizes of the catalogue as it was read.
std::string Heading(const Json::Value& announced, const Catalogue& catalogue) {
    std::string heading =
        "programme " + trevalo_json::WriteCompact(announced[member::kProgramNum]) + ":";
    for (const ComponentKind kind : kAllKinds) {
        heading += std::string(kind == kAllKinds[0] ? " " : ", ") +
                   std::to_string(catalogue.List(kind).size()) + " " + KindName(kind);
    }
    return heading;
}

void Print(const Json::Value& announced, const Catalogue& catalogue, bool json) {
    if (json) {
        Json::Value line(Json::objectValue);
        line[member::kProgramNum] = announced[member::kProgramNum];
        for (const ComponentKind kind : kAllKinds) {
            Json::Value& list = line[KindName(kind)] = Json::Value(Json::arrayValue);
            for (const Json::Value& entry : catalogue.List(kind)) list.append(entry);
        }
        // A line at a time, also into a pipe.
        std::cout << trevalo_json::WriteCompact(line) << std::endl;
    } else {
        std::cout << Heading(announced, catalogue) << "\n"
                  << FormatCatalogueTable(AllRows(catalogue)) << std::endl;
    }
}

// Reads and prints the catalogue once per turn of the loop: signals that came meanwhile are
// folded into one reading, which shows the newest catalogue anyway.
gboolean PrintNewest(gpointer data) {
    auto* watch = static_cast<Watch*>(data);
    watch->printing = 0;
    try {
        Print(watch->announced, ReadWholeCatalogue(watch->service), watch->json);
    } catch (const CommandError& error) {
        // A lost bus ends the watch with its own line.
        if (error.GetKind() == CommandError::Kind::kBusLost) return G_SOURCE_REMOVE;
        // The service may be gone or restarting; the next announcement is printed again.
        std::cerr << "trevalo-cli: watch: " << error.what() << std::endl;
    }
    return G_SOURCE_REMOVE;
}

}  // namespace

int RunWatch(const CommandContext& context, const Arguments& arguments) {
    if (!arguments.Operands().empty()) {
        throw UsageError("unexpected '" + arguments.Operands()[0] + "'");
    }
    ServiceConnection service(context);
    Watch watch{service, arguments.Flag("--json"), Json::Value(), 0};
    service.Client().Subscribe(trevalo_bus::kCatalogueChanged,
                               [&watch](const std::string&, const Ondrel::TCMessage& message) {
                                   watch.announced = message.body;
                                   if (watch.printing == 0)
                                       watch.printing = g_idle_add(PrintNewest, &watch);
                               });
    if (!WaitForService(service, "watch")) return kExitSuccess;
    std::cerr << "watching " << trevalo_bus::kCatalogueChanged << " from "
              << service.Client().BusName() << " (Ctrl-C stops)" << std::endl;

    service.ListenUntilInterrupted();
    if (watch.printing != 0) g_source_remove(watch.printing);
    return kExitSuccess;
}

}  // namespace trevalo_cli
