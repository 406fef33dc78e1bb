#include <Tarn/Logging/ConsoleLogger.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Platform/Threads.h>

#include "AssertRecorder.h"
#include "StreamCapture.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

using namespace Tarn::Logging;
using Tarn::Testing::StreamCapture;

namespace {

const Log netLog("Network");
const Log otherLog("Other");

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
        lines.push_back(text.substr(begin, end - begin));
    }
    EXPECT_EQ(begin, text.size()) << "output does not end with a newline";
    return lines;
}

// "[<category>][<name>][HH:MM:SS:mmm<mark>] <text>", time stamp matched by pattern.
void expectLine(const std::string& line, const std::string& category, const std::string& name,
                const std::string& mark, const std::string& text) {
    const std::string head = "[" + category + "][" + name + "][";
    ASSERT_GE(line.size(), head.size()) << line;
    EXPECT_EQ(line.substr(0, head.size()), head) << line;
    const std::string rest = line.substr(head.size());
    static const std::regex stamp(R"(^([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]:[0-9]{3})");
    EXPECT_TRUE(std::regex_search(rest, stamp)) << line;
    EXPECT_EQ(rest.substr(std::min<std::size_t>(12, rest.size())), mark + "] " + text) << line;
}

struct ConsoleLoggerTest : testing::Test {
    void SetUp() override { ThrottledConsumer::setEnabled(false); }
    void TearDown() override { ThrottledConsumer::setEnabled(false); }
    ConsoleLogger console;
};

} // namespace

TEST_F(ConsoleLoggerTest, ColouredLinesGoToStandardErrorByDefault) {
    StreamCapture err(StreamCapture::Stream::Error);
    StreamCapture out(StreamCapture::Stream::Output);
    netLog.log(Category::Warning, "Connection lost.");
    netLog.log(Category::Error, "Code %d", 10054);
    netLog.log(Category::Fatal, "Gone");
    netLog.log(Category::Info, "Plain %s", "info");
    EXPECT_EQ(out.finish(), "");
    const auto lines = splitLines(err.finish());
    ASSERT_EQ(lines.size(), 4u);
    expectLine(lines[0], "\x1b[33mWarning\x1b[0m", "Network", "", "Connection lost.");
    expectLine(lines[1], "\x1b[31mError\x1b[0m", "Network", "", "Code 10054");
    expectLine(lines[2], "\x1b[31mFatal\x1b[0m", "Network", "", "Gone");
    expectLine(lines[3], "Info", "Network", "", "Plain info");
}

TEST_F(ConsoleLoggerTest, ThresholdSplitsStreamsAndColourCanBeOff) {
    console.setStderrThreshold(Category::Error);
    console.setUseColor(false);
    StreamCapture err(StreamCapture::Stream::Error);
    StreamCapture out(StreamCapture::Stream::Output);
    netLog.log(Category::Trace, "t");
    netLog.log(Category::Warning, "w");
    netLog.log(Category::Error, "e");
    netLog.log(Category::Fatal, "f");
    const auto outLines = splitLines(out.finish());
    const auto errLines = splitLines(err.finish());
    ASSERT_EQ(outLines.size(), 2u);
    ASSERT_EQ(errLines.size(), 2u);
    expectLine(outLines[0], "Trace", "Network", "", "t");
    expectLine(outLines[1], "Warning", "Network", "", "w");
    expectLine(errLines[0], "Error", "Network", "", "e");
    expectLine(errLines[1], "Fatal", "Network", "", "f");
}

TEST_F(ConsoleLoggerTest, RepeatsAreWrittenEachTimeWithoutThrottling) {
    StreamCapture err(StreamCapture::Stream::Error);
    for (int i = 0; i < 3; ++i) {
        netLog.log(Category::Info, "same");
    }
    const auto lines = splitLines(err.finish());
    ASSERT_EQ(lines.size(), 3u);
    for (const auto& line : lines) {
        expectLine(line, "Info", "Network", "", "same");
    }
}

TEST_F(ConsoleLoggerTest, ThrottlingTimeline) {
    ThrottledConsumer::setEnabled(true);
    StreamCapture err(StreamCapture::Stream::Error);
    for (int i = 0; i < 5; ++i) {
        netLog.log(Category::Info, "repeated");
    }
    // Same text from another log, file or line: separate entries, written at once.
    otherLog.log(Category::Info, "repeated");
    netLog.logFileLine("A.cpp", 1, Category::Info, "repeated");
    netLog.logFileLine("A.cpp", 2, Category::Info, "repeated");

    Tarn::Threads::sleep(150); // past the 100 ms hold-back
    netLog.log(Category::Info, "later");
    // The entry now waits 4 x 100 ms: a repeat right away is only counted.
    netLog.log(Category::Info, "repeated");
    const std::string early = err.finish();

    // 200 ms on, a 100 ms hold-back would have expired; 400 ms has not.
    StreamCapture held(StreamCapture::Stream::Error);
    Tarn::Threads::sleep(200);
    console.flush(false);
    EXPECT_EQ(held.finish(), "");

    StreamCapture late(StreamCapture::Stream::Error);
    Tarn::Threads::sleep(300);
    console.flush(false);
    const std::string flushed = late.finish();

    const auto lines = splitLines(early);
    ASSERT_EQ(lines.size(), 6u) << early;
    expectLine(lines[0], "Info", "Network", "", "repeated");
    expectLine(lines[1], "Info", "Other", "", "repeated");
    expectLine(lines[2], "Info", "Network", "", "repeated");
    expectLine(lines[3], "Info", "Network", "", "repeated");
    // Entries are written in key order, so the two lines of the flush may come either way round.
    const bool repeatFirst = lines[4].find(" *4]") != std::string::npos;
    expectLine(lines[repeatFirst ? 4 : 5], "Info", "Network", " *4", "repeated");
    expectLine(lines[repeatFirst ? 5 : 4], "Info", "Network", "", "later");

    const auto flushedLines = splitLines(flushed);
    ASSERT_EQ(flushedLines.size(), 1u) << flushed;
    expectLine(flushedLines[0], "Info", "Network", "", "repeated");
}

TEST_F(ConsoleLoggerTest, LongHeadIsCutAtTheBound) {
    const std::string longName(600, 'n');
    const Log longLog(longName.c_str());
    StreamCapture err(StreamCapture::Stream::Error);
    longLog.log(Category::Info, "tail");
    const std::string text = err.finish();
    // 498 characters of head, then the message and the newline.
    ASSERT_EQ(text.size(), 498u + 4u + 1u);
    EXPECT_EQ(text.substr(0, 7), "[Info][");
    EXPECT_EQ(text.substr(7, 491), std::string(491, 'n'));
    EXPECT_EQ(text.substr(498), "tail\n");
}

TEST_F(ConsoleLoggerTest, NullFileIsAnAssertion) {
    Tarn::Testing::AssertRecorder recorder;
    StreamCapture err(StreamCapture::Stream::Error);
    console.consumeMessage("Direct", Category::Info, "text", nullptr, 0);
    EXPECT_TRUE(recorder.saw("filename"));
    const auto lines = splitLines(err.finish());
    ASSERT_EQ(lines.size(), 1u);
    expectLine(lines[0], "Info", "Direct", "", "text");
}

TEST(ConsoleLoggerInstance, IsOneRegisteredConsumer) {
    ConsoleLogger& console = ConsoleLogger::instance();
    EXPECT_EQ(&console, &ConsoleLogger::instance());
    ConsoleLogger::initialize();
    console.setMinimumCategory(Category::Fatal); // keep the rest of the run quiet
    EXPECT_EQ(console.getMinimumCategory(), Category::Fatal);
}
