#include <Tarn/Logging/Consumer.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Logging/LogManager.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <charconv>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace Tarn::Logging;
using Tarn::Testing::LogCapture;
using Lines = std::vector<std::string>;

namespace {

const Log testLog("LogTests");

// Records the order in which consumers are called, shared by several instances.
struct OrderRecorder : Consumer {
    explicit OrderRecorder(std::vector<const Consumer*>& calls) : calls(calls) {}
    void consumeMessage(Tarn::StringView, Category, Tarn::StringView, const char*, int) override {
        calls.push_back(this);
    }
    std::vector<const Consumer*>& calls;
};

// Every received message with everything a consumer is given.
Lines described(const LogCapture& capture) {
    Lines lines;
    for (const auto& e : capture.entries()) {
        lines.push_back(std::string("[") + Consumer::getCategoryName(e.category) + "][" + e.logName + "] " +
                        e.message + " (" + e.file + ":" + std::to_string(e.line) + ")");
    }
    return lines;
}

} // namespace

TEST(LogManager, EffectiveMinimumFollowsConsumers) {
    {
        LogCapture capture(Category::Warning);
        EXPECT_FALSE(isCategoryEnabled(Category::Debug));
        EXPECT_TRUE(isCategoryEnabled(Category::Warning));
        testLog.log(Category::Debug, "dropped %d", 1);
        EXPECT_EQ(capture.count(), 0u);

        capture.setMinimumCategory(Category::Trace);
        EXPECT_TRUE(isCategoryEnabled(Category::Trace));
        testLog.log(Category::Debug, "arrives %d", 2);
        EXPECT_EQ(capture.lines(), Lines{"[Debug][LogTests] arrives 2"});
        {
            LogCapture lower(Category::Info);
            capture.setMinimumCategory(Category::Error);
            EXPECT_FALSE(isCategoryEnabled(Category::Debug));
            EXPECT_TRUE(isCategoryEnabled(Category::Info));
        }
        // The Info consumer is gone: Error is the lowest minimum left.
        EXPECT_FALSE(isCategoryEnabled(Category::Warning));
        EXPECT_TRUE(isCategoryEnabled(Category::Error));
    }
    // No consumer left: only Fatal passes.
    EXPECT_FALSE(isCategoryEnabled(Category::Error));
    EXPECT_TRUE(isCategoryEnabled(Category::Fatal));
}

TEST(LogManager, NewConsumersTakeTheDefaultMinimum) {
    LogCapture existing;
    setLoggerCategory(Category::Error);
    EXPECT_EQ(existing.getMinimumCategory(), Category::Trace);
    std::vector<const Consumer*> calls;
    EXPECT_EQ(OrderRecorder(calls).getMinimumCategory(), Category::Error);
    Consumer::setDefaultMinimumCategory(Category::Trace);
    EXPECT_TRUE(isCategoryEnabled(Category::Trace));
}

TEST(LogManager, DeliversByMinimumInAscendingAddressOrderOnceEach) {
    std::vector<const Consumer*> calls;
    // Consecutive elements of one allocation have ascending addresses; construct them in reverse
    // so that registration order differs from address order.
    struct alignas(OrderRecorder) Slot {
        unsigned char bytes[sizeof(OrderRecorder)];
    };
    auto storage = std::make_unique<Slot[]>(2);
    auto* high = new (storage[1].bytes) OrderRecorder(calls);
    auto* low = new (storage[0].bytes) OrderRecorder(calls);
    low->setMinimumCategory(Category::Info);
    high->setMinimumCategory(Category::Error);
    testLog.log(Category::Info, "info");
    EXPECT_EQ(calls, std::vector<const Consumer*>{low});
    calls.clear();
    testLog.log(Category::Error, "error");
    EXPECT_EQ(calls, (std::vector<const Consumer*>{low, high}));

    // Registering a registered consumer or unregistering an absent one changes nothing.
    calls.clear();
    registerConsumer(high);
    testLog.log(Category::Error, "once");
    EXPECT_EQ(calls, (std::vector<const Consumer*>{low, high}));
    unregisterConsumer(high);
    unregisterConsumer(high);
    calls.clear();
    testLog.log(Category::Error, "gone");
    EXPECT_EQ(calls, std::vector<const Consumer*>{low});
    registerConsumer(high); // the destructor unregisters it again
    low->~OrderRecorder();
    high->~OrderRecorder();
}

TEST(LogManager, FormatBufferBoundary) {
    LogCapture capture;
    const std::string longest(15999, 'x');
    testLog.log(Category::Info, "%s", longest.c_str());
    ASSERT_EQ(capture.count(), 1u);
    EXPECT_EQ(capture.entries()[0].message, longest);

    // One more character, and the same as plain text: dropped whole, for every consumer.
    LogCapture second;
    const std::string tooLong(16000, 'y');
    testLog.log(Category::Info, "%s", tooLong.c_str());
    log(Tarn::StringView(tooLong), "LogTests", Category::Info);
    testLog.log(Category::Info, "%s%s", longest.c_str(), "z");
    EXPECT_EQ(capture.count(), 1u);
    EXPECT_EQ(second.count(), 0u);
#if !defined(_WIN32)
    // A failing format delivers nothing either, and the manager stays usable. (glibc cannot convert
    // a lone surrogate; MinGW's runtime quietly writes nothing instead of failing.)
    const wchar_t loneSurrogate[] = {0xD800, 0};
    testLog.log(Category::Info, "%ls", loneSurrogate);
    EXPECT_EQ(second.count(), 0u);
#endif
    const char* volatile noFormat = nullptr; // a caller's mistake: an empty line, not a crash
    testLog.log(Category::Info, noFormat);
    testLog.log(Category::Info, "after");
    EXPECT_EQ(second.lines(), (Lines{"[Info][LogTests] ", "[Info][LogTests] after"}));
}

TEST(LogManager, EveryEntryPointFiltersAndPassesFilesLinesAndText) {
    // Taking the address reaches the exported functions that non-GCC clients call.
    void (Log::*logMember)(Category, const char*, ...) const = &Log::log;
    void (Log::*fileLineMember)(const char*, int, Category, const char*, ...) const = &Log::logFileLine;
    LogCapture capture(Category::Info);
    testLog.logFileLine(nullptr, 12, Category::Warning, "no file");
    testLog.logFileLine("Source/Net.cpp", 34, Category::Error, "with %s", "file");
    testLog.logFileLine("Source/Net.cpp", 35, Category::Debug, "filtered");
    logFileLine("Other.cpp", 56, "Free", Category::Info, "value %u", 7u);
    log("Free", Category::Fatal, "%s=%d", "n", -3);
    log("Free", Category::Debug, "filtered");
    log("100%% sure, 50%% done", "Plain", Category::Info);
    testLog.log(Category::Info, "ab%ccd", 0); // the text ends at its terminator
    (testLog.*logMember)(Category::Debug, "filtered %d", 1);
    (testLog.*logMember)(Category::Warning, "kept %d", 2);
    (testLog.*fileLineMember)(nullptr, 3, Category::Error, "kept %s", "too");
    (testLog.*fileLineMember)("F.cpp", 4, Category::Trace, "filtered");
    EXPECT_EQ(described(capture),
              (Lines{"[Warning][LogTests] no file (:12)", "[Error][LogTests] with file (Source/Net.cpp:34)",
                     "[Info][Free] value 7 (Other.cpp:56)", "[Fatal][Free] n=-3 (:0)",
                     "[Info][Plain] 100% sure, 50% done (:0)", "[Info][LogTests] ab (:0)",
                     "[Warning][LogTests] kept 2 (:0)", "[Error][LogTests] kept too (:3)"}));
}

TEST(LogManager, ParseCategoryString) {
    const char* words[] = {"trace", "DEBUG", "Info", "WARNING", "eRRoR", "fatal"};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(parseCategoryString(words[i]), static_cast<Category>(i)) << words[i];
    }
    for (const char* other : {"warn", "5", "", " error", "Warning "}) {
        EXPECT_EQ(parseCategoryString(other), Category::Debug) << other;
    }
    // Shares the hash of "fatal" (sign-extended bytes cancel in FNV-1a) but is no category word.
    const Tarn::StringView collision("fa\x8c\x99l", 5);
    ASSERT_EQ(collision.hashLowercase(), Tarn::StringView("fatal").hashLowercase());
    EXPECT_EQ(parseCategoryString(collision), Category::Debug);
}

namespace {

// Keeps (thread, sequence) of every message in arrival order. Not locked: the manager serialises
// deliveries, and ThreadSanitizer would report it if it did not.
struct SequenceConsumer : Consumer {
    std::vector<uint64_t> seen;
    void consumeMessage(Tarn::StringView, Category, Tarn::StringView message, const char*, int) override {
        uint32_t thread = 0, sequence = 0;
        const char* end = message.data() + message.size();
        std::from_chars(std::from_chars(message.data(), end, thread).ptr + 1, end, sequence);
        seen.push_back(uint64_t{thread} << 32 | sequence);
    }
};

} // namespace

TEST(LogConcurrency, EveryMessageOnceToEachConsumerInOneOrder) {
#if defined(_WIN32)
    constexpr uint32_t perThread = 10000; // the full run is for the Linux and sanitizer builds
#else
    constexpr uint32_t perThread = 100000;
#endif
    constexpr uint32_t threads = 4;
    SequenceConsumer first, second;
    std::vector<std::thread> workers;
    for (uint32_t t = 0; t < threads; ++t) {
        workers.emplace_back([t] {
            for (uint32_t i = 0; i < perThread; ++i) {
                testLog.log(Category::Info, "%u %u", t, i);
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    ASSERT_EQ(first.seen.size(), threads * perThread);
    EXPECT_TRUE(first.seen == second.seen) << "consumers saw different orders";
    // Each thread's messages arrive exactly once and in the order it sent them.
    std::vector<uint32_t> next(threads, 0);
    for (uint64_t entry : first.seen) {
        const uint32_t thread = static_cast<uint32_t>(entry >> 32);
        ASSERT_LT(thread, threads);
        ASSERT_EQ(static_cast<uint32_t>(entry), next[thread]++);
    }
}
