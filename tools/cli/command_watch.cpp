// watch [--json]: the catalogue every time the service announces that it changed, until SIGINT or
// SIGTERM: from the properties of the catalogue interface (read whole at the start, then updated
// with the changed values each PropertiesChanged carries), or, from a service without that
// interface, read with "GetCatalogue" on every CatalogueChanged. A catalogue and programme equal
// to those printed last are not printed again.
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <algorithm>
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
    Watch(ServiceConnection& connection, bool as_json) : service(connection), json(as_json) {}

    ServiceConnection& service;
    bool json;
    bool typed = false;                      // the service has the catalogue interface
    Ondrel::TCValue::Dictionary properties;  // with the interface, its values as last announced
    Json::Value program;        // the programme number of the newest announcement not printed yet
    Catalogue catalogue;        // with the interface, the catalogue of that announcement
    guint printing = 0;         // the idle source that prints it, 0 when none is due
    Json::Value shown_program;  // what was printed last (with the interface, read at the start)
    Catalogue shown;
};

// Sets the values `changed` carries into `properties`.
void Update(Ondrel::TCValue::Dictionary& properties, const Ondrel::TCValue::Dictionary& changed) {
    for (const Ondrel::TCDictEntry& change : changed) {
        auto known =
            std::find_if(properties.begin(), properties.end(),
                         [&change](const auto& entry) { return entry.name == change.name; });
        if (known != properties.end()) {
            known->value = change.value;
        } else {
            properties.push_back(change);
        }
    }
}

bool SameCatalogue(const Catalogue& a, const Catalogue& b) {
    for (const ComponentKind kind : kAllKinds) {
        if (a.List(kind) != b.List(kind)) return false;
    }
    return true;
}

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

// Prints the newest catalogue once per turn of the loop, unless it is the one printed last:
// announcements that came meanwhile are folded into one, the newest.
void PrintIfNew(Watch& watch, const Catalogue& catalogue) {
    if (watch.program == watch.shown_program && SameCatalogue(catalogue, watch.shown)) return;
    Print(watch.program, catalogue, watch.json);
    watch.shown_program = watch.program;
    watch.shown = catalogue;
}

gboolean PrintNewest(gpointer data) {
    auto* watch = static_cast<Watch*>(data);
    watch->printing = 0;
    if (watch->typed) {
        PrintIfNew(*watch, watch->catalogue);
        return G_SOURCE_REMOVE;
    }
    // No exception may cross GLib's dispatch.
    try {
        PrintIfNew(*watch, ReadWholeCatalogue(watch->service));
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
    Watch watch(service, arguments.Flag("--json"));
    const auto print_soon = [&watch] {
        if (watch.printing == 0) watch.printing = g_idle_add(PrintNewest, &watch);
    };
    // A signal carries only the properties that changed: the others keep their values.
    service.SubscribeProperties(
        catalogue::kInterface, [&watch, print_soon](const Ondrel::TCValue::Dictionary& changed) {
            Update(watch.properties, changed);
            int program = 0;
            if (!CatalogueFromProperties(watch.properties, watch.catalogue, program)) return;
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
    // The values now, newer than any announcement not yet dispatched.
    Ondrel::TCValue::Dictionary properties;
    int program = 0;
    if (service.Client().GetAllProperties(catalogue::kInterface, properties, nullptr,
                                          service.TimeoutMs()) &&
        CatalogueFromProperties(properties, watch.shown, program)) {
        watch.typed = true;
        watch.properties = std::move(properties);
        watch.shown_program = program;
    }
    std::cerr << "watching "
              << (watch.typed ? std::string(catalogue::kInterface)
                              : std::string(trevalo_bus::kCatalogueChanged))
              << " from " << service.Client().BusName() << " (Ctrl-C stops)" << std::endl;

    service.ListenUntilInterrupted();
    if (watch.printing != 0) g_source_remove(watch.printing);
    return kExitSuccess;
}

}  // namespace trevalo_cli
