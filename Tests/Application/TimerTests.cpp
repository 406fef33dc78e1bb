#include <Tarn/Application/Threads.h>
#include <Tarn/Application/Timer.h>

#include <gtest/gtest.h>

#include <chrono>

using Tarn::Timer;

TEST(Timer, ZeroUntilStartedThenRawValueStaleWhileRunning) {
    Timer timer;
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.getScale(), 1000);
    EXPECT_EQ(timer.elapsed(), 0);
    EXPECT_EQ(timer.elapsedMicroseconds(), 0);
    EXPECT_EQ(timer.elapsedMilliseconds(), 0);
    EXPECT_EQ(timer.elapsedSeconds(), 0.0);

    timer = Timer::startNew();
    EXPECT_TRUE(timer.isRunning());
    // End is still 0 from construction: the raw query is meaningless until a unit query refreshes it.
    EXPECT_LT(timer.elapsed(), 0);
    Tarn::Threads::sleep(2);
    EXPECT_GE(timer.elapsedMicroseconds(), 2000);
    EXPECT_GE(timer.elapsed(), 0);
}

TEST(Timer, StoppedIntervalScalesExactly) {
    Timer timer;
    const auto outerStart = std::chrono::steady_clock::now();
    timer.start();
    Tarn::Threads::sleep(250);
    timer.stop();
    const auto outer = std::chrono::steady_clock::now() - outerStart;
    const int64_t raw = timer.elapsed();
    const int64_t ms = timer.elapsedMilliseconds();
    EXPECT_GE(ms, 250);
    // Within the interval measured around it: a unit error (microseconds as milliseconds) is not.
    EXPECT_LE(ms, std::chrono::duration_cast<std::chrono::milliseconds>(outer).count() + 1);
    EXPECT_EQ(timer.elapsedMilliseconds(), ms) << "a stopped timer must not move";

    timer.setScale(2000);
    EXPECT_EQ(timer.elapsed(), raw * 2);
    const int64_t doubled = timer.elapsedMilliseconds();
    EXPECT_GE(doubled, ms * 2);
    EXPECT_LE(doubled, ms * 2 + 1);

    timer.setScale(500);
    EXPECT_EQ(timer.elapsed(), raw * 500 / 1000);

    timer.resetScale();
    EXPECT_EQ(timer.elapsedMilliseconds(), ms);
    EXPECT_NEAR(timer.elapsedSeconds(), static_cast<double>(ms) / 1000.0, 0.001);
}

TEST(Timer, WallClockAgreesWithSystemClock) {
    const auto system = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    const int64_t micros = Timer::currentTimeMicroseconds();
    EXPECT_LT(std::llabs(micros - system), 2000000) << "epoch offset is wrong";
    const int64_t millis = Timer::currentTimeMilliseconds();
    EXPECT_GE(millis, micros / 1000);
    EXPECT_LT(millis - micros / 1000, 2000);
    EXPECT_NEAR(Timer::currentTimeSeconds(), static_cast<double>(micros) / 1e6, 2.0);
}
