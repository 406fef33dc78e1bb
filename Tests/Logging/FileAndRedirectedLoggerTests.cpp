#include <Tarn/Logging/FileLogger.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Logging/RedirectedLogger.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace Tarn::Logging;

namespace {

const Log ioLog("PlatformIO");

struct TempFile {
    std::filesystem::path path;
    explicit TempFile(const std::string& name) : path(std::filesystem::temp_directory_path() / name) {
        std::filesystem::remove(path);
    }
    ~TempFile() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    std::string read() const {
        std::ifstream in(path); // text mode, like the writer
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
};

} // namespace

TEST(FileLogger, WritesBothLineForms) {
    TempFile file("tarn-filelogger-forms.log");
    {
        FileLogger logger;
        ioLog.log(Category::Info, "before the file is open");
        logger.initialize(file.path.string());
        ASSERT_TRUE(logger.isOpen());
        ioLog.logFileLine("Source/IO.cpp", 120, Category::Error, "Cannot open %s", "settings.ini");
        logger.enableFilenames(true);
        ioLog.logFileLine("Source/IO.cpp", 121, Category::Error, "Cannot open %s", "settings.ini");
        ioLog.log(Category::Warning, "no file %d%%", 50); // short form even with file names on
        ioLog.logFileLine(nullptr, 7, Category::Debug, "null file");
        logger.cleanUp();
        EXPECT_FALSE(logger.isOpen());
        ioLog.log(Category::Info, "after cleanUp");
    }
    EXPECT_EQ(file.read(), "[Error][PlatformIO] Cannot open settings.ini\n"
                           "[Error][PlatformIO] Cannot open settings.ini (Source/IO.cpp:121)\n"
                           "[Warning][PlatformIO] no file 50%\n"
                           "[Debug][PlatformIO] null file\n");
}

TEST(FileLogger, ReinitializeSwitchesAndTruncates) {
    TempFile first("tarn-filelogger-first.log");
    TempFile second("tarn-filelogger-second.log");
    { std::ofstream(second.path) << "old contents\n"; }
    {
        FileLogger logger;
        logger.setMinimumCategory(Category::Warning);
        logger.initialize(first.path.string());
        ioLog.log(Category::Warning, "one");
        ioLog.log(Category::Info, "below the minimum");
        logger.initialize(second.path.string());
        ioLog.log(Category::Error, "two");

        // A path that cannot be opened leaves the logger closed, silently.
        logger.initialize((first.path.parent_path() / "no-such-dir" / "x.log").string());
        EXPECT_FALSE(logger.isOpen());
        ioLog.log(Category::Error, "lost");
    }
    EXPECT_EQ(first.read(), "[Warning][PlatformIO] one\n");
    EXPECT_EQ(second.read(), "[Error][PlatformIO] two\n");
}

namespace {

struct Received {
    std::string kind, file, message, name;
    int line, category;
};
std::vector<Received> received;

void plainCallback(const char* message, const char* name, int category) {
    received.push_back({"plain", "", message, name, 0, category});
}

void fileLineCallback(const char* file, int line, const char* message, const char* name, int category) {
    received.push_back({"fileLine", file, message, name, line, category});
}

} // namespace

TEST(RedirectedLogger, RoutesByFileAndCallbacks) {
    received.clear();
    RedirectedLogger logger;
    EXPECT_EQ(logger.getLoggerCallback(), nullptr);
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

    ASSERT_EQ(received.size(), 4u);
    EXPECT_EQ(received[0].kind, "fileLine");
    EXPECT_EQ(received[0].file, "Net.cpp");
    EXPECT_EQ(received[0].line, 9);
    EXPECT_EQ(received[0].message, "with file");
    EXPECT_EQ(received[0].name, "PlatformIO");
    EXPECT_EQ(received[0].category, 3);
    EXPECT_EQ(received[1].kind, "plain");
    EXPECT_EQ(received[1].message, "plain");
    EXPECT_EQ(received[1].category, 4);
    EXPECT_EQ(received[2].kind, "fileLine");
    EXPECT_EQ(received[2].line, 10);
    EXPECT_EQ(received[2].category, 0);
    EXPECT_EQ(received[3].kind, "plain");
    EXPECT_EQ(received[3].message, "falls back");
    EXPECT_EQ(received[3].category, 1);
}
