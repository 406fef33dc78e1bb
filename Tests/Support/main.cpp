#include <gtest/gtest.h>

// Shared entry point: the test programs need no per-suite main.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
