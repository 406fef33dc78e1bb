#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstdint>

namespace Tarn {

/// Stopwatch on the high-resolution performance counter, with a speed factor for application time.
///
/// The speed factor is in thousandths: 1000 is real time, 2000 runs twice as fast, 500 at half
/// speed. Every elapsed query scales (end - start) by it first, truncating toward zero, and then
/// converts to the unit, again truncating. The unit queries refresh `end` while the timer runs, so
/// they are not const; `elapsed` never reads the counter and reports raw ticks as of the last
/// refresh. Timers are plain values and may be copied freely.
class TARN_API Timer {
public:
    /// Not running, start and end 0, real-time scale.
    Timer() = default;

    /// A running timer started now, with real-time scale.
    static Timer startNew();

    /// Starts (or restarts) counting from now; `end` keeps its old value until the next refresh.
    void start();
    /// Stops counting; the elapsed queries keep reporting the interval up to now.
    void stop();

    /// Scaled interval in raw counter ticks; does not refresh `end` while running.
    int64_t elapsed() const;
    /// Scaled interval in whole microseconds (refreshes `end` while running).
    int64_t elapsedMicroseconds();
    /// Scaled interval in whole milliseconds (refreshes `end` while running).
    int64_t elapsedMilliseconds();
    /// Scaled interval in seconds (refreshes `end` while running).
    double elapsedSeconds();

    /// The speed factor in thousandths (see the class comment); resetScale returns to real time,
    /// 1000. A change applies to the whole interval at the next query, not from now on.
    ///@{
    int64_t getScale() const { return scale; }
    void setScale(int64_t newScale) { scale = newScale; }
    void resetScale() { scale = 1000; }
    ///@}
    /// True between start and stop.
    bool isRunning() const { return running; }

    /// Wall-clock microseconds since 1970-01-01 00:00 UTC.
    static int64_t currentTimeMicroseconds();
    /// `currentTimeMicroseconds` / 1000, truncated toward zero.
    static int64_t currentTimeMilliseconds();
    /// `currentTimeMicroseconds` / 1000000.0.
    static double currentTimeSeconds();

private:
    static int64_t now();
    int64_t scaledTicks() const;
    int64_t toUnit(int64_t unitsPerSecond);

    int64_t startTicks = 0;
    int64_t endTicks = 0;
    int64_t scale = 1000;
    bool running = false;
};

} // namespace Tarn
