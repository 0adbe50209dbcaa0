// Server names as D-Bus names and object paths: any name a platform integrator picks must give
// names the bus accepts, and the service's name must give the names its clients are built with.
#include "bus_naming.h"

#include <gtest/gtest.h>

#include "trevalo/bus_contract.h"

TEST(BusNaming, KeepsNamesTheBusAcceptsAndMendsOthers) {
    const struct {
        const char* server;
        const char* element;
    } cases[] = {{"trevalo_service", "trevalo_service"},
                 {"tv-guide.v2", "tv_guide_v2"},
                 {"2nd", "_2nd"},
                 {"", "_"}};
    for (const auto& c : cases) {
        EXPECT_EQ(Ondrel::bus::WellKnownName(c.server),
                  std::string("org.ondrel.TCServer.") + c.element);
        EXPECT_EQ(Ondrel::bus::ObjectPath(c.server),
                  std::string("/org/ondrel/TCServer/") + c.element);
    }
}

TEST(BusNaming, TheServiceIsWhereTheContractSays) {
    EXPECT_EQ(Ondrel::bus::WellKnownName(trevalo_bus::kServerName), trevalo_bus::kBusName);
    EXPECT_EQ(Ondrel::bus::ObjectPath(trevalo_bus::kServerName), trevalo_bus::kObjectPath);
    EXPECT_STREQ(Ondrel::bus::kInterface, trevalo_bus::kInterface);
    EXPECT_STREQ(Ondrel::bus::kRequestMethod, trevalo_bus::kRequestMethod);
    EXPECT_STREQ(Ondrel::bus::kInvalidMessageError, trevalo_bus::kInvalidMessageError);
}
