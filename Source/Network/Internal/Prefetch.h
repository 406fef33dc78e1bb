#pragma once

namespace Tarn::Network::Detail {

// Hints only: a null or stale address is harmless. Used where a message's lines were written last
// on another core, so that they travel while this thread works on something else.

inline void prefetchForRead(const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address, 0);
#else
    static_cast<void>(address);
#endif
}

// On x86-64 the compiler's builtin fetches for reading unless told the target has PREFETCHW; a
// line fetched shared must then be fetched again for the write. PREFETCHW takes it exclusive at
// once (processors without it run it as a no-op).
inline void prefetchForWrite(const void* address) {
#if defined(__GNUC__) && defined(__x86_64__)
    asm volatile("prefetchw %0" : : "m"(*static_cast<const char*>(address)));
#elif defined(__GNUC__)
    __builtin_prefetch(address, 1);
#else
    static_cast<void>(address);
#endif
}

} // namespace Tarn::Network::Detail
