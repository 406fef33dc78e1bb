#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstdint>
#include <thread>

/// Free functions over the platform's threads.
namespace Tarn::Threads {

/// Number of hardware threads as the runtime reports it; 0 when unknown.
TARN_API uint64_t hardwareConcurrency();

namespace Detail {
/// Names the thread behind a platform handle (a kernel HANDLE on Windows, a pthread_t elsewhere).
TARN_API void setNativeThreadName(std::uintptr_t nativeThread, const char* name);
} // namespace Detail

/// Names `thread` for debuggers, profilers and crash dumps. On Linux the name is cut to the
/// platform's 15 characters (at a UTF-8 character boundary). A thread that is not running is
/// left alone. A null name does nothing.
inline void setName(std::thread& thread, const char* name) {
    if (name == nullptr || !thread.joinable()) {
        return;
    }
#if defined(__MINGW32__)
    // MinGW's std::thread holds an id of the caller's own copy of the threading runtime (every
    // module links one statically), so only the caller's side can turn it into a kernel handle.
    Detail::setNativeThreadName(reinterpret_cast<std::uintptr_t>(pthread_gethandle(thread.native_handle())),
                                name);
#elif defined(_WIN32)
    Detail::setNativeThreadName(reinterpret_cast<std::uintptr_t>(thread.native_handle()), name);
#else
    Detail::setNativeThreadName(static_cast<std::uintptr_t>(thread.native_handle()), name);
#endif
}

/// Names the calling thread, as `setName` does.
TARN_API void setCurrentName(const char* name);

/// Blocks the calling thread for at least `milliseconds` of steady time; 0 or less returns at once.
TARN_API void sleep(int64_t milliseconds);

/// Offers the rest of the time slice to other threads.
TARN_API void yield();

} // namespace Tarn::Threads
