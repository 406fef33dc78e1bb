#pragma once

#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/ComponentCollection.h>
#include <Tarn/ComponentModel/ComponentHandle.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Reflection/Name.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/Type.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <string>

namespace Tarn::ComponentModel {

/// A named object with an id, a word of user data and weak handles to its components.
///
/// Components are found by type: first a component of exactly that type, in attachment order;
/// only when there is none, the first component (in attachment order) whose type derives from it.
/// An exact match therefore wins even over a derived component attached earlier.
///
/// Entities are values: copies hold the same handles, but each component points back only at the
/// entity it was attached to.
class TARN_API Entity {
public:
    /// No id assigned.
    static constexpr uint64_t NoId = 0xFFFFFFFFFFFFFFFFull;

    /// No name, no id (NoId), user data 0, no components.
    Entity() = default;

    /// The id, which the application assigns; the library neither picks nor checks ids.
    ///@{
    uint64_t getId() const { return id; }
    void setId(uint64_t newId) { id = newId; }
    ///@}
    /// The name, copied in; a null view sets the empty name.
    ///@{
    const std::string& getName() const { return name; }
    void setName(StringView newName) { name.assign(newName.data() ? newName.data() : "", newName.size()); }
    ///@}
    /// A word the application may use as it likes (an index, a tag, a pointer's bits).
    ///@{
    int64_t getUserData() const { return userData; }
    void setUserData(int64_t data) { userData = data; }
    ///@}

    /// The attached components, in attachment order.
    const ComponentCollectionBase& getComponents() const { return components; }

    /// Attaches the component the handle names. A handle that does not resolve raises an
    /// assertion and leaves the entity unchanged.
    void addComponent(ComponentHandle handle);
    /// Detaches the component: its entity becomes null (when it still exists) and the handle
    /// leaves the list, also when it no longer resolves.
    void removeComponent(ComponentHandle handle);

    /// The handle of the first component of this type, else of a type derived from it; or empty.
    /// A name that is not registered matches nothing.
    ///@{
    ComponentHandle getComponentHandle(TypeId type) const;
    ComponentHandle getComponentHandle(const Reflection::Name& type) const;
    ComponentHandle getComponentHandle(const Reflection::Type& type) const;
    ///@}
    /// As getComponentHandle, resolved: null when nothing matches or the handle is stale.
    ///@{
    Component* getComponent(TypeId type) const;
    Component* getComponent(const Reflection::Name& type) const;
    Component* getComponentPtr(const Reflection::Type& type) const;
    ///@}
    /// The component of the type registered for T (see Reflection::TypeName), or null.
    template <class T>
    T* getComponent() const {
        return static_cast<T*>(getComponent(Reflection::typeIdOf<T>()));
    }

    /// Replaces `out` with every matching handle: exact matches first, then derived ones, each in
    /// attachment order.
    void getComponents(const Reflection::Name& type, ComponentCollectionBase* out) const;

    /// Registers the type "Entity" with its one field "id".
    static void registerType();

private:
    ComponentCollectionBase components;
    std::string name;
    uint64_t id = NoId;
    int64_t userData = 0;
};

} // namespace Tarn::ComponentModel

TARN_REFLECTION_TYPE_NAME(Tarn::ComponentModel::Entity, "Entity")
