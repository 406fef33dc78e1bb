#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/ComponentModel/Entity.h>
#include <Tarn/Reflection/Registration.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// The registration shown in docs/Reflection.md, kept compiling and correct here.
enum class LightKind : int32_t { Point, Spot, Directional };

struct Light : Tarn::ComponentModel::Component {
    LightKind kind = LightKind::Point;
    float color[3] = {1, 1, 1};
    float intensity = 1.0f;
};

} // namespace

TARN_REFLECTION_TYPE_NAME(LightKind, "LightKind")
TARN_REFLECTION_TYPE_NAME(Light, "Light")

namespace {

void registerTypes() {
    using namespace Tarn::Reflection;
    using Tarn::ComponentModel::Component;
    TypeDatabase::initializeBaseTypes();
    Component::registerType();
    Tarn::ComponentModel::Entity::registerType();

    registerEnum<LightKind>("LightKind")
        .addEnumerators({
            enumerator("Point", LightKind::Point),
            enumerator("Spot", LightKind::Spot).setDescription("A cone of light"),
            enumerator("Directional", LightKind::Directional),
        });
    registerType<Light>("Light")
        .setBase(&TypeDatabase::getType("Component"))
        .setFields({
            makeField("kind", &Light::kind),
            makeField("color", &Light::color).addAttribute(ColorAttribute()),
            makeField("intensity", &Light::intensity).addAttribute(SerializableAttribute()),
        });
}

TEST(RegistrationTest, DocumentedComponentRegistration) {
    using namespace Tarn::Reflection;
    TypeDatabase::clear();
    registerTypes();

    Tarn::ComponentModel::ComponentPool<Light> lights;
    const Tarn::ComponentModel::ComponentHandle light = lights.allocate();
    const Type& type = lights.get(light)->getType();
    EXPECT_EQ(type.getName(), Name("Light"));
    EXPECT_EQ(type.getBase(), &TypeDatabase::getType("Component"));

    const Field* color = type.getField("color");
    ASSERT_NE(color, nullptr);
    EXPECT_EQ(color->getTypeId(), TypeDatabase::getType("float").getTypeId());
    EXPECT_EQ(color->getSize(), 4u);
    EXPECT_EQ(color->getDimensions(), 3u);
    EXPECT_EQ(color->getOffset(), 28u) << "after the 24-byte header and the 4-byte kind";
    EXPECT_NE(color->getAttributes().get<ColorAttribute>(), nullptr);
    EXPECT_EQ(type.getFieldId(size_t{24}), 0);

    const Field* kind = type.getField("kind");
    const Type& kindType = TypeDatabase::getType(kind->getTypeId());
    EXPECT_TRUE(kindType.isEnum());
    EXPECT_EQ(kindType.getEnumerator(Name("Directional"))->getValue(), 2);
    EXPECT_EQ(lights.get(light)->color[1], 1.0f) << "constructed through the registered functions";
    TypeDatabase::clear();
}

} // namespace
