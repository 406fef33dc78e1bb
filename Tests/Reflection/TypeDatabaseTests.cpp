#include "AssertRecorder.h"

#include <Tarn/Reflection/Attribute.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace Tarn::Reflection;
using Tarn::Testing::AssertRecorder;

namespace {

class TypeDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        TypeDatabase::clear();
        TypeDatabase::initializeBaseTypes();
    }
    void TearDown() override { TypeDatabase::clear(); }
};

TEST_F(TypeDatabaseTest, BaseTypesHaveFixedIdsAndPlatformSizes) {
    // Scalars, vectors of every scalar but bool, then the attribute kinds.
    const char* const scalars[] = {"bool",    "string",   "int8_t",   "int16_t",  "int32_t", "int64_t",
                                   "uint8_t", "uint16_t", "uint32_t", "uint64_t", "float",   "double"};
    const uint64_t scalarSizes[] = {1, sizeof(std::string), 1, 2, 4, 8, 1, 2, 4, 8, 4, 8};
    const char* const attributes[] = {"DescriptionAttribute",  "RangeAttribute",
                                      "DefaultValueAttribute", "StepSizeAttribute",
                                      "SerializableAttribute", "ColorAttribute"};
    std::vector<std::pair<std::string, uint64_t>> expected;
    for (int i = 0; i < 12; ++i)
        expected.emplace_back(scalars[i], scalarSizes[i]);
    // Every vector instantiation has the same size in the standard libraries both targets use.
    for (int i = 1; i < 12; ++i)
        expected.emplace_back("vector<" + std::string(scalars[i]) + ">", sizeof(std::vector<std::string>));
    for (const char* kind : attributes)
        expected.emplace_back(kind, 256);
    uint64_t count = 0;
    const Type* types = TypeDatabase::getTypes(count);
    ASSERT_EQ(count, 30u);
    EXPECT_FALSE(types[0].isValid());
    EXPECT_EQ(types[0].getName().getId(), 0u);
    for (TypeId id = 1; id < 30; ++id) {
        const auto& [name, size] = expected[id - 1];
        SCOPED_TRACE(name);
        EXPECT_EQ(types[id].getName().getName(), name);
        EXPECT_EQ(types[id].getTypeId(), id);
        EXPECT_EQ(types[id].getSize(), size);
        EXPECT_EQ(TypeDatabase::getType(Name(name)).getTypeId(), id);
    }
    // The 64-bit layout both targets share: a string object is 32 bytes, a vector 24.
    EXPECT_EQ(TypeDatabase::getType("string").getSize(), 32u);
    EXPECT_EQ(TypeDatabase::getType("vector<double>").getSize(), 24u);
}

TEST_F(TypeDatabaseTest, FailedLookupsYieldThePlaceholder) {
    const Type& unknown = TypeDatabase::getType("nonexistent");
    EXPECT_FALSE(unknown.isValid());
    EXPECT_EQ(unknown.getTypeId(), InvalidTypeId);
    EXPECT_EQ(&unknown, &TypeDatabase::getType(TypeId{0}));
    EXPECT_EQ(&TypeDatabase::getType(TypeId{500}), &unknown);
    EXPECT_EQ(&TypeDatabase::getType(InvalidTypeId), &unknown);

    // After clear there is no entry 0 at all; lookups must still not read outside the array.
    TypeDatabase::clear();
    uint64_t count = 99;
    TypeDatabase::getTypes(count);
    EXPECT_EQ(count, 0u);
    EXPECT_FALSE(TypeDatabase::getType("bool").isValid());
    EXPECT_FALSE(TypeDatabase::getType(TypeId{1}).isValid());
    TypeDatabase::initializeBaseTypes();
    EXPECT_EQ(TypeDatabase::getType("uint64_t").getTypeId(), 10);
}

TEST_F(TypeDatabaseTest, ReRegisteredNameResolvesToTheNewerTypeAndCachesFollow) {
    static const TypeIdCache cache("Foo");
    EXPECT_EQ(cache.get(), InvalidTypeId);
    const TypeId first = TypeDatabase::createType("Foo", 4).getTypeId();
    EXPECT_EQ(cache.get(), first);
    const TypeId second = TypeDatabase::createType("Foo", 8).getTypeId();
    EXPECT_EQ(first, 30);
    EXPECT_EQ(second, 31);
    EXPECT_EQ(TypeDatabase::getType("Foo").getTypeId(), second);
    EXPECT_EQ(TypeDatabase::getType("Foo").getSize(), 8u);
    EXPECT_EQ(TypeDatabase::getType(first).getSize(), 4u);
    EXPECT_EQ(cache.get(), second);

    // Registered again after clear under an id it never had before.
    TypeDatabase::clear();
    TypeDatabase::initializeBaseTypes();
    TypeDatabase::createType("Other", 1);
    TypeDatabase::createType("Other2", 1);
    EXPECT_EQ(TypeDatabase::createType("Foo", 1).getTypeId(), 32);
    EXPECT_EQ(cache.get(), 32);
}

TEST_F(TypeDatabaseTest, InstanceFunctionsCheckTypeAndStorage) {
    AssertRecorder recorder;
    const Type& u64 = TypeDatabase::getType("uint64_t");
    alignas(8) unsigned char storage[256];
    std::memset(storage, 0xAB, sizeof storage);
    EXPECT_EQ(TypeDatabase::constructInstance(u64, storage, 7), nullptr);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"type.getSize() <= dataSize && \"Placement target "
                                                         "too small to construct in.\""});
    EXPECT_EQ(storage[0], 0xAB) << "storage too small must stay untouched";

    recorder.clear();
    EXPECT_EQ(TypeDatabase::constructInstance(u64, storage, 8), storage);
    EXPECT_TRUE(recorder.empty());
    uint64_t value = 1;
    std::memcpy(&value, storage, 8);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(storage[8], 0xAB);

    EXPECT_EQ(TypeDatabase::constructInstance(TypeDatabase::getType("nonexistent"), storage, 16), nullptr);
    EXPECT_TRUE(recorder.saw("type.isValid() && \"Invalid type cannot be used to construct instance.\""));

    // Heap-backed contents, so a missing destructor shows up as a leak.
    const Type& text = TypeDatabase::getType("string");
    auto* created = static_cast<std::string*>(TypeDatabase::createInstance(text));
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(created->empty());
    created->assign(100, 'x');
    TypeDatabase::destroyInstance(text, created);
    const Type& floats = TypeDatabase::getType("vector<float>");
    auto* placed = static_cast<std::vector<float>*>(TypeDatabase::constructInstance(floats, storage, 24));
    ASSERT_NE(placed, nullptr);
    placed->resize(50, 1.0f);
    TypeDatabase::destructInstance(floats, placed);

    // Kinds without instance functions are refused, not crashed on.
    EXPECT_EQ(TypeDatabase::createInstance(TypeDatabase::getType("RangeAttribute")), nullptr);
    std::memset(storage, 0x5A, sizeof storage);
    EXPECT_EQ(TypeDatabase::constructInstance(TypeDatabase::getType("DescriptionAttribute"), storage, 256),
              nullptr);
    EXPECT_EQ(storage[0], 0x5A);
    const Type& bare = TypeDatabase::createType("Bare", 8, nullptr, nullptr, nullptr, nullptr, true);
    EXPECT_EQ(TypeDatabase::createInstance(bare), nullptr);
}

TEST_F(TypeDatabaseTest, BuiltInAttributesHaveAnExactByteLayout) {
    for (const char* kind : {"ColorAttribute", "SerializableAttribute"}) {
        SCOPED_TRACE(kind);
        const Type& type = TypeDatabase::getType(kind);
        alignas(Attribute) unsigned char bytes[256];
        std::memset(bytes, 0xCC, sizeof bytes);
        ASSERT_NE(TypeDatabase::constructInstance(type, bytes, 256), nullptr);
        EXPECT_EQ(bytes[0] | (bytes[1] << 8), type.getTypeId());
        EXPECT_EQ(bytes[2], 0xFF);
        EXPECT_EQ(bytes[3], 0xFF);
        EXPECT_EQ(bytes[4], 1);
        for (int i = 5; i < 256; ++i)
            ASSERT_EQ(bytes[i], 0) << "payload byte " << i;
    }
    EXPECT_EQ(ColorAttribute().typeId, 29);
    EXPECT_EQ(SerializableAttribute().typeId, 28);

    // Unregistered kinds still construct, with the id "none".
    TypeDatabase::clear();
    EXPECT_EQ(ColorAttribute().typeId, InvalidTypeId);
    EXPECT_EQ(ColorAttribute().builtIn, 1);
}

TEST_F(TypeDatabaseTest, CachedLookupsFromManyThreads) {
    // Registration is over; readers on several threads share the per-type caches.
    TypeDatabase::createType("Late", 1);
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&wrong] {
            for (int i = 0; i < 2000; ++i) {
                wrong += typeIdOf<uint64_t>() != 10;
                wrong += ColorAttribute().typeId != 29;
                wrong += TypeDatabase::getType("Late").getTypeId() != 30;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST(AttributeTest, LayoutAndLookup) {
    static_assert(offsetof(Attribute, typeId) == 0 && offsetof(Attribute, keyId) == 2 &&
                  offsetof(Attribute, builtIn) == 4 && offsetof(Attribute, payload) == 5);
    Attributes attributes;
    Attribute a(7, 1), b(7, 2), c(7, 2);
    EXPECT_EQ(Attribute().keyId, InvalidTypeId);
    EXPECT_EQ(a.builtIn, 0);
    b.storePayload(2.5f);
    c.storePayload(9.0f);
    attributes.attributes = {a, b, c};
    const Attribute* found = attributes.getAttributeByTypeId(7, 2);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->loadPayload<float>(), 2.5f) << "first match wins";
    EXPECT_EQ(attributes.getAttributeByTypeId(7, InvalidTypeId), nullptr) << "both ids must match";
    EXPECT_EQ(attributes.getAttributeByTypeId(8, 1), nullptr);
}

TEST(NameTest, EqualityIsByHashOnly) {
    EXPECT_EQ(Name().getId(), 0u);
    EXPECT_EQ(Name("").getId(), 0xcbf29ce484222325ull);
    EXPECT_FALSE(Name() == Name(""));
    EXPECT_EQ(Name(static_cast<const char*>(nullptr)).getId(), 0xcbf29ce484222325ull);
    EXPECT_STREQ(Name(static_cast<const char*>(nullptr)).c_str(), "");

    const Name a("a");
    EXPECT_EQ(a.getId(), 0xaf63dc4c8601ec8cull);
    EXPECT_EQ(Name(Tarn::StringView("ab", 1)).getName(), "a");
    EXPECT_EQ(Name(Tarn::StringView("ab", 1)), a);
    EXPECT_EQ(Name(std::string("a")), a);
    EXPECT_FALSE(Name("A") == a);
    const Name byId(a.getId());
    EXPECT_TRUE(byId.getName().empty());
    EXPECT_EQ(byId, a);
}

} // namespace
