#include <Tarn/Application/Monitor.h>
#include <Tarn/Application/Window.h>

#include "LogCapture.h"

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

#if !defined(_WIN32)
TEST(Window, WithoutAWindowBackendCreateAndAttachFailWithALogLine) {
    Testing::LogCapture log(Logging::Category::Error);
    Window window;
    EXPECT_FALSE(window.create(0, 0));
    EXPECT_FALSE(window.attach(nullptr));
    EXPECT_EQ(window.getWindowData().windowHandle, nullptr);
    EXPECT_EQ(window.getSize(), glm::ivec2(0, 0));
    EXPECT_TRUE(
        log.sawLine("[Error][Window] Window not created. Error: no window system backend on this platform."));
    Monitor::enumerate();
    EXPECT_EQ(Monitor::getCount(), 0u);
}
#endif
