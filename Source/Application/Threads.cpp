#include <Tarn/Application/Threads.h>

#include "Application/Internal/ThreadNaming.h"

#include <chrono>

namespace Tarn::Threads {

uint64_t hardwareConcurrency() {
    return std::thread::hardware_concurrency();
}

void Detail::setNativeThreadName(std::uintptr_t nativeThread, const char* name) {
    if (name == nullptr || nativeThread == 0) {
        return;
    }
    Platform::Detail::setThreadName(nativeThread, name);
}

void setCurrentName(const char* name) {
    if (name == nullptr) {
        return;
    }
    Platform::Detail::setCurrentThreadName(name);
}

void sleep(int64_t milliseconds) {
    if (milliseconds <= 0) {
        return;
    }
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    // Saturate rather than overflow for absurdly long requests.
    const auto headroom =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - start);
    const Clock::time_point deadline = milliseconds >= headroom.count()
                                           ? Clock::time_point::max()
                                           : start + std::chrono::milliseconds(milliseconds);
    // A single sleep is capped: some runtimes misbehave on waits of many years.
    constexpr auto longestSleep = std::chrono::hours(24 * 10);
    for (Clock::time_point now = start; now < deadline; now = Clock::now()) {
        const auto remaining = deadline - now;
        std::this_thread::sleep_for(remaining < longestSleep ? remaining : Clock::duration(longestSleep));
    }
}

void yield() {
    std::this_thread::yield();
}

} // namespace Tarn::Threads
