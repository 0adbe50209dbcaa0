#include "catalogue.h"

#include "trevalo/bus_contract.h"

namespace trevalo_cli {

const char* KindName(ComponentKind kind) {
    switch (kind) {
        case ComponentKind::kVideo:
            return trevalo_bus::member::kVideo;
        case ComponentKind::kAudio:
            return trevalo_bus::member::kAudio;
        case ComponentKind::kSubtitle:
            return trevalo_bus::member::kSubtitle;
    }
    return "?";
}

std::vector<Json::Value>& Catalogue::List(ComponentKind kind) {
    switch (kind) {
        case ComponentKind::kVideo:
            return video;
        case ComponentKind::kAudio:
            return audio;
        case ComponentKind::kSubtitle:
            break;
    }
    return subtitles;
}

const std::vector<Json::Value>& Catalogue::List(ComponentKind kind) const {
    return const_cast<Catalogue&>(*this).List(kind);
}

std::string RoleOf(const Catalogue& catalogue, ComponentKind kind, size_t index) {
    const std::vector<std::string>* roles = kind == ComponentKind::kAudio ? &catalogue.audio_roles
                                            : kind == ComponentKind::kSubtitle
                                                ? &catalogue.subtitle_roles
                                                : nullptr;
    return roles != nullptr && index < roles->size() ? (*roles)[index] : "";
}

std::vector<CatalogueRow> AllRows(const Catalogue& catalogue) {
    std::vector<CatalogueRow> rows;
    for (const ComponentKind kind : kAllKinds) {
        const std::vector<Json::Value>& list = catalogue.List(kind);
        for (size_t index = 0; index < list.size(); ++index) {
            rows.push_back(
                CatalogueRow{' ', kind, index, list[index], RoleOf(catalogue, kind, index)});
        }
    }
    return rows;
}

}  // namespace trevalo_cli
