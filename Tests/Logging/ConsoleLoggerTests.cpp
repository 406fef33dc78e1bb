#include <Tarn/Logging/ConsoleLogger.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Platform/Threads.h>

#include "AssertRecorder.h"
#include "StreamCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using namespace Tarn::Logging;
using Tarn::Testing::StreamCapture;

namespace {

const Log netLog("Network");

// Captured lines with every valid "HH:MM:SS:mmm" stamp replaced by "T", so a missing or malformed
// stamp fails the comparison. (The line end itself is checked where the head is cut.)
std::vector<std::string> stampedLines(StreamCapture& capture) {
    static const std::regex stamp(R"(\]\[([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]:[0-9]{3})");
    std::istringstream text(std::regex_replace(capture.finish(), stamp, "][T"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

using Lines = std::vector<std::string>;

struct ConsoleLoggerTest : testing::Test {
    void SetUp() override { ThrottledConsumer::setEnabled(false); }
    void TearDown() override { ThrottledConsumer::setEnabled(false); }
    ConsoleLogger console;
    StreamCapture err{StreamCapture::Stream::Error}; // not stdout: that carries the test's own failures
};

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
