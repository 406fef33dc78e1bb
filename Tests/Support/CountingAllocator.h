#pragma once

#include <Tarn/Memory/Allocator.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <vector>

namespace Tarn::Testing {

/// An Allocator that keeps one byte total per MemBlockType and a log of every call, so
/// tests can check exactly which sizes, alignments and tags a container asks for. The base class
/// still does the heap work and keeps the overall counters. Thread-safe, as allocators must be.
class CountingAllocator : public Memory::Allocator {
public:
    enum class Op { Allocate, Deallocate, ChangeType };

    struct Call {
        Op op;
        uint64_t size;
        uint64_t alignment;   ///< Allocate only.
        MemBlockType type;    ///< The tag of Allocate and Deallocate, the old tag of ChangeType.
        MemBlockType newType; ///< ChangeType only.
        void* ptr;            ///< The block returned, freed or retagged.
    };

    void* allocate(uint64_t size, uint64_t alignment, MemBlockType type) override;
    void deallocate(void* ptr, uint64_t size, MemBlockType type) override;
    void changeType(void* ptr, uint64_t size, MemBlockType oldType, MemBlockType newType) override;

    uint64_t bytes(MemBlockType type) const;

    /// A copy of the log, oldest call first.
    std::vector<Call> calls() const;
    /// Only the calls of one kind, oldest first.
    std::vector<Call> calls(Op op) const;
    /// Sizes of the Allocate calls, oldest first: the growth sequence of a container.
    std::vector<uint64_t> allocationSizes() const;
    void clearLog();

    /// While set, allocate returns null without touching the heap or any counter (the request is
    /// still logged), to drive containers through their allocation-failure paths.
    void setRefuseAllocations(bool refuse);
    /// As setRefuseAllocations, for requests with this tag only; -1 refuses none.
    void setRefusedType(int type);

private:
    mutable std::mutex mutex_;
    std::array<uint64_t, MemBlockTypeCount> bytes_{};
    std::vector<Call> log_;
    bool refuse_ = false;
    int refusedType_ = -1;
};

} // namespace Tarn::Testing
