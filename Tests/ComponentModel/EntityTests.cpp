#include "AssertRecorder.h"

#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/ComponentModel/Entity.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

using namespace Tarn::ComponentModel;
using namespace Tarn::Reflection;
using Tarn::Testing::AssertRecorder;

namespace {

struct Shape : Component {
    float extent = 1.0f;
};
struct Sphere : Shape {
    float radius = 0.5f;
};
struct Label : Component {
    int text = 0;
};

} // namespace

TARN_REFLECTION_TYPE_NAME(Shape, "Shape")
TARN_REFLECTION_TYPE_NAME(Sphere, "Sphere")
TARN_REFLECTION_TYPE_NAME(Label, "Label")

namespace {

class EntityTest : public ::testing::Test {
protected:
    void SetUp() override {
        TypeDatabase::clear();
        TypeDatabase::initializeBaseTypes();
        Component::registerType();
        Entity::registerType();
        registerType<Shape>("Shape").setBase(&TypeDatabase::getType("Component"));
        registerType<Sphere>("Sphere").setBase(&TypeDatabase::getType("Shape"));
        registerType<Label>("Label").setBase(&TypeDatabase::getType("Component"));
    }
    void TearDown() override { TypeDatabase::clear(); }
};

TEST_F(EntityTest, RegisteredTypes) {
    const Type& component = TypeDatabase::getType("Component");
    EXPECT_EQ(component.getTypeId(), 30);
    EXPECT_EQ(component.getSize(), 24u);
    EXPECT_EQ(component.getNumFields(), 0u);
    EXPECT_EQ(TypeDatabase::createInstance(component), nullptr);

    const Type& entity = TypeDatabase::getType("Entity");
    EXPECT_EQ(entity.getSize(), sizeof(Entity));
    EXPECT_EQ(entity.getSize(), 72u);
    ASSERT_EQ(entity.getNumFields(), 1u);
    const Field* id = entity.getField(Name("id"));
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->getTypeId(), 10);
    EXPECT_EQ(id->getSize(), 8u);
    EXPECT_EQ(entity.getFieldId(static_cast<size_t>(id->getOffset())), 0);

    // The field really is where the id lives.
    Entity e;
    EXPECT_EQ(e.getId(), 0xFFFFFFFFFFFFFFFFull);
    e.setId(0x1122334455667788ull);
    uint64_t stored = 0;
    std::memcpy(&stored, reinterpret_cast<const unsigned char*>(&e) + id->getOffset(), 8);
    EXPECT_EQ(stored, 0x1122334455667788ull);

    // Derived members start after the whole 24-byte header, whatever the compiler's padding rules.
    EXPECT_EQ(makeField("extent", &Shape::extent).getOffset(), 24u);
    EXPECT_EQ(Component::getComponentTypeId("Sphere"), typeIdOf<Sphere>());
    EXPECT_EQ(Component::getComponentTypeId("Nope"), InvalidTypeId);
}

TEST_F(EntityTest, AttachAndDetach) {
    Entity e;
    ComponentPool<Shape> shapes;
    ComponentPool<Label> labels;
    const ComponentHandle shape = shapes.allocate();
    const ComponentHandle label = labels.allocate();
    e.addComponent(shape);
    e.addComponent(label);
    EXPECT_EQ(shapes.get(shape)->getEntity(), &e);
    EXPECT_EQ(shapes.get(shape)->getComponent(typeIdOf<Label>()), label.resolve());
    EXPECT_EQ(shapes.get(shape)->getComponentHandle(Name("Label")), label);

    AssertRecorder recorder;
    const ComponentHandle gone = labels.allocate();
    labels.release(gone);
    e.addComponent(gone);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"false"});
    EXPECT_EQ(e.getComponents().size(), 2u);

    Component* removed = label.resolve();
    e.removeComponent(label);
    EXPECT_EQ(removed->getEntity(), nullptr);
    EXPECT_EQ(removed->getComponent(typeIdOf<Shape>()), nullptr);
    EXPECT_TRUE(removed->getComponentHandle(Name("Shape")).empty());
    EXPECT_EQ(e.getComponent("Label"), nullptr);

    // A released component's stale handle still detaches it.
    shapes.release(shape);
    e.removeComponent(shape);
    EXPECT_TRUE(e.getComponents().empty());
    e.removeComponent(shape); // not present any more: nothing happens
    EXPECT_TRUE(e.getComponents().empty());
}

TEST_F(EntityTest, ExactMatchesWinOverDerivedOnes) {
    ComponentPool<Shape> shapes;
    ComponentPool<Sphere> spheres;
    ComponentPool<Label> labels;
    Entity e;
    const ComponentHandle sphere1 = spheres.allocate();
    const ComponentHandle label = labels.allocate();
    e.addComponent(sphere1);
    e.addComponent(label);

    // Only a derived component: the base search finds it.
    EXPECT_EQ(e.getComponent("Shape"), sphere1.resolve());
    EXPECT_EQ(e.getComponentHandle(typeIdOf<Component>()), sphere1) << "Component is everyone's base";
    EXPECT_EQ(e.getComponent<Label>(), label.resolve());

    const ComponentHandle shape = shapes.allocate();
    const ComponentHandle sphere2 = spheres.allocate();
    e.addComponent(shape);
    e.addComponent(sphere2);
    EXPECT_EQ(e.getComponentHandle(Name("Shape")), shape) << "exact before derived, whatever the order";
    EXPECT_EQ(e.getComponentPtr(TypeDatabase::getType("Shape")), shape.resolve());
    EXPECT_EQ(e.getComponent<Sphere>(), spheres.get(sphere1));
    EXPECT_EQ(e.getComponent(typeIdOf<Component>()), sphere1.resolve());

    ComponentCollectionBase found;
    found.add(label); // replaced, not appended to
    e.getComponents(Name("Shape"), &found);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0], shape);
    EXPECT_EQ(found[1], sphere1);
    EXPECT_EQ(found[2], sphere2);

    e.getComponents(Name("Component"), &found);
    EXPECT_EQ(found.size(), 4u);
    e.getComponents(Name("Unknown"), &found);
    EXPECT_TRUE(found.empty());
    EXPECT_TRUE(e.getComponentHandle(Name("Unknown")).empty());
    EXPECT_EQ(e.getComponent(InvalidTypeId), nullptr);

    // A stale handle is found but resolves to nothing.
    shapes.release(shape);
    EXPECT_EQ(e.getComponentHandle(typeIdOf<Shape>()), shape);
    EXPECT_EQ(e.getComponent(typeIdOf<Shape>()), nullptr);
}

} // namespace
