#include "CountingAllocator.h"

namespace Tarn::Testing {

void* CountingAllocator::allocate(uint64_t size, uint64_t alignment, MemBlockType type) {
    bool refuse = false;
    {
        std::lock_guard lock(mutex_);
        refuse = refuse_ || refusedType_ == static_cast<int>(type);
    }
    // A refused request is logged but not counted: the caller never gets a block to give back.
    void* ptr = refuse ? nullptr : Allocator::allocate(size, alignment, type);
    std::lock_guard lock(mutex_);
    log_.push_back({Op::Allocate, size, alignment, type, type, ptr});
    if (!refuse) {
        bytes_[static_cast<uint8_t>(type)] += size;
    }
    return ptr;
}

void CountingAllocator::deallocate(void* ptr, uint64_t size, MemBlockType type) {
    {
        std::lock_guard lock(mutex_);
        log_.push_back({Op::Deallocate, size, 0, type, type, ptr});
        bytes_[static_cast<uint8_t>(type)] -= size;
    }
    Allocator::deallocate(ptr, size, type);
}

void CountingAllocator::changeType(void* ptr, uint64_t size, MemBlockType oldType, MemBlockType newType) {
    std::lock_guard lock(mutex_);
    log_.push_back({Op::ChangeType, size, 0, oldType, newType, ptr});
    bytes_[static_cast<uint8_t>(oldType)] -= size;
    bytes_[static_cast<uint8_t>(newType)] += size;
}

uint64_t CountingAllocator::bytes(MemBlockType type) const {
    std::lock_guard lock(mutex_);
    return bytes_[static_cast<uint8_t>(type)];
}

std::vector<CountingAllocator::Call> CountingAllocator::calls() const {
    std::lock_guard lock(mutex_);
    return log_;
}

std::vector<CountingAllocator::Call> CountingAllocator::calls(Op op) const {
    std::lock_guard lock(mutex_);
    std::vector<Call> result;
    for (const Call& call : log_) {
        if (call.op == op) {
            result.push_back(call);
        }
    }
    return result;
}

std::vector<uint64_t> CountingAllocator::allocationSizes() const {
    std::vector<uint64_t> sizes;
    for (const Call& call : calls(Op::Allocate)) {
        sizes.push_back(call.size);
    }
    return sizes;
}

void CountingAllocator::clearLog() {
    std::lock_guard lock(mutex_);
    log_.clear();
}

void CountingAllocator::setRefuseAllocations(bool refuse) {
    std::lock_guard lock(mutex_);
    refuse_ = refuse;
}

void CountingAllocator::setRefusedType(int type) {
    std::lock_guard lock(mutex_);
    refusedType_ = type;
}

} // namespace Tarn::Testing
