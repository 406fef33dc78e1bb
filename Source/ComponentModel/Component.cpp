#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/Entity.h>
#include <Tarn/Reflection/TypeDatabase.h>

namespace Tarn::ComponentModel {

// Defined here so that the DLL exports it (see StringView::NoPosition).
constexpr uint32_t Component::PoolAllocatedFlag;

using Reflection::TypeDatabase;

TypeId Component::getComponentTypeId(StringView name) {
    return TypeDatabase::getType(Reflection::Name(name)).getTypeId();
}

const Reflection::Type& Component::getType() const {
    return TypeDatabase::getType(typeId);
}

Component* Component::getComponent(TypeId type) const {
    return entity ? entity->getComponent(type) : nullptr;
}

Component* Component::getComponent(const Reflection::Name& type) const {
    return entity ? entity->getComponent(type) : nullptr;
}

ComponentHandle Component::getComponentHandle(TypeId type) const {
    return entity ? entity->getComponentHandle(type) : ComponentHandle{};
}

ComponentHandle Component::getComponentHandle(const Reflection::Name& type) const {
    return entity ? entity->getComponentHandle(type) : ComponentHandle{};
}

TypeId Component::getFieldIdFromOffset(size_t offset) const {
    return getType().getFieldId(offset);
}

void Component::registerType() {
    TypeDatabase::createType("Component", sizeof(Component), nullptr, nullptr, nullptr, nullptr, true);
}

} // namespace Tarn::ComponentModel
