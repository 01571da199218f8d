// SPDX-License-Identifier: MIT
// Test main: a fixed zone (UTC) so that local-time texts are predictable.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

int main(int argc, char **argv) {
    setenv("TZ", "UTC0", 1);
    tzset();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
