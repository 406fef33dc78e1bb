#include <Tarn/Logging/Consumer.h>
#include <Tarn/Logging/Log.h>

#include <gtest/gtest.h>

#include <charconv>
#include <cstdint>
#include <thread>
#include <vector>

using namespace Tarn::Logging;

namespace {

// Keeps (thread, sequence) of every message in arrival order. Not locked: the manager serialises
// deliveries, and ThreadSanitizer would report it if it did not.
struct SequenceConsumer : Consumer {
    std::vector<uint64_t> seen;
    void consumeMessage(Tarn::StringView, Category, Tarn::StringView message, const char*, int) override {
        uint32_t thread = 0, sequence = 0;
        const char* end = message.data() + message.size();
        auto parsed = std::from_chars(message.data(), end, thread);
        parsed = std::from_chars(parsed.ptr + 1, end, sequence);
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
    first.seen.reserve(threads * perThread);
    second.seen.reserve(threads * perThread);
    const Log log("Worker");

    std::vector<std::thread> workers;
    for (uint32_t t = 0; t < threads; ++t) {
        workers.emplace_back([t, &log] {
            for (uint32_t i = 0; i < perThread; ++i) {
                log.log(Category::Info, "%u %u", t, i);
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
        ASSERT_EQ(static_cast<uint32_t>(entry), next[thread]);
        ++next[thread];
    }
}
