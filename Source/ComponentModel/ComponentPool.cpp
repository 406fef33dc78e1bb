#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include "Internal/Growth.h"

#include <atomic>
#include <utility>

namespace Tarn::ComponentModel {

using Reflection::TypeDatabase;

namespace {

// Stamps every allocation of every pool; components and handles keep its low 16 bits. Pools are
// single-threaded, but two pools may live on two threads: relaxed loads and stores keep that free
// of data races at the cost of a plain move, and a lost update only repeats a stamp, which the
// generation bump on release makes harmless.
std::atomic<uint32_t> generationCounter{0};

} // namespace

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
    TARN_ASSERT(next < roster.size() && "Component pool over capacity.");
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
    auto* component = static_cast<Component*>(instance);

    const uint32_t stamp = generationCounter.load(std::memory_order_relaxed);
    component->rosterIndex = next;
    component->flags |= Component::PoolAllocatedFlag;
    component->typeId = typeId;
    component->generation = static_cast<uint16_t>(stamp);
    ++next;
    generationCounter.store(stamp + 1, std::memory_order_relaxed);

    ComponentHandle handle;
    handle.pool = this;
    handle.index = slot;
    handle.typeId = typeId;
    handle.generation = static_cast<uint16_t>(stamp);
    return handle;
}

void ComponentPoolBase::deallocateComponent(ComponentHandle handle) {
    // A stale handle, or one of another pool, names no live component of this pool: it is
    // reported as out of the live range rather than releasing whatever occupies the slot now.
    Component* component = handle.pool == this ? handle.resolve() : nullptr;
    const uint32_t rosterIndex = component ? component->rosterIndex : next;
    TARN_ASSERT(rosterIndex < next && "Roster index out of bounds");
    if (rosterIndex >= next)
        return;

    --next;
    std::swap(roster[rosterIndex], roster[next]);
    slotComponent(roster[rosterIndex])->rosterIndex = rosterIndex;
    ++component->generation;
    if (destructFn)
        destructFn(component);
}

void ComponentPoolBase::resize(uint32_t newCapacity) {
    const uint32_t oldCapacity = capacity();
    TARN_ASSERT(newCapacity >= roster.size() && "Component pool cannot shrink.");
    if (newCapacity <= oldCapacity)
        return;
    roster.resize(newCapacity);
    storage.resize(static_cast<uint64_t>(newCapacity) * elementSize, true, false);
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
