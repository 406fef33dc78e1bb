#include "Application/Internal/Clock.h"

#include <windows.h>

namespace Tarn::Platform::Detail {

int64_t performanceCounter() {
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

int64_t performanceFrequency() {
    // Fixed at boot; read once.
    static const int64_t frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return f.QuadPart > 0 ? f.QuadPart : 1;
    }();
    return frequency;
}

int64_t systemTimeMicroseconds() {
    FILETIME ft;
    GetSystemTimeAsFileTime(&ft);
    // 100-ns units since 1601-01-01; 11644473600 s separate 1601 from 1970.
    const int64_t ticks =
        static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
    return ticks / 10 - 11644473600000000LL;
}

} // namespace Tarn::Platform::Detail
