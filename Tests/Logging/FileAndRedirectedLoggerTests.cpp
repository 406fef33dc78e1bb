#include <Tarn/Logging/FileLogger.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Logging/RedirectedLogger.h>

#include "TempDir.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Tarn::Logging;
using Tarn::Testing::TempDir;

namespace {

const Log ioLog("PlatformIO");

// The logger writes in text mode; line ends are compared as "\n" on every system.
std::string readText(const TempDir& temp, const std::string& name) {
    std::string text = temp.read(name);
    std::erase(text, '\r');
    return text;
}

} // namespace

TEST(FileLogger, LineFormsMinimumReopeningAndTruncation) {
    TempDir temp;
    temp.write("second.log", "old contents\n");
    {
        FileLogger logger;
        logger.setMinimumCategory(Category::Debug);
        ioLog.log(Category::Info, "before the file is open");
        logger.initialize(temp.file("first.log"));
        ASSERT_TRUE(logger.isOpen());
        ioLog.logFileLine("Source/IO.cpp", 120, Category::Error, "Cannot open %s", "settings.ini");
        ioLog.log(Category::Trace, "below the minimum");
        logger.enableFilenames(true);
        ioLog.logFileLine("Source/IO.cpp", 121, Category::Error, "Cannot open %s", "settings.ini");
        ioLog.log(Category::Warning, "no file %d%%", 50); // short form even with file names on
        ioLog.logFileLine(nullptr, 7, Category::Debug, "null file");

        logger.initialize(temp.file("second.log"));
        ioLog.logFileLine("Source/IO.cpp", 122, Category::Info, "two");
        logger.cleanUp();
        EXPECT_FALSE(logger.isOpen());
        ioLog.log(Category::Info, "after cleanUp");
        // A path that cannot be opened leaves the logger closed, silently.
        logger.initialize(temp.file("no-such-dir/x.log"));
        EXPECT_FALSE(logger.isOpen());
        ioLog.log(Category::Error, "lost");
    }
    EXPECT_EQ(readText(temp, "first.log"),
              "[Error][PlatformIO] Cannot open settings.ini\n"
              "[Error][PlatformIO] Cannot open settings.ini (Source/IO.cpp:121)\n"
              "[Warning][PlatformIO] no file 50%\n"
              "[Debug][PlatformIO] null file\n");
    EXPECT_EQ(readText(temp, "second.log"), "[Info][PlatformIO] two (Source/IO.cpp:122)\n");
}

namespace {

std::vector<std::string> received;

void plainCallback(const char* message, const char* name, int category) {
    received.push_back("plain " + std::to_string(category) + " " + name + ": " + message);
}

void fileLineCallback(const char* file, int line, const char* message, const char* name, int category) {
    received.push_back("fileLine " + std::to_string(category) + " " + name + " " + file + ":" +
                       std::to_string(line) + ": " + message);
}

} // namespace

TEST(RedirectedLogger, RoutesByFileAndCallbacks) {
    received.clear();
    RedirectedLogger logger;
    ioLog.log(Category::Info, "nobody listens");

    logger.setFileLineLoggerCallback(fileLineCallback);
    EXPECT_EQ(logger.getFileLineLoggerCallback(), fileLineCallback);
    ioLog.log(Category::Info, "no file: ignored");
    ioLog.logFileLine("Net.cpp", 9, Category::Warning, "with %s", "file");

    logger.setLoggerCallback(plainCallback);
    ioLog.log(Category::Error, "plain");
    ioLog.logFileLine("Net.cpp", 10, Category::Trace, "still file-line");

    logger.setFileLineLoggerCallback(nullptr);
    ioLog.logFileLine("Net.cpp", 11, Category::Debug, "falls back");

    EXPECT_EQ(received, (std::vector<std::string>{"fileLine 3 PlatformIO Net.cpp:9: with file",
                                                  "plain 4 PlatformIO: plain",
                                                  "fileLine 0 PlatformIO Net.cpp:10: still file-line",
                                                  "plain 1 PlatformIO: falls back"}));
}
