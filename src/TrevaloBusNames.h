// The names the service is known by on the bus: its server and the signals it sends.
#ifndef TREVALO_BUS_NAMES_H
#define TREVALO_BUS_NAMES_H

namespace trevalo_bus {
constexpr const char kServerName[] = "trevalo_service";
constexpr const char kTrevaloSignal[] = "TrevaloSignal";
constexpr const char kCatalogueChanged[] = "CatalogueChanged";
}  // namespace trevalo_bus

#endif
