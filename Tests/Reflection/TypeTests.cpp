#include "AssertRecorder.h"

#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Tarn::Reflection;
using Tarn::Testing::AssertRecorder;

namespace {

enum class Mode : int32_t { Off = 0, Fast = 5, Safe = -3 };

struct Rigid {
    uint64_t id;
    float weights[4];
    Mode mode;
};
struct Padding {
    uint32_t pad;
};
struct Body : Padding, Rigid {
    double mass;
};

} // namespace

TARN_REFLECTION_TYPE_NAME(Mode, "Mode")

namespace {

// A three-level chain: Grand (3 fields) <- Parent (2 fields) <- Child (3 fields).
class TypeTest : public ::testing::Test {
protected:
    void SetUp() override {
        TypeDatabase::clear();
        TypeDatabase::initializeBaseTypes();
        grand = TypeDatabase::createType("Grand", 24)
                    .setFields({Field("g0", 0, 5, 4), Field("g1", 8, 5, 4), Field("shared", 16, 5, 4)})
                    .getTypeId();
        parent = TypeDatabase::createType("Parent", 40)
                     .setBase(&TypeDatabase::getType(grand))
                     .setFields({Field("p0", 24, 10, 8), Field("p1", 32, 10, 8)})
                     .getTypeId();
        child = TypeDatabase::createType("Child", 64)
                    .setBase(&TypeDatabase::getType(parent))
                    .setFields({Field("c0", 40, 5, 4), Field("shared", 48, 5, 4), Field("c2", 48, 5, 4)})
                    .getTypeId();
    }
    void TearDown() override { TypeDatabase::clear(); }

    const Type& type(TypeId id) { return TypeDatabase::getType(id); }

    TypeId grand = InvalidTypeId, parent = InvalidTypeId, child = InvalidTypeId;
};

TEST_F(TypeTest, FieldIdsAddressTheBaseChain) {
    const Type& c = type(child);
    const Field* grandFields = type(grand).getFields().data();
    const Field* parentFields = type(parent).getFields().data();
    EXPECT_EQ(c.getField(TypeId{2})->getName(), Name("c2"));
    EXPECT_EQ(c.getField(TypeId{1025}), parentFields + 1);
    EXPECT_EQ(c.getField(TypeId{2048 + 2}), grandFields + 2);
    EXPECT_EQ(type(parent).getField(TypeId{1026}), grandFields + 2);
    // Small ids never reach into the base, even when the base has that many fields.
    EXPECT_EQ(c.getField(TypeId{3}), nullptr);
    EXPECT_EQ(type(parent).getField(TypeId{2}), nullptr);
    EXPECT_EQ(c.getField(TypeId{1024 + 2}), nullptr);
    EXPECT_EQ(c.getField(TypeId{3072}), nullptr) << "the chain ends after Grand";
    EXPECT_EQ(c.getField(InvalidTypeId), nullptr);

    EXPECT_EQ(c.getFieldId(&c.getFields()[1]), 1);
    EXPECT_EQ(c.getFieldId(parentFields + 1), 1025);
    EXPECT_EQ(c.getFieldId(grandFields + 2), 2050);
    EXPECT_EQ(type(parent).getFieldId(grandFields), 1024);
    // One past the own fields counts as inside and yields the field count.
    EXPECT_EQ(c.getFieldId(c.getFields().data() + 3), 3);
    const Field foreign;
    EXPECT_EQ(c.getFieldId(&foreign), InvalidTypeId);
    EXPECT_EQ(c.getFieldId(static_cast<const Field*>(nullptr)), InvalidTypeId);

    EXPECT_EQ(c.getFieldId(size_t{48}), 1) << "first own field on a tie";
    EXPECT_EQ(c.getFieldId(size_t{40}), 0);
    EXPECT_EQ(c.getFieldId(size_t{24}), InvalidTypeId) << "base fields are not searched by offset";
    EXPECT_EQ(c.getFieldId(size_t{0}), InvalidTypeId);
}

TEST_F(TypeTest, NameLookupsWalkTheChainOwnFirst) {
    const Type& c = type(child);
    EXPECT_EQ(c.getField(Name("shared")), &c.getFields()[1]);
    EXPECT_EQ(c.getField(Name("g1")), &type(grand).getFields()[1]);
    EXPECT_EQ(c.getField(Name("p0")), &type(parent).getFields()[0]);
    EXPECT_EQ(type(grand).getField(Name("c0")), nullptr);
    EXPECT_EQ(c.getField(Name("missing")), nullptr);

    Method methods[2] = {Method("update"), Method("reset")};
    methods[1].callWords[0] = 42;
    TypeDatabase::createType("WithMethods", 1)
        .setMethods(methods, 2)
        .setMethods(methods, 1)
        .setBase(&type(child));
    const Type& m = TypeDatabase::getType("WithMethods");
    ASSERT_EQ(m.getNumMethods(), 3u) << "setMethods appends";
    EXPECT_EQ(m.getMethod(Name("reset"))->callWords[0], 42u);
    EXPECT_EQ(m.getMethodId(m.getMethod(Name("reset"))), 1);
    EXPECT_EQ(m.getMethod(TypeId{2})->getName(), Name("update"));
    EXPECT_EQ(m.getField(Name("g0")), &type(grand).getFields()[0]);
    EXPECT_EQ(m.getMethod(Name("draw")), nullptr);
}

TEST_F(TypeTest, EnumeratorsAndFlags) {
    Type& mode = registerEnum<Mode>("Mode").addEnumerators(
        {enumerator("Off", Mode::Off), enumerator("Fast", Mode::Fast).setDescription("No checks")});
    mode.addEnumerators({enumerator("Safe", Mode::Safe)});
    EXPECT_TRUE(mode.isEnum());
    EXPECT_FALSE(mode.isEnumFlags());
    EXPECT_EQ(mode.getNumEnumerators(), 3u);
    EXPECT_EQ(mode.getEnumerator(Name("Safe"))->getValue(), -3);
    EXPECT_EQ(mode.getEnumerator(size_t{1})->getDescription(), Tarn::StringView("No checks"));
    EXPECT_EQ(mode.getEnumerator(size_t{3}), nullptr);
    EXPECT_EQ(mode.getSize(), sizeof(Mode));
    mode.setEnumFlags();
    EXPECT_TRUE(mode.isEnumFlags());

    Type& empty = TypeDatabase::createType("NoValues", 4).setEnumFlags();
    EXPECT_EQ(empty.getFlags() & Type::EnumFlagsBit, 1u);
    EXPECT_FALSE(empty.isEnumFlags()) << "the flag bit means nothing without enumerators";
    EXPECT_FALSE(empty.isEnum());
}

TEST_F(TypeTest, BuilderMisuseIsRefused) {
    AssertRecorder recorder;
    Type& e = TypeDatabase::createType("E", 4).addEnumerators({Enumerator("A", 1)});
    e.setFields({Field("x", 0, 5, 4)});
    EXPECT_TRUE(recorder.saw("enumerators.empty() && \"Enumeration cannot contain fields.\""));
    EXPECT_EQ(e.getNumFields(), 0u);

    recorder.clear();
    Type& s = const_cast<Type&>(type(grand));
    std::vector<Field> more = {Field("extra", 20, 5, 4)};
    s.setFields(more);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"this->fields.empty() && \"set only.\""});
    EXPECT_EQ(s.getNumFields(), 3u) << "fields are set once, not appended";

    recorder.clear();
    s.addEnumerators({Enumerator("A", 1)});
    EXPECT_TRUE(recorder.saw("fields.empty() && \"Structure cannot contain enumerators.\""));
    EXPECT_FALSE(s.isEnum());

    // The span form moves the caller's fields in, in order.
    std::vector<Field> built = {Field("a", 0, 5, 4), Field("b", 4, 5, 4)};
    EXPECT_EQ(TypeDatabase::createType("Fresh", 8).setFields(built).getField(TypeId{1})->getName(),
              Name("b"));
    EXPECT_EQ(recorder.count(), 1u);

    recorder.clear();
    s.setBase(&type(child));
    s.setBase(&s);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>(2, "false && \"A type cannot be its own base.\""));
    EXPECT_EQ(type(grand).getBase(), nullptr) << "a cycle is refused";
}

TEST_F(TypeTest, MakeFieldDeducesOffsetSizeTypeAndDimensions) {
    const Field id = makeField("id", &Rigid::id);
    EXPECT_EQ(id.getOffset(), offsetof(Rigid, id));
    EXPECT_EQ(id.getTypeId(), 10);
    EXPECT_EQ(id.getSize(), 8u);
    EXPECT_EQ(id.getDimensions(), 0u);

    const Field weights = makeField("weights", &Rigid::weights);
    EXPECT_EQ(weights.getOffset(), offsetof(Rigid, weights));
    EXPECT_EQ(weights.getTypeId(), 11);
    EXPECT_EQ(weights.getSize(), 4u) << "size of one element";
    EXPECT_EQ(weights.getDimensions(), 4u);

    // A user enumeration resolves once it is registered.
    EXPECT_EQ(makeField("mode", &Rigid::mode).getTypeId(), InvalidTypeId);
    const TypeId mode = registerEnum<Mode>("Mode").getTypeId();
    EXPECT_EQ(makeField("mode", &Rigid::mode).getTypeId(), mode);

    // Inherited members, measured from the derived object where the base does not start it.
    const Body body{};
    const auto expected =
        reinterpret_cast<const unsigned char*>(&body.mode) - reinterpret_cast<const unsigned char*>(&body);
    EXPECT_EQ(makeField<Body>("mode", &Body::mode).getOffset(), static_cast<uint64_t>(expected));
    EXPECT_NE(makeField("mode", &Body::mode).getOffset(), static_cast<uint64_t>(expected));

    const Field tagged = makeField("id", &Rigid::id).addAttribute(ColorAttribute());
    EXPECT_NE(tagged.getAttributes().get<ColorAttribute>(), nullptr);
    EXPECT_EQ(tagged.getAttributes().get<SerializableAttribute>(), nullptr);
}

} // namespace
