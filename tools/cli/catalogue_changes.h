// What a new PMT changed in the catalogue: entries gone ('-', where they stood before) and
// entries added ('+', where they stand now). An entry that only moved counts as unchanged.
#ifndef TREVALO_CLI_CATALOGUE_CHANGES_H
#define TREVALO_CLI_CATALOGUE_CHANGES_H

#include <vector>

#include "catalogue.h"

namespace trevalo_cli {

// Per kind, the gone entries first, then the added ones; empty when nothing changed.
std::vector<CatalogueRow> CatalogueChanges(const Catalogue& before, const Catalogue& after);

}  // namespace trevalo_cli

#endif
