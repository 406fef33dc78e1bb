#include <Tarn/Application/Monitor.h>

#include <gtest/gtest.h>

using namespace Tarn;

// This program never enumerates before this test, so the table is as the library loaded it.
TEST(Monitor, EmptyBeforeTheFirstEnumeration) {
    EXPECT_EQ(Monitor::getCount(), 0u);
    EXPECT_EQ(Monitor::findByName(""), nullptr);
    EXPECT_EQ(Monitor::findFromPoint({0, 0}), nullptr);
    const Monitor blank;
    EXPECT_EQ(blank.getCentre(), glm::ivec2(0, 0));
}
