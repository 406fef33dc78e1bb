#include <Tarn/Collections/SmallVector.h>

#include <algorithm>

namespace Tarn::Collections {

void SmallVectorBase::growPod(void* inlineStorage, uint64_t minCapacityInBytes) {
    const uint64_t oldSize = sizeInBytes();
    const uint64_t oldCapacity = capacityInBytes();
    const uint64_t newCapacity = std::max(2 * oldCapacity, minCapacityInBytes);
    auto* block = static_cast<uint8_t*>(allocator->allocate(newCapacity, 0, MemBlockType::Buffer));
    if (block == nullptr) {
        return; // keep the old storage; the typed layer reports the failure
    }
    if (oldSize != 0) {
        std::memcpy(block, beginPtr, oldSize);
    }
    if (beginPtr != inlineStorage) {
        allocator->deallocate(beginPtr, oldCapacity, MemBlockType::Buffer);
    }
    beginPtr = block;
    endPtr = block + oldSize;
    capacityPtr = block + newCapacity;
}

void SmallVectorBase::releaseStorage(void* inlineStorage, uint64_t inlineCapacityInBytes) {
    if (beginPtr != inlineStorage) {
        allocator->deallocate(beginPtr, capacityInBytes(), MemBlockType::Buffer);
    }
    beginPtr = static_cast<uint8_t*>(inlineStorage);
    endPtr = beginPtr;
    capacityPtr = beginPtr + inlineCapacityInBytes;
}

} // namespace Tarn::Collections
