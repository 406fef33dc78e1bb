#pragma once

#include <Tarn/Reflection/Attribute.h>
#include <Tarn/Reflection/Name.h>
#include <Tarn/Reflection/TypeId.h>

#include <cstdint>
#include <utility>

namespace Tarn::Reflection {

/// One data member of a reflected structure: where it lies in an instance, what type it has and
/// what attributes describe it. Fields are built by registering code (see Registration.h) and
/// then owned by their Type.
class Field {
public:
    /// A field without name, type or size.
    Field() = default;
    /// A plain (non-array) field of the registered type `fieldTypeId`, whose instances are `size`
    /// bytes, at `offset` bytes into the owning type.
    Field(Name fieldName, uint64_t fieldOffset, TypeId fieldTypeId, uint64_t fieldSize)
        : name(std::move(fieldName)), offset(fieldOffset), size(fieldSize), typeId(fieldTypeId) {}

    /// The field's name, its registered type, and its byte offset in an instance of the owning type.
    ///@{
    const Name& getName() const { return name; }
    TypeId getTypeId() const { return typeId; }
    uint64_t getOffset() const { return offset; }
    ///@}
    /// Byte size of one element (of the whole field unless it is an array).
    uint64_t getSize() const { return size; }
    /// Element count of a fixed-size array field; 0 for a plain field.
    uint64_t getDimensions() const { return dimensions; }
    /// The registering code's flags (see FieldFlags).
    FieldFlags getFlags() const { return flags; }
    /// The attributes, in the order they were added.
    const Attributes& getAttributes() const { return attributes; }

    /// Replaces the flags; returns the field, for chaining in registration code.
    Field& setFlags(FieldFlags newFlags) {
        flags = newFlags;
        return *this;
    }
    /// Makes the field an array of `count` elements of getSize() bytes each (0: a plain field);
    /// returns the field, for chaining.
    Field& setDimensions(uint64_t count) {
        dimensions = count;
        return *this;
    }
    /// Appends an attribute; lookups find the first one added of a kind.
    Field& addAttribute(const Attribute& attribute) {
        attributes.attributes.push_back(attribute);
        return *this;
    }

private:
    Attributes attributes;
    FieldFlags flags = FieldFlags::None;
    Name name;
    uint64_t offset = 0;
    uint64_t size = 0;
    uint64_t dimensions = 0;
    TypeId typeId = InvalidTypeId;
};

} // namespace Tarn::Reflection
