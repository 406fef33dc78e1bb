#include <Tarn/ComponentModel/ComponentDataPool.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Memory/Allocator.h>

#include "Internal/Growth.h"

#include <cstring>

namespace Tarn::ComponentModel {

ComponentDataPoolBase::ComponentDataPoolBase(uint32_t initialCapacity, size_t size, MemBlockType memType)
    : buffer(Memory::Allocator::defaultAllocator(), memType), elementSize(size), capacity(initialCapacity) {
    buffer.resize(static_cast<uint64_t>(capacity) * elementSize, false, false);
    // The capacity counts only elements that have storage: get() must not reach past it.
    capacity = elementSize ? static_cast<uint32_t>(buffer.size() / elementSize) : capacity;
    if (buffer.data())
        std::memset(buffer.data(), 0, buffer.size());
}

void ComponentDataPoolBase::allocate(ComponentHandle handle) {
    const uint32_t index = handle.index;
    if (index >= capacity) {
        const uint64_t oldBytes = buffer.size();
        const uint32_t grown = Internal::grownCapacity(capacity);
        buffer.resize(static_cast<uint64_t>(grown) * elementSize, true, false);
        if (buffer.size() != oldBytes || elementSize == 0) // unchanged when the allocator refused
            capacity = grown;
        if (buffer.data() && buffer.size() > oldBytes)
            std::memset(buffer.data() + oldBytes, 0, buffer.size() - oldBytes);
    }
    TARN_ASSERT_IN(index < capacity, "Source\\ComponentModel\\ComponentDataPool");
}

void ComponentDataPoolBase::deallocate(ComponentHandle /*handle*/) {}

void* ComponentDataPoolBase::get(uint32_t index) {
    return index < capacity ? buffer.data() + static_cast<uint64_t>(index) * elementSize : nullptr;
}

const void* ComponentDataPoolBase::get(uint32_t index) const {
    return index < capacity ? buffer.data() + static_cast<uint64_t>(index) * elementSize : nullptr;
}

} // namespace Tarn::ComponentModel
