#include <Tarn/Application/Timer.h>

#include "Application/Internal/Clock.h"

namespace Tarn {

using namespace Platform::Detail;

Timer Timer::startNew() {
    Timer timer;
    timer.start();
    return timer;
}

void Timer::start() {
    running = true;
    startTicks = now();
}

void Timer::stop() {
    endTicks = now();
    running = false;
}

int64_t Timer::now() {
    return performanceCounter();
}

int64_t Timer::scaledTicks() const {
    return (endTicks - startTicks) * scale / 1000;
}

int64_t Timer::elapsed() const {
    return scaledTicks();
}

int64_t Timer::toUnit(int64_t unitsPerSecond) {
    if (running) {
        endTicks = now();
    }
    const int64_t ticks = scaledTicks();
    const int64_t frequency = performanceFrequency();
    // ticks * unitsPerSecond / frequency, split so that a nanosecond counter does not overflow
    // after a few hours; both parts truncate toward zero like the plain expression would.
    return ticks / frequency * unitsPerSecond + ticks % frequency * unitsPerSecond / frequency;
}

int64_t Timer::elapsedMicroseconds() {
    return toUnit(1000000);
}

int64_t Timer::elapsedMilliseconds() {
    return toUnit(1000);
}

double Timer::elapsedSeconds() {
    if (running) {
        endTicks = now();
    }
    return static_cast<double>(scaledTicks()) / static_cast<double>(performanceFrequency());
}

int64_t Timer::currentTimeMicroseconds() {
    return systemTimeMicroseconds();
}

int64_t Timer::currentTimeMilliseconds() {
    return currentTimeMicroseconds() / 1000;
}

double Timer::currentTimeSeconds() {
    return static_cast<double>(currentTimeMicroseconds()) / 1000000.0;
}

} // namespace Tarn
