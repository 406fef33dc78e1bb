#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include "Internal/Growth.h"

#include <atomic>

namespace Tarn::ComponentModel {

// Defined here so that the DLL exports it (see StringView::NoPosition).
constexpr uint32_t ComponentPoolBase::AutomaticGrowth;

using Reflection::TypeDatabase;

std::atomic<uint32_t> ComponentPoolBase::generationCounter{0};

ComponentPoolBase::ComponentPoolBase(TypeId type, uint32_t initialCapacity, Memory::Allocator* allocator,
                                     MemBlockType memType)
    : next(0), roster(allocator), storage(allocator, memType),
      elementSize(TypeDatabase::getType(type).getSize()), typeId(type), flags(0), constructFn(nullptr),
      destructFn(nullptr) {
    const Reflection::Type& registered = TypeDatabase::getType(type);
    if (registered.isValid()) {
        constructFn = registered.getConstructFn();
        destructFn = registered.getDestructFn();
    }
    resize(initialCapacity);
}

ComponentPoolBase::~ComponentPoolBase() {
    if (!destructFn)
        return;
    for (uint32_t position = 0; position < next; ++position)
        destructFn(slotComponent(roster[position]));
}

ComponentHandle ComponentPoolBase::allocateComponent() {
    if ((flags & AutomaticGrowth) != 0 && next == roster.size())
        resize(Internal::grownCapacity(next));
    TARN_ASSERT_IN(next < roster.size() && "Component pool over capacity.",
                   "Source\\ComponentModel\\ComponentPool");
    if (next >= roster.size())
        return {};

    const uint32_t slot = roster[next];
    void* at = storage.data() + static_cast<uint64_t>(slot) * elementSize;
    // The storage is elementSize bytes, the registered size, so the registry's size check holds.
    void* instance = constructFn
                         ? constructFn(at)
                         : TypeDatabase::constructInstance(TypeDatabase::getType(typeId), at, elementSize);
    if (!instance)
        return {};
    return commitAllocation(static_cast<Component*>(instance), slot);
}

void ComponentPoolBase::deallocateComponent(ComponentHandle handle) {
    Component* component = retireComponent(handle);
    if (!component)
        return;
    if (destructFn)
        destructFn(component);
    markReleased(component);
}

void ComponentPoolBase::resize(uint32_t newCapacity) {
    const uint32_t oldCapacity = capacity();
    TARN_ASSERT(newCapacity >= roster.size() && "Component pool cannot shrink.");
    if (newCapacity <= oldCapacity)
        return;
    // Both or neither: a roster longer than the storage would hand out slots past its end. A
    // refused allocation leaves the pool as it was (an allocation then finds it full).
    roster.resize(newCapacity);
    if (roster.size() != newCapacity)
        return;
    const uint64_t bytes = static_cast<uint64_t>(newCapacity) * elementSize;
    storage.resize(bytes, true, false);
    if (storage.size() != bytes) {
        roster.resize(oldCapacity);
        return;
    }
    // Numbered from next, not from the old capacity: a pool grows only while empty or full, and
    // then the two are equal.
    for (uint32_t position = oldCapacity; position < newCapacity; ++position)
        roster[position] = next + (position - oldCapacity);
}

ComponentHandle ComponentPoolBase::getHandleAt(uint32_t position) {
    ComponentHandle handle;
    const uint32_t slot = roster[position];
    const Component* component = slotComponent(slot);
    handle.pool = this;
    handle.index = slot;
    handle.typeId = typeId;
    handle.generation = component->generation;
    return handle;
}

} // namespace Tarn::ComponentModel
