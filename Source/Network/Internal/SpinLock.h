#pragma once

#include <atomic>
#include <thread>

#if defined(__x86_64__) || defined(_M_X64) || defined(__i386__) || defined(_M_IX86)
#include <immintrin.h>
#define TARN_NETWORK_CPU_RELAX() _mm_pause()
#else
#define TARN_NETWORK_CPU_RELAX() static_cast<void>(0)
#endif

namespace Tarn::Network::Detail {

/// A lock for critical sections of a few instructions that two threads on different cores take
/// at a high rate: a message queue's push and pop, the message pool. A sleeping mutex turns every
/// collision there into a pair of system calls and a context switch, which costs more than the
/// work it protects. This one spins briefly and then yields its time slice, so a holder that was
/// preempted (more runnable threads than cores) gets to finish. Meets the Lockable requirements.
class SpinLock {
public:
    void lock() noexcept {
        for (unsigned spins = 0; flag.exchange(true, std::memory_order_acquire);) {
            // Wait on a plain load so that the cache line is not bounced by failed exchanges.
            while (flag.load(std::memory_order_relaxed)) {
                if (++spins < 64) {
                    TARN_NETWORK_CPU_RELAX();
                } else {
                    std::this_thread::yield();
                }
            }
        }
    }
    bool try_lock() noexcept {
        return !flag.load(std::memory_order_relaxed) && !flag.exchange(true, std::memory_order_acquire);
    }
    void unlock() noexcept { flag.store(false, std::memory_order_release); }

private:
    std::atomic<bool> flag{false};
};

} // namespace Tarn::Network::Detail
