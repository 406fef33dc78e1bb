#include <Tarn/ComponentModel/Entity.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

namespace Tarn::ComponentModel {

// Defined here so that the DLL exports it (see StringView::NoPosition).
constexpr uint64_t Entity::NoId;

using Reflection::InvalidTypeId;
using Reflection::Type;
using Reflection::TypeDatabase;

namespace {

bool derivesFrom(TypeId derived, TypeId base) {
    for (const Type* type = TypeDatabase::getType(derived).getBase(); type; type = type->getBase()) {
        if (type->getTypeId() == base)
            return true;
    }
    return false;
}

} // namespace

void Entity::addComponent(ComponentHandle handle) {
    Component* component = handle.resolve();
    if (!component) {
        TARN_ASSERT_IN(false, "Source\\ComponentModel\\Entity");
        return;
    }
    components.add(handle);
    component->entity = this;
}

void Entity::removeComponent(ComponentHandle handle) {
    if (Component* component = handle.resolve())
        component->entity = nullptr;
    components.remove(handle);
}

ComponentHandle Entity::getComponentHandle(TypeId type) const {
    // The placeholder's id names no type; without this, a stale base id could match it.
    if (type == InvalidTypeId)
        return {};
    for (const ComponentHandle& handle : components) {
        if (handle.typeId == type)
            return handle;
    }
    for (const ComponentHandle& handle : components) {
        if (derivesFrom(handle.typeId, type))
            return handle;
    }
    return {};
}

ComponentHandle Entity::getComponentHandle(const Reflection::Name& type) const {
    return getComponentHandle(TypeDatabase::getType(type).getTypeId());
}

ComponentHandle Entity::getComponentHandle(const Type& type) const {
    return getComponentHandle(type.getTypeId());
}

Component* Entity::getComponent(TypeId type) const {
    return getComponentHandle(type).resolve();
}

Component* Entity::getComponent(const Reflection::Name& type) const {
    return getComponentPtr(TypeDatabase::getType(type));
}

Component* Entity::getComponentPtr(const Type& type) const {
    return getComponentHandle(type.getTypeId()).resolve();
}

void Entity::getComponents(const Reflection::Name& type, ComponentCollectionBase* out) const {
    if (!out)
        return;
    out->clear();
    const TypeId wanted = TypeDatabase::getType(type).getTypeId();
    if (wanted == InvalidTypeId)
        return;
    for (const ComponentHandle& handle : components) {
        if (handle.typeId == wanted)
            out->add(handle);
    }
    for (const ComponentHandle& handle : components) {
        if (handle.typeId != wanted && derivesFrom(handle.typeId, wanted))
            out->add(handle);
    }
}

void Entity::registerType() {
    Reflection::Field idField = Reflection::makeField<Entity>("id", &Entity::id);
    TypeDatabase::createType("Entity", sizeof(Entity), nullptr, nullptr, nullptr, nullptr, true)
        .setFields({std::move(idField)});
}

} // namespace Tarn::ComponentModel
