#pragma once

/// @file
/// Helpers for code that registers its types: a client describes a component type with fields and
/// an enumeration in a few lines, and the records come out as the registry expects them.
///
///     TARN_REFLECTION_TYPE_NAME(LightKind, "LightKind")
///     registerEnum<LightKind>("LightKind").addEnumerators({enumerator("Spot", LightKind::Spot)});
///     registerType<Light>("Light").setBase(&TypeDatabase::getType("Component"))
///         .setFields({makeField("kind", &Light::kind), makeField("intensity", &Light::intensity)});

#include <Tarn/Reflection/Enumerator.h>
#include <Tarn/Reflection/Field.h>
#include <Tarn/Reflection/Name.h>
#include <Tarn/Reflection/Type.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace Tarn::Reflection {

/// The registered name of a C++ type. The base types are named here; specialise it (with
/// TARN_REFLECTION_TYPE_NAME) for your own types before building fields of them.
template <class T>
struct TypeName;

/// TARN_REFLECTION_TYPE_NAME for inside the namespace, where the library names the base types.
#define TARN_REFLECTION_DETAIL_NAME(T, text)                                                                 \
    template <>                                                                                              \
    struct TypeName<T> {                                                                                     \
        static constexpr const char* value = text;                                                           \
    };

TARN_REFLECTION_DETAIL_NAME(bool, "bool")
TARN_REFLECTION_DETAIL_NAME(std::string, "string")
TARN_REFLECTION_DETAIL_NAME(int8_t, "int8_t")
TARN_REFLECTION_DETAIL_NAME(int16_t, "int16_t")
TARN_REFLECTION_DETAIL_NAME(int32_t, "int32_t")
TARN_REFLECTION_DETAIL_NAME(int64_t, "int64_t")
TARN_REFLECTION_DETAIL_NAME(uint8_t, "uint8_t")
TARN_REFLECTION_DETAIL_NAME(uint16_t, "uint16_t")
TARN_REFLECTION_DETAIL_NAME(uint32_t, "uint32_t")
TARN_REFLECTION_DETAIL_NAME(uint64_t, "uint64_t")
TARN_REFLECTION_DETAIL_NAME(float, "float")
TARN_REFLECTION_DETAIL_NAME(double, "double")
TARN_REFLECTION_DETAIL_NAME(std::vector<std::string>, "vector<string>")
TARN_REFLECTION_DETAIL_NAME(std::vector<int8_t>, "vector<int8_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<int16_t>, "vector<int16_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<int32_t>, "vector<int32_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<int64_t>, "vector<int64_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<uint8_t>, "vector<uint8_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<uint16_t>, "vector<uint16_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<uint32_t>, "vector<uint32_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<uint64_t>, "vector<uint64_t>")
TARN_REFLECTION_DETAIL_NAME(std::vector<float>, "vector<float>")
TARN_REFLECTION_DETAIL_NAME(std::vector<double>, "vector<double>")

#undef TARN_REFLECTION_DETAIL_NAME

/// The id registered under TypeName<T>::value, 0xFFFF when it is not registered. Cached per type;
/// the cache follows registrations and clear().
template <class T>
TypeId typeIdOf() {
    static const TypeIdCache cache(TypeName<T>::value);
    return cache.get();
}

namespace Detail {

template <class T>
struct FieldShape {
    using Element = T;
    static constexpr uint64_t dimensions = 0;
};
template <class T, size_t N>
struct FieldShape<T[N]> {
    using Element = T;
    static constexpr uint64_t dimensions = N;
};

} // namespace Detail

/// A field for the data member `member` of `Owner`: its offset inside Owner, the registered type
/// of the member (of its element for a fixed-size array, with the element count as dimensions) and
/// that type's size. Owner defaults to the class that declares the member; name it explicitly for
/// a member inherited from a base that does not start the derived object.
template <class Owner = void, class Class, class Member>
Field makeField(Name name, Member Class::*member) {
    using Object = std::conditional_t<std::is_void_v<Owner>, Class, Owner>;
    static_assert(std::is_base_of_v<Class, Object>, "The member must belong to the owning type.");
    using Shape = Detail::FieldShape<Member>;
    // The offset is read off an unconstructed instance: only its address is taken, and no member
    // is read. Unlike offsetof this also works for types that are not standard-layout, as every
    // component that derives from Component and adds members is.
    alignas(Object) static unsigned char probe[sizeof(Object)];
    const Object* object = reinterpret_cast<const Object*>(probe);
    const auto* at = reinterpret_cast<const unsigned char*>(&(object->*member));
    const uint64_t offset = static_cast<uint64_t>(at - probe);
    Field field(std::move(name), offset, typeIdOf<typename Shape::Element>(),
                sizeof(typename Shape::Element));
    field.setDimensions(Shape::dimensions);
    return field;
}

/// An enumerator from an enumeration value (or any integer), for Type::addEnumerators.
template <class E>
Enumerator enumerator(Name name, E value) {
    static_assert(std::is_enum_v<E> || std::is_integral_v<E>,
                  "Enumerators take enumeration or integer values.");
    return Enumerator(std::move(name), static_cast<int32_t>(value));
}

namespace Detail {
template <class T>
void* create() {
    return new T();
}
template <class T>
void destroy(void* instance) {
    delete static_cast<T*>(instance);
}
template <class T>
void* construct(void* storage) {
    return ::new (storage) T();
}
template <class T>
void destruct(void* instance) {
    static_cast<T*>(instance)->~T();
}
} // namespace Detail

/// Registers T under `name` with its size and with instance functions that default-construct,
/// destroy and delete T. Returns the new type for chaining.
template <class T>
Type& registerType(StringView name) {
    return TypeDatabase::createType(name, sizeof(T), &Detail::create<T>, &Detail::destroy<T>,
                                    &Detail::construct<T>, &Detail::destruct<T>);
}

/// Registers the enumeration E under `name`, with its size and no instance functions; add its
/// values with addEnumerators (and setEnumFlags when they combine as bits).
template <class E>
Type& registerEnum(StringView name) {
    static_assert(std::is_enum_v<E>, "registerEnum takes an enumeration type.");
    return TypeDatabase::createType(name, sizeof(E), nullptr, nullptr, nullptr, nullptr, true);
}

} // namespace Tarn::Reflection

/// Names a client type for the registration helpers; use it at global scope.
#define TARN_REFLECTION_TYPE_NAME(T, text)                                                                   \
    template <>                                                                                              \
    struct Tarn::Reflection::TypeName<T> {                                                                   \
        static constexpr const char* value = text;                                                           \
    };
