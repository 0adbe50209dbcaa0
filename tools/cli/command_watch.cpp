// watch [--json]: the catalogue every time the service announces a new one, until SIGINT or
// SIGTERM: from the values PropertiesChanged of the catalogue interface carries, or, from a
// service without that interface, read with "GetCatalogue" on every CatalogueChanged.
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <iostream>
#include <string>

#include "catalogue_properties.h"
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
namespace catalogue = trevalo_bus::catalogue;

struct Watch {
    ServiceConnection& service;
    bool json;
    bool typed = false;   // the service has the catalogue interface: its signal carries all
    Json::Value program;  // the programme number of the newest announcement not printed yet
    Catalogue catalogue;  // with the interface, the catalogue of that announcement
    guint printing = 0;   // the idle source that prints it, 0 when none is due
};

// "programme N: V video, A audio, S subtitle", the sizes of the catalogue as it was read.
std::string Heading(const Json::Value& program, const Catalogue& catalogue) {
    std::string heading = "programme " + trevalo_json::WriteCompact(program) + ":";
    for (const ComponentKind kind : kAllKinds) {
        heading += std::string(kind == kAllKinds[0] ? " " : ", ") +
                   std::to_string(catalogue.List(kind).size()) + " " + KindName(kind);
    }
    return heading;
}

void Print(const Json::Value& program, const Catalogue& catalogue, bool json) {
    if (json) {
        Json::Value line(Json::objectValue);
        line[member::kProgramNum] = program;
        for (const ComponentKind kind : kAllKinds) {
            Json::Value& list = line[KindName(kind)] = Json::Value(Json::arrayValue);
            for (const Json::Value& entry : catalogue.List(kind)) list.append(entry);
        }
        // A line at a time, also into a pipe.
        std::cout << trevalo_json::WriteCompact(line) << std::endl;
    } else {
        std::cout << Heading(program, catalogue) << "\n"
                  << FormatCatalogueTable(AllRows(catalogue)) << std::endl;
    }
}

// Prints the newest catalogue once per turn of the loop: announcements that came meanwhile are
// folded into one, the newest.
gboolean PrintNewest(gpointer data) {
    auto* watch = static_cast<Watch*>(data);
    watch->printing = 0;
    if (watch->typed) {
        Print(watch->program, watch->catalogue, watch->json);
        return G_SOURCE_REMOVE;
    }
    // No exception may cross GLib's dispatch.
    try {
        Print(watch->program, ReadWholeCatalogue(watch->service), watch->json);
    } catch (const CommandError& error) {
        // A lost bus ends the watch with its own line.
        if (error.GetKind() == CommandError::Kind::kBusLost) return G_SOURCE_REMOVE;
        // The service may be gone or restarting; the next announcement is printed again.
        std::cerr << "trevalo-cli: watch: " << error.what() << std::endl;
    } catch (const std::exception& error) {
        std::cerr << "trevalo-cli: watch: cannot print the catalogue: " << error.what()
                  << std::endl;
    }
    return G_SOURCE_REMOVE;
}

}  // namespace

int RunWatch(const CommandContext& context, const Arguments& arguments) {
    if (!arguments.Operands().empty()) {
        throw UsageError("unexpected '" + arguments.Operands()[0] + "'");
    }
    ServiceConnection service(context);
    Watch watch{service, arguments.Flag("--json"), false, Json::Value(), Catalogue(), 0};
    const auto print_soon = [&watch] {
        if (watch.printing == 0) watch.printing = g_idle_add(PrintNewest, &watch);
    };
    service.SubscribeProperties(catalogue::kInterface,
                                [&watch, print_soon](const Ondrel::TCValue::Dictionary& changed) {
                                    int program = 0;
                                    if (!CatalogueFromProperties(changed, watch.catalogue, program))
                                        return;
                                    watch.typed = true;
                                    watch.program = program;
                                    print_soon();
                                });
    service.Subscribe(
        trevalo_bus::kCatalogueChanged,
        [&watch, print_soon](const std::string& name, const Ondrel::TCMessage& message) {
            if (watch.typed) return;  // the properties' signal follows with the catalogue
            const Json::Value& body = message.body;
            if (!body.isObject() || !body[member::kProgramNum].isIntegral()) {
                std::cerr << "trevalo-cli: watch: skipped a " << name
                          << " without a programme number: " << trevalo_json::WriteCompact(body)
                          << std::endl;
                return;
            }
            watch.program = body[member::kProgramNum];
            print_soon();
        });
    if (!WaitForService(service, "watch")) return kExitSuccess;
    // From now on only the owner found is asked: a stopped service stays stopped.
    service.Client().AddressOwnerOnly(true);
    int program = 0;
    Catalogue current;
    watch.typed = watch.typed || ReadCatalogueProperties(service, current, program);
    std::cerr << "watching "
              << (watch.typed ? std::string(catalogue::kInterface)
                              : std::string(trevalo_bus::kCatalogueChanged))
              << " from " << service.Client().BusName() << " (Ctrl-C stops)" << std::endl;

    service.ListenUntilInterrupted();
    if (watch.printing != 0) g_source_remove(watch.printing);
    return kExitSuccess;
}

}  // namespace trevalo_cli
