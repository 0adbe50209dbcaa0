#include <gtest/gtest.h>

#include "TrevaloClock.h"

int main(int argc, char** argv) {
    // As in the service.
    if (!StartMonotonicClock()) return 1;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
