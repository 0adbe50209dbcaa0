// Server names as D-Bus names and object paths: any name a platform integrator picks must give
// names the bus accepts.
#include "bus_naming.h"

#include <gtest/gtest.h>

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
