#include "Application/Internal/Clock.h"

#include <time.h>

namespace Tarn::Platform::Detail {

// CLOCK_MONOTONIC in nanoseconds: the counter frequency is fixed at 1 GHz.
int64_t performanceCounter() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

int64_t performanceFrequency() {
    return 1000000000;
}

int64_t systemTimeMicroseconds() {
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

} // namespace Tarn::Platform::Detail
