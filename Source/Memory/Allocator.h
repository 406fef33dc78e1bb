#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/MemBlockType.h>

#include <atomic>
#include <cstdint>

/// Memory: allocators with per-tag accounting (MemBlockType) and the growable byte buffer that is
/// also the library's binary serialisation.
namespace Tarn::Memory {

/// The library's single allocation interface.
///
/// Every owning container holds an Allocator pointer and routes each allocation and release
/// through it with a MemBlockType tag. The base class allocates from the process heap and keeps
/// two running totals of live blocks (bytes and count), updated atomically so that any thread may
/// allocate at any time. It ignores the tag; derive from it to keep per-tag totals or use another
/// heap. The allocator does not remember block sizes: callers pass back the size they asked for.
class TARN_API Allocator {
public:
    Allocator();
    /// Does nothing: live blocks are neither released nor reported.
    virtual ~Allocator();

    Allocator(const Allocator&) = delete;
    Allocator& operator=(const Allocator&) = delete;

    /// Counts the request, then returns a heap block of `size` bytes, or null when the heap is
    /// exhausted or `alignment` exceeds 16 (which also raises an assertion). The counters are
    /// raised even when null is returned.
    virtual void* allocate(uint64_t size, uint64_t alignment, MemBlockType type);

    /// Frees `ptr` (null is accepted) and lowers the counters by `size` and one block.
    virtual void deallocate(void* ptr, uint64_t size, MemBlockType type);

    /// Tells the allocator that a live block of `size` bytes changed its tag. The base keeps no
    /// per-tag totals and does nothing.
    virtual void changeType(void* ptr, uint64_t size, MemBlockType oldType, MemBlockType newType);

    /// Sum of the sizes of all live blocks.
    virtual uint64_t getAllocatedBytes() const;
    /// Number of live blocks.
    virtual uint64_t getAllocationCount() const;

    /// The process-wide default allocator, constructed on first use; the same pointer on every call.
    static Allocator* defaultAllocator();
    /// Where memory overflowing a fixed inline store comes from; the default allocator by design.
    static Allocator* overflowAllocator();

private:
    std::atomic<uint64_t> allocatedBytes;
    std::atomic<uint64_t> allocationCount;
};

} // namespace Tarn::Memory
