#include "MallocCount.h"

#include <atomic>
#include <cstddef>

extern "C" void* __libc_malloc(size_t size);

namespace {
std::atomic<uint64_t> calls{0};
thread_local uint64_t threadCalls = 0;
} // namespace

extern "C" void* malloc(size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    ++threadCalls;
    return __libc_malloc(size);
}

namespace Tarn::Bench {

uint64_t mallocCalls() {
    return calls.load(std::memory_order_relaxed);
}

uint64_t threadMallocCalls() {
    return threadCalls;
}

} // namespace Tarn::Bench
