#include <Tarn/Foundation/Assert.h>
#include <Tarn/Memory/Allocator.h>

#include <cstdlib>

namespace Tarn::Memory {

Allocator::Allocator() : allocatedBytes(0), allocationCount(0) {}

Allocator::~Allocator() = default;

void* Allocator::allocate(uint64_t size, uint64_t alignment, MemBlockType /*type*/) {
    // Counted before the checks: a refused request stays counted as a live block, so callers
    // must pair every allocate with a deallocate whatever it returned.
    allocatedBytes.fetch_add(size);
    allocationCount.fetch_add(1);
    if (alignment > 16) {
        TARN_ASSERT_AT(false && "Unsupported alignment restrictions.", "Source\\Memory\\Allocator", 35);
        return nullptr;
    }
    // The 64-bit heaps return 16-byte aligned blocks already; no adjustment is needed.
    return std::malloc(static_cast<size_t>(size));
}

void Allocator::deallocate(void* ptr, uint64_t size, MemBlockType /*type*/) {
    std::free(ptr);
    allocatedBytes.fetch_sub(size);
    allocationCount.fetch_sub(1);
}

void Allocator::changeType(void* /*ptr*/, uint64_t /*size*/, MemBlockType /*oldType*/,
                           MemBlockType /*newType*/) {}

uint64_t Allocator::getAllocatedBytes() const {
    return allocatedBytes.load();
}

uint64_t Allocator::getAllocationCount() const {
    return allocationCount.load();
}

Allocator* Allocator::defaultAllocator() {
    static Allocator instance;
    return &instance;
}

Allocator* Allocator::overflowAllocator() {
    return defaultAllocator();
}

} // namespace Tarn::Memory
