#include <Tarn/Foundation/Assert.h>
#include <Tarn/Reflection/Attribute.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <cstdint>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

namespace Tarn::Reflection {

struct TypeStore {
    std::vector<Type> types;
    std::unordered_map<uint64_t, TypeId> typesByName;
    uint32_t version = 0;
};

// Created at load, before client code runs; empty until initializeBaseTypes.
std::unique_ptr<TypeStore> TypeDatabase::typeStore = std::make_unique<TypeStore>();

namespace {

// Lookups before initializeBaseTypes (or after clear) find no entry 0 to return; they get this
// instead of reading outside the array.
const Type& emptyPlaceholder() {
    static const Type placeholder;
    return placeholder;
}

template <class T>
void* createValue() {
    return new T();
}
template <class T>
void destroyValue(void* instance) {
    delete static_cast<T*>(instance);
}
template <class T>
void* constructValue(void* storage) {
    return ::new (storage) T();
}
template <class T>
void destructValue(void* instance) {
    static_cast<T*>(instance)->~T();
}

template <class T>
void registerValueType(const char* name) {
    TypeDatabase::createType(name, sizeof(T), &createValue<T>, &destroyValue<T>, &constructValue<T>,
                             &destructValue<T>);
}

// Attribute kinds whose values the registering code builds itself: the registry makes none.
void* createNothing() {
    return nullptr;
}
void* constructNothing(void*) {
    return nullptr;
}
void destructNothing(void*) {}
void destroyAttribute(void* instance) {
    delete static_cast<Attribute*>(instance);
}

void registerPassiveAttribute(const char* name) {
    TypeDatabase::createType(name, sizeof(Attribute), &createNothing, &destroyAttribute, &constructNothing,
                             &destructNothing);
}

template <class Kind>
void registerBuiltInAttribute(const char* name) {
    TypeDatabase::createType(name, sizeof(Attribute), &createValue<Kind>, &destroyAttribute,
                             &constructValue<Kind>, &destructNothing);
}

} // namespace

Type& TypeDatabase::createType(StringView name, uint64_t size, Type::CreateFn createFn,
                               Type::DestroyFn destroyFn, Type::ConstructFn constructFn,
                               Type::DestructFn destructFn, bool withoutInstanceFunctions) {
    TypeStore& store = *typeStore;
    Type& type = store.types.emplace_back();
    type.typeId = static_cast<TypeId>(store.types.size() - 1);
    type.name = Name(name);
    type.size = size;
    if (!withoutInstanceFunctions) {
        type.createFn = createFn;
        type.destroyFn = destroyFn;
        type.constructFn = constructFn;
        type.destructFn = destructFn;
    }
    store.typesByName.insert_or_assign(type.name.getId(), type.typeId);
    ++store.version;
    return type;
}

const Type& TypeDatabase::getType(const Name& name) {
    const TypeStore& store = *typeStore;
    if (store.types.empty())
        return emptyPlaceholder();
    const auto found = store.typesByName.find(name.getId());
    if (found == store.typesByName.end() || found->second >= store.types.size())
        return store.types[0];
    return store.types[found->second];
}

const Type& TypeDatabase::getType(TypeId id) {
    const TypeStore& store = *typeStore;
    if (id < store.types.size())
        return store.types[id];
    return store.types.empty() ? emptyPlaceholder() : store.types[0];
}

const Type* TypeDatabase::getTypes(uint64_t& count) {
    count = typeStore->types.size();
    return typeStore->types.data();
}

void TypeDatabase::clear() {
    typeStore->types.clear();
    typeStore->typesByName.clear();
    ++typeStore->version;
}

uint32_t TypeDatabase::getVersion() {
    return typeStore->version;
}

void* TypeDatabase::createInstance(const Type& type) {
    return type.createFn ? type.createFn() : nullptr;
}

void TypeDatabase::destroyInstance(const Type& type, void* instance) {
    if (type.destroyFn)
        type.destroyFn(instance);
}

void* TypeDatabase::constructInstance(const Type& type, void* storage, uint64_t dataSize) {
    TARN_ASSERT_IN(type.isValid() && "Invalid type cannot be used to construct instance.",
                   "Source\\Reflection\\TypeDatabase");
    TARN_ASSERT_IN(type.getSize() <= dataSize && "Placement target too small to construct in.",
                   "Source\\Reflection\\TypeDatabase");
    // Constructing anyway would write past the storage: the assertion reports it, the storage is
    // left untouched.
    if (!type.isValid() || type.getSize() > dataSize || !type.constructFn)
        return nullptr;
    return type.constructFn(storage);
}

void TypeDatabase::destructInstance(const Type& type, void* instance) {
    if (type.destructFn)
        type.destructFn(instance);
}

void TypeDatabase::initializeBaseTypes() {
    TypeStore& store = *typeStore;
    store.types.emplace_back(); // the placeholder: default-constructed, typeId 0xFFFF
    ++store.version;

    // The order fixes the ids (1 to 29) that clients and stored data rely on.
    registerValueType<bool>("bool");
    registerValueType<std::string>("string");
    registerValueType<int8_t>("int8_t");
    registerValueType<int16_t>("int16_t");
    registerValueType<int32_t>("int32_t");
    registerValueType<int64_t>("int64_t");
    registerValueType<uint8_t>("uint8_t");
    registerValueType<uint16_t>("uint16_t");
    registerValueType<uint32_t>("uint32_t");
    registerValueType<uint64_t>("uint64_t");
    registerValueType<float>("float");
    registerValueType<double>("double");
    registerValueType<std::vector<std::string>>("vector<string>");
    registerValueType<std::vector<int8_t>>("vector<int8_t>");
    registerValueType<std::vector<int16_t>>("vector<int16_t>");
    registerValueType<std::vector<int32_t>>("vector<int32_t>");
    registerValueType<std::vector<int64_t>>("vector<int64_t>");
    registerValueType<std::vector<uint8_t>>("vector<uint8_t>");
    registerValueType<std::vector<uint16_t>>("vector<uint16_t>");
    registerValueType<std::vector<uint32_t>>("vector<uint32_t>");
    registerValueType<std::vector<uint64_t>>("vector<uint64_t>");
    registerValueType<std::vector<float>>("vector<float>");
    registerValueType<std::vector<double>>("vector<double>");
    registerPassiveAttribute("DescriptionAttribute");
    registerPassiveAttribute("RangeAttribute");
    registerPassiveAttribute("DefaultValueAttribute");
    registerPassiveAttribute("StepSizeAttribute");
    registerBuiltInAttribute<SerializableAttribute>("SerializableAttribute");
    registerBuiltInAttribute<ColorAttribute>("ColorAttribute");
}

TypeIdCache::TypeIdCache(const char* typeName) : nameId(Name(typeName).getId()), cached(~uint64_t{0}) {}

TypeId TypeIdCache::get() const {
    const uint64_t version = TypeDatabase::getVersion();
    uint64_t entry = cached.load(std::memory_order_relaxed);
    if ((entry >> 32) == version)
        return static_cast<TypeId>(entry);
    const TypeId id = TypeDatabase::getType(Name(nameId)).getTypeId();
    cached.store((version << 32) | id, std::memory_order_relaxed);
    return id;
}

} // namespace Tarn::Reflection
