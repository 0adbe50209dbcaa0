#include "catalogue_changes.h"

namespace trevalo_cli {
namespace {

// The rows of `list` that `other` lacks, matching equal entries one to one (an entry listed
// twice needs two matches).
std::vector<CatalogueRow> Unmatched(char mark, ComponentKind kind, const Catalogue& catalogue,
                                    const std::vector<Json::Value>& other) {
    const std::vector<Json::Value>& list = catalogue.List(kind);
    std::vector<bool> used(other.size(), false);
    std::vector<CatalogueRow> rows;
    for (size_t index = 0; index < list.size(); ++index) {
        bool matched = false;
        for (size_t candidate = 0; candidate < other.size() && !matched; ++candidate) {
            if (!used[candidate] && other[candidate] == list[index]) {
                used[candidate] = true;
                matched = true;
            }
        }
        if (!matched) {
            rows.push_back(
                CatalogueRow{mark, kind, index, list[index], RoleOf(catalogue, kind, index)});
        }
    }
    return rows;
}

}  // namespace

std::vector<CatalogueRow> CatalogueChanges(const Catalogue& before, const Catalogue& after) {
    std::vector<CatalogueRow> changes;
    for (const ComponentKind kind : kAllKinds) {
        for (auto& row : Unmatched('-', kind, before, after.List(kind))) {
            changes.push_back(std::move(row));
        }
        for (auto& row : Unmatched('+', kind, after, before.List(kind))) {
            changes.push_back(std::move(row));
        }
    }
    return changes;
}

}  // namespace trevalo_cli
