#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Reflection/TypeId.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace Tarn::Reflection {

/// One attribute of a field (colour, range, default value, serialisability...), in a fixed record
/// of 256 bytes so that attributes of every kind sit side by side in one array:
///
///     offset 0   typeId     the attribute's own type (the id under which its kind is registered)
///     offset 2   keyId      a second key that lookups compare together with typeId
///     offset 4   builtIn    1 for the kinds the library constructs itself, else 0
///     offset 5   payload    251 bytes whose layout belongs to the attribute's kind
///
/// The payload is unaligned; read and write it with loadPayload/storePayload.
struct Attribute {
    /// Bytes of payload: what is left of the 256-byte record after the header.
    static constexpr size_t PayloadSize = 251;

    /// The fields of the layout above.
    ///@{
    TypeId typeId = InvalidTypeId;
    TypeId keyId = InvalidTypeId;
    uint8_t builtIn = 0;
    uint8_t payload[PayloadSize] = {};
    ///@}

    /// An attribute of no kind (both ids 0xFFFF), with a zeroed payload.
    Attribute() = default;
    /// An attribute of the kind registered as `attributeTypeId`, with the second key `key` and a
    /// zeroed payload.
    explicit Attribute(TypeId attributeTypeId, TypeId key = InvalidTypeId)
        : typeId(attributeTypeId), keyId(key) {}

    /// Copies a trivially copyable value into the start of the payload.
    template <class T>
    void storePayload(const T& value) {
        static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= PayloadSize, "Payload does not fit.");
        std::memcpy(payload, &value, sizeof(T));
    }
    /// Reads a value stored with storePayload.
    template <class T>
    T loadPayload() const {
        static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= PayloadSize, "Payload does not fit.");
        T value;
        std::memcpy(&value, payload, sizeof(T));
        return value;
    }
};

static_assert(sizeof(Attribute) == 256, "An attribute occupies exactly one 256-byte slot.");

/// Marks a field as holding a colour, for editors. Its type id is that of "ColorAttribute".
struct TARN_API ColorAttribute : Attribute {
    /// A built-in attribute of the kind registered as "ColorAttribute", with no second key and no
    /// payload.
    ColorAttribute();
    /// The id registered under "ColorAttribute" (0xFFFF while it is not registered).
    static TypeId staticTypeId();
};

/// Marks a field as part of the persistent state of its type. Its type id is that of
/// "SerializableAttribute".
struct TARN_API SerializableAttribute : Attribute {
    /// A built-in attribute of the kind registered as "SerializableAttribute", with no second key
    /// and no payload.
    SerializableAttribute();
    /// The id registered under "SerializableAttribute" (0xFFFF while it is not registered).
    static TypeId staticTypeId();
};

static_assert(sizeof(ColorAttribute) == 256 && sizeof(SerializableAttribute) == 256);

/// The attributes of one field, in the order they were added.
struct TARN_API Attributes {
    /// The records, in the order they were added.
    std::vector<Attribute> attributes;

    /// The first attribute whose typeId and keyId equal the arguments, or null.
    const Attribute* getAttributeByTypeId(TypeId first, TypeId second) const;

    /// The first attribute of a built-in kind (ColorAttribute, SerializableAttribute), or null.
    template <class Kind>
    const Attribute* get() const {
        return getAttributeByTypeId(Kind::staticTypeId(), InvalidTypeId);
    }

    /// Number of attributes, and whether there are none.
    ///@{
    size_t size() const { return attributes.size(); }
    bool empty() const { return attributes.empty(); }
    ///@}
};

} // namespace Tarn::Reflection
