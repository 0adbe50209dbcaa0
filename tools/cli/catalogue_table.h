// The catalogue for people (an aligned table) and for programs (one JSON document).
#ifndef TREVALO_CLI_CATALOGUE_TABLE_H
#define TREVALO_CLI_CATALOGUE_TABLE_H

#include <string>
#include <vector>

#include "catalogue.h"
#include "trevalo/printable_text.h"

namespace trevalo_cli {

// Columns KIND, #, PID, TAG, ENCODING, LANG, ROLE (when any row has a role), FLAGS, one line
// per row, with a first column for
// the change mark when any row carries one. "(no components)" when there are no rows.
std::string FormatCatalogueTable(const std::vector<CatalogueRow>& rows);

using trevalo_text::PrintableText;

// {"audio": [...], "subtitle": [...], "video": [...]}, the entries as the service gave them.
Json::Value CatalogueJson(const Catalogue& catalogue);
std::string FormatCatalogueJson(const Catalogue& catalogue);

}  // namespace trevalo_cli

#endif
