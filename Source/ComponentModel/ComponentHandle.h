#pragma once

#include <Tarn/Reflection/TypeId.h>

#include <cstdint>

namespace Tarn::ComponentModel {

class ComponentPoolBase;
class Component;

/// A weak reference to a pooled component: the pool, the component's storage slot (which never
/// moves), its type and its generation when the handle was made. Releasing the component bumps the
/// generation stored in it, so the handle stops resolving, also after the slot has been reused,
/// until 65,536 further allocations have passed through the pools (generations are 16-bit).
struct ComponentHandle {
    ComponentPoolBase* pool = nullptr;
    uint32_t index = 0;
    Reflection::TypeId typeId = 0;
    uint16_t generation = 0;

    /// The component, or null for the empty handle and when the component was released.
    inline Component* resolve() const;

    /// True for the empty handle (made by default, returned by failed searches).
    bool empty() const { return pool == nullptr; }

    friend bool operator==(const ComponentHandle& a, const ComponentHandle& b) {
        return a.pool == b.pool && a.index == b.index && a.typeId == b.typeId && a.generation == b.generation;
    }
};

} // namespace Tarn::ComponentModel

// resolve() is inline (it is the hot path of every lookup) and reads the pool's storage.
#include <Tarn/ComponentModel/ComponentPool.h>
