#pragma once

#include <Tarn/ComponentModel/ComponentHandle.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/MemBlockType.h>
#include <Tarn/Memory/MemoryBuffer.h>

#include <cstddef>
#include <cstdint>

namespace Tarn::ComponentModel {

/// Side data kept per component outside the component itself (for example data that only one
/// system touches), addressed by the component's slot number, which never changes while the
/// component lives. Elements are raw bytes, zero when their slot is first made.
class TARN_API ComponentDataPoolBase {
public:
    /// Room for `capacity` zeroed elements of `elementSize` bytes, from the default allocator and
    /// tagged `memType`.
    ComponentDataPoolBase(uint32_t capacity, size_t elementSize,
                          MemBlockType memType = MemBlockType::ComponentData);

    /// Makes sure the handle's slot exists, growing by a factor of 1.55 once when it does not. A
    /// slot beyond that raises the assertion "index < capacity" and stays missing.
    void allocate(ComponentHandle handle);
    /// Nothing to do: the slot stays for the next component that takes it.
    void deallocate(ComponentHandle handle);

    /// The element of slot `index` (or of the handle's slot), or null when the slot does not exist.
    /// The generation is not checked: side data outlives its component until the slot is reused.
    ///@{
    void* get(uint32_t index);
    const void* get(uint32_t index) const;
    void* get(ComponentHandle handle) { return get(handle.index); }
    ///@}

    /// Number of slots, and the size of an element in bytes.
    ///@{
    uint32_t getCapacity() const { return capacity; }
    uint64_t getElementSize() const { return elementSize; }
    ///@}

protected:
    /// The elements, capacity x elementSize bytes, slot by slot.
    Memory::MemoryBuffer buffer;
    /// Size of an element in bytes.
    uint64_t elementSize;
    /// Number of slots.
    uint32_t capacity;
};

} // namespace Tarn::ComponentModel
