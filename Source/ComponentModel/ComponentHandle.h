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
    /// The pool that made the handle; null for the empty handle.
    ComponentPoolBase* pool = nullptr;
    /// The component's storage slot in the pool (not its roster position).
    uint32_t index = 0;
    /// The registered type of the component.
    Reflection::TypeId typeId = 0;
    /// The component's generation when the handle was made; resolving compares it.
    uint16_t generation = 0;

    /// The component, or null for the empty handle and when the component was released.
    inline Component* resolve() const;

    /// True for the empty handle (made by default, returned by failed searches).
    bool empty() const { return pool == nullptr; }

    /// Handles are equal when they name the same slot of the same pool with the same type and
    /// generation: a handle to a released component differs from one to its slot's next tenant.
    friend bool operator==(const ComponentHandle& a, const ComponentHandle& b) {
        return a.pool == b.pool && a.index == b.index && a.typeId == b.typeId && a.generation == b.generation;
    }
};

} // namespace Tarn::ComponentModel

// resolve() is inline (it is the hot path of every lookup) and reads the pool's storage.
#include <Tarn/ComponentModel/ComponentPool.h>
