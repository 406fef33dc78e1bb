#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Reflection/Name.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/Type.h>
#include <Tarn/Reflection/TypeId.h>
#include <Tarn/Strings/StringView.h>

#include <cstddef>
#include <cstdint>

namespace Tarn::ComponentModel {

using Reflection::TypeId;

class Entity;
struct ComponentHandle;

/// The header every component starts with. Concrete components derive from it (as their first
/// base, so that a pointer to the storage is a pointer to the Component) and register their type
/// with the type "Component" as base; pools construct them through the registry and maintain the
/// header, so that a handle can check a component's generation without knowing its type.
///
/// Layout, 24 bytes on 64-bit targets: owning entity (8), roster index (4), flags (4), type id (2),
/// generation (2), reserved (4). Members of derived components start at offset 24.
class TARN_API Component {
public:
    /// Set in the flags by the pool that allocated the component.
    static constexpr uint32_t PoolAllocatedFlag = 1u;

    /// A header not yet in a pool: no entity, no flags, no type; the pool fills it in.
    Component() = default;

    /// The id registered under `name`, 0xFFFF when none.
    static TypeId getComponentTypeId(StringView name);

    /// The registered type of this component (its concrete type).
    const Reflection::Type& getType() const;

    /// A component of the owning entity with this type or a type derived from it; null when this
    /// component is not attached or the entity has none.
    ///@{
    Component* getComponent(TypeId type) const;
    Component* getComponent(const Reflection::Name& type) const;
    ///@}
    /// As getComponent, as a handle; the empty handle when nothing matches.
    ///@{
    ComponentHandle getComponentHandle(TypeId type) const;
    ComponentHandle getComponentHandle(const Reflection::Name& type) const;
    ///@}

    /// The entity the component is attached to, or null.
    Entity* getEntity() const { return entity; }
    /// The component's position in its pool's roster (live components fill positions 0..size-1).
    uint32_t getRosterIndex() const { return rosterIndex; }
    /// The flag bits (PoolAllocatedFlag).
    uint32_t getFlags() const { return flags; }
    /// The id of the component's registered (concrete) type.
    TypeId getTypeId() const { return typeId; }
    /// Bumped by every release, so that old handles stop resolving.
    uint16_t getGeneration() const { return generation; }

    /// Registers the type "Component" (24 bytes, no fields, no instance functions).
    static void registerType();

    /// The header's fields, in order. They are the pools' and entities' to maintain: read them
    /// (or use the accessors above), do not write them.
    ///@{
    Entity* entity = nullptr;                  ///< Owning entity; null while unattached.
    uint32_t rosterIndex = 0;                  ///< Position in the pool's roster.
    uint32_t flags = 0;                        ///< PoolAllocatedFlag and nothing else yet.
    TypeId typeId = Reflection::InvalidTypeId; ///< The concrete type's registered id.
    uint16_t generation = 0;                   ///< Low 16 bits of the allocation stamp.
    // Named padding: without it the Itanium ABI (GCC, Clang, mingw) places the first member of a
    // derived component in the header's tail padding, at offset 20, while MSVC places it at 24.
    // Field offsets must not depend on the compiler.
    [[maybe_unused]] uint32_t reserved = 0; ///< Padding to 24 bytes; always 0.
    ///@}

private:
    friend class ComponentPoolBase;
    friend class Entity;
    friend struct ComponentHandle;

    TypeId getFieldIdFromOffset(size_t offset) const;
};

static_assert(sizeof(void*) != 8 || sizeof(Component) == 24,
              "The component header is registered as 24 bytes.");

} // namespace Tarn::ComponentModel

TARN_REFLECTION_TYPE_NAME(Tarn::ComponentModel::Component, "Component")

// Component's users need handles complete; the handle header in turn needs Component complete.
#include <Tarn/ComponentModel/ComponentHandle.h>
