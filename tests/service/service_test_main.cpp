#include <Ecore.h>
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    // As in the service: the monotonic clock, without Ecore's system modules.
    setenv("ECORE_NO_SYSTEM_MODULES", "1", 1);
    ecore_init();
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    ecore_shutdown();
    return result;
}
