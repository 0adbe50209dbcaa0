// catalogue [--json]: the three lists as a table or as one JSON document, read from the
// catalogue interface, else with "GetCatalogue".
#include <iostream>

#include "catalogue_table.h"
#include "command_error.h"
#include "commands.h"
#include "service_requests.h"

namespace trevalo_cli {

int RunCatalogue(const CommandContext& context, const Arguments& arguments) {
    if (!arguments.Operands().empty()) {
        throw UsageError("unexpected '" + arguments.Operands()[0] + "'");
    }
    ServiceConnection service(context);
    const Catalogue catalogue = ReadCurrentCatalogue(service);
    std::cout << (arguments.Flag("--json") ? FormatCatalogueJson(catalogue)
                                           : FormatCatalogueTable(AllRows(catalogue)));
    return kExitSuccess;
}

}  // namespace trevalo_cli
