#include <Tarn/Application/Threads.h>
#include <Tarn/Logging/ConsoleLogger.h>
#include <Tarn/Logging/FileLogger.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Logging/RedirectedLogger.h>

#include "AssertRecorder.h"
#include "StreamCapture.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using namespace Tarn::Logging;
using Tarn::Testing::StreamCapture;
using Tarn::Testing::TempDir;
using Lines = std::vector<std::string>;

namespace {

const Log netLog("Network");

// Captured lines with every valid "HH:MM:SS:mmm" stamp replaced by "T", so a missing or malformed
// stamp fails the comparison. (The line end itself is checked where the head is cut.)
Lines stampedLines(StreamCapture& capture) {
    static const std::regex stamp(R"(\]\[([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]:[0-9]{3})");
    std::istringstream text(std::regex_replace(capture.finish(), stamp, "][T"));
    Lines lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

struct ConsoleLoggerTest : testing::Test {
    void SetUp() override { ThrottledConsumer::setEnabled(false); }
    void TearDown() override { ThrottledConsumer::setEnabled(false); }
    ConsoleLogger console;
    StreamCapture err{StreamCapture::Stream::Error}; // not stdout: that carries the test's own failures
};

const Log ioLog("PlatformIO");

// The logger writes in text mode; line ends are compared as "\n" on every system.
std::string readText(const TempDir& temp, const std::string& name) {
    std::string text = temp.read(name);
    std::erase(text, '\r');
    return text;
}

Lines received;

void plainCallback(const char* message, const char* name, int category) {
    received.push_back("plain " + std::to_string(category) + " " + name + ": " + message);
}

void fileLineCallback(const char* file, int line, const char* message, const char* name, int category) {
    received.push_back("fileLine " + std::to_string(category) + " " + name + " " + file + ":" +
                       std::to_string(line) + ": " + message);
}

} // namespace

TEST_F(ConsoleLoggerTest, StreamsColoursAndRepeatsWithoutThrottling) {
    StreamCapture out(StreamCapture::Stream::Output);
    netLog.log(Category::Warning, "Connection lost.");
    netLog.log(Category::Error, "Code %d", 10054);
    netLog.log(Category::Fatal, "Gone");
    netLog.log(Category::Info, "Plain %s", "info");
    netLog.log(Category::Info, "Plain %s", "info");
    EXPECT_EQ(out.finish(), "");
    EXPECT_EQ(stampedLines(err), (Lines{"[\x1b[33mWarning\x1b[0m][Network][T] Connection lost.",
                                        "[\x1b[31mError\x1b[0m][Network][T] Code 10054",
                                        "[\x1b[31mFatal\x1b[0m][Network][T] Gone",
                                        "[Info][Network][T] Plain info", "[Info][Network][T] Plain info"}));

    console.setStderrThreshold(Category::Error);
    console.setUseColor(false);
    StreamCapture splitErr(StreamCapture::Stream::Error);
    StreamCapture splitOut(StreamCapture::Stream::Output);
    for (Category category : {Category::Trace, Category::Warning, Category::Error, Category::Fatal}) {
        netLog.log(category, "%d", static_cast<int>(category));
    }
    EXPECT_EQ(stampedLines(splitOut), (Lines{"[Trace][Network][T] 0", "[Warning][Network][T] 3"}));
    EXPECT_EQ(stampedLines(splitErr), (Lines{"[Error][Network][T] 4", "[Fatal][Network][T] 5"}));
}

TEST_F(ConsoleLoggerTest, ThrottlingTimeline) {
    ThrottledConsumer::setEnabled(true);
    for (int i = 0; i < 5; ++i) {
        netLog.log(Category::Info, "repeated");
    }
    // Same text from another log, file or line: separate entries, written at once.
    Log("Other").log(Category::Info, "repeated");
    netLog.logFileLine("A.cpp", 1, Category::Info, "repeated");
    netLog.logFileLine("A.cpp", 2, Category::Info, "repeated");

    Tarn::Threads::sleep(150); // past the 100 ms hold-back
    netLog.log(Category::Info, "later");
    // The entry now waits 4 x 100 ms: a repeat right away is only counted.
    netLog.log(Category::Info, "repeated");
    auto early = stampedLines(err);
    // Entries are written in key order, so the two lines of the flush may come either way round.
    if (early.size() == 6) {
        std::sort(early.begin() + 4, early.end());
    }
    EXPECT_EQ(early, (Lines{"[Info][Network][T] repeated", "[Info][Other][T] repeated",
                            "[Info][Network][T] repeated", "[Info][Network][T] repeated",
                            "[Info][Network][T *4] repeated", "[Info][Network][T] later"}));

    // 200 ms on, a 100 ms hold-back would have expired; 400 ms has not.
    StreamCapture held(StreamCapture::Stream::Error);
    Tarn::Threads::sleep(200);
    console.flush(false);
    EXPECT_EQ(held.finish(), "");

    StreamCapture late(StreamCapture::Stream::Error);
    Tarn::Threads::sleep(300);
    console.flush(false);
    EXPECT_EQ(stampedLines(late), Lines{"[Info][Network][T] repeated"});
}

TEST_F(ConsoleLoggerTest, LongHeadIsCutAtTheBound) {
    Log(std::string(600, 'n').c_str()).log(Category::Info, "tail");
    // 498 characters of head, then the message and the newline.
    EXPECT_EQ(err.finish(), "[Info][" + std::string(491, 'n') + "tail\n");
}

TEST_F(ConsoleLoggerTest, NullFileIsAnAssertion) {
    Tarn::Testing::AssertRecorder recorder;
    console.consumeMessage("Direct", Category::Info, "text", nullptr, 0);
    EXPECT_TRUE(recorder.saw("filename"));
    EXPECT_EQ(stampedLines(err), Lines{"[Info][Direct][T] text"});
}

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
        ioLog.logFileLine("Source/IO.cpp", 8, Category::Info, "%s", std::string(2000, 'x').c_str());

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
              "[Debug][PlatformIO] null file\n"
              "[Info][PlatformIO] " +
                  std::string(2000, 'x') + " (Source/IO.cpp:8)\n");
    EXPECT_EQ(readText(temp, "second.log"), "[Info][PlatformIO] two (Source/IO.cpp:122)\n");
}

TEST(RedirectedLogger, RoutesByFileAndCallbacks) {
    received.clear();
    RedirectedLogger logger;
    ioLog.log(Category::Info, "nobody listens");

    logger.setFileLineLoggerCallback(fileLineCallback);
    ioLog.log(Category::Info, "no file: ignored");
    ioLog.logFileLine("Net.cpp", 9, Category::Warning, "with %s", "file");

    logger.setLoggerCallback(plainCallback);
    ioLog.log(Category::Error, "plain");
    ioLog.logFileLine("Net.cpp", 10, Category::Trace, "still file-line");

    logger.setFileLineLoggerCallback(nullptr);
    ioLog.logFileLine("Net.cpp", 11, Category::Debug, "falls back");

    EXPECT_EQ(received,
              (Lines{"fileLine 3 PlatformIO Net.cpp:9: with file", "plain 4 PlatformIO: plain",
                     "fileLine 0 PlatformIO Net.cpp:10: still file-line", "plain 1 PlatformIO: falls back"}));
}
