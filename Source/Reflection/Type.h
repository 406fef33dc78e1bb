#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Reflection/Enumerator.h>
#include <Tarn/Reflection/Field.h>
#include <Tarn/Reflection/Method.h>
#include <Tarn/Reflection/Name.h>
#include <Tarn/Reflection/TypeId.h>
#include <Tarn/Strings/StringView.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace Tarn::Reflection {

/// The run-time description of one type: its size, its base, and either its fields (a structure)
/// or its enumerators (an enumeration), never both.
///
/// Types live in the TypeDatabase, which assigns typeId as the index of the type in its array;
/// the base is kept as an id, not a pointer, because the array moves when it grows. Lookups by
/// name compare 64-bit name hashes and walk the base chain, own records first.
///
/// Field ids are 16-bit: below 1024 an index into the own fields, from 1024 on a field of the
/// base chain (id - 1024 asked of the base, recursively), 0xFFFF for none.
class TARN_API Type {
public:
    /// The instance functions a type may be registered with: create allocates and constructs a new
    /// instance (destroy destructs and frees it); construct builds one in caller-provided storage
    /// of getSize() bytes and returns it (destruct only runs the destructor).
    ///@{
    using CreateFn = void* (*)();
    using DestroyFn = void (*)(void* instance);
    using ConstructFn = void* (*)(void* storage);
    using DestructFn = void (*)(void* instance);
    ///@}

    /// Bit 0 of the flags: the enumerators are bit flags that can be combined.
    static constexpr uint32_t EnumFlagsBit = 1u;

    /// An invalid type: no name (id 0), size 0, no id, no base, nothing else.
    Type() = default;

    /// The registered name, the id (the index in the registry; 0xFFFF for an invalid type), the
    /// size of an instance in bytes, the flags (EnumFlagsBit), the description, and the base
    /// type's id (0xFFFF when there is none).
    ///@{
    const Name& getName() const { return name; }
    TypeId getTypeId() const { return typeId; }
    uint64_t getSize() const { return size; }
    uint32_t getFlags() const { return flags; }
    StringView getDescription() const { return description; }
    TypeId getBaseId() const { return baseId; }
    ///@}
    /// The instance functions (null when the type was registered without them). Prefer the
    /// TypeDatabase calls, which check their arguments; these are for hot paths that checked once.
    ///@{
    CreateFn getCreateFn() const { return createFn; }
    DestroyFn getDestroyFn() const { return destroyFn; }
    ConstructFn getConstructFn() const { return constructFn; }
    DestructFn getDestructFn() const { return destructFn; }
    ///@}

    /// True for a type the registry holds; lookups that find nothing return an invalid Type.
    bool isValid() const { return typeId < InvalidTypeId; }
    /// Types are equal when they have the same id.
    bool operator==(const Type& other) const { return typeId == other.typeId; }
    /// True for an enumeration (a type with enumerators), and for one whose enumerators are bit
    /// flags.
    ///@{
    bool isEnum() const { return !enumerators.empty(); }
    bool isEnumFlags() const { return !enumerators.empty() && (flags & EnumFlagsBit) != 0; }
    ///@}

    /// The base type, or null when there is none or the registry no longer holds it.
    const Type* getBase() const;

    /// Own fields only; the base chain is not counted.
    size_t getNumFields() const { return fields.size(); }
    /// Own enumerators and methods only, counted and listed in registration order; the base chain
    /// is not included (nor in getFields).
    ///@{
    size_t getNumEnumerators() const { return enumerators.size(); }
    size_t getNumMethods() const { return methods.size(); }
    const std::vector<Field>& getFields() const { return fields; }
    const std::vector<Enumerator>& getEnumerators() const { return enumerators; }
    const std::vector<Method>& getMethods() const { return methods; }
    ///@}

    /// The first field with this name: own fields in order, then the base's, and so on; or null.
    const Field* getField(const Name& fieldName) const;
    /// The field with this id (see the class comment), or null.
    const Field* getField(TypeId fieldId) const;
    /// The id of a field of this type or of its base chain, from a pointer to the record; 0xFFFF
    /// when the record belongs to neither. A pointer one past the own fields yields their count.
    TypeId getFieldId(const Field* field) const;
    /// The index of the first own field at this byte offset, 0xFFFF if none (bases not searched).
    TypeId getFieldId(size_t offset) const;

    /// The first enumerator with this name, own then base chain; or null.
    const Enumerator* getEnumerator(const Name& enumeratorName) const;
    /// The own enumerator at `index`, or null when out of range.
    const Enumerator* getEnumerator(size_t index) const;

    /// The first method with this name, own then base chain; or null.
    const Method* getMethod(const Name& methodName) const;
    /// The own method at `methodId`. The id is not checked: the caller passes a valid one.
    const Method* getMethod(TypeId methodId) const { return methods.data() + methodId; }
    /// The index of an own method record, by pointer difference; not checked.
    TypeId getMethodId(const Method* method) const { return static_cast<TypeId>(method - methods.data()); }

    /// Makes `base` (or nothing, for null) the base type. A base whose chain leads back to this
    /// type is refused with an assertion.
    Type& setBase(const Type* base);
    /// Sets the description, for editors and tools. The text is viewed, not copied: it must outlive
    /// the registry (in practice a literal).
    Type& setDescription(StringView text);
    /// Marks the enumerators as combinable bit flags.
    Type& setEnumFlags();
    /// Replaces all flags.
    void setFlags(uint32_t newFlags) { flags = newFlags; }
    /// Appends copies of `count` methods, in order.
    Type& setMethods(const Method* newMethods, size_t count);

    /// Sets the fields, moving them in, in order. Fields are set once (field ids must not change
    /// after they are handed out), on a type without enumerators; otherwise the call raises an
    /// assertion and leaves the type unchanged.
    ///@{
    Type& setFields(std::span<Field> newFields);
    Type& setFields(std::initializer_list<Field> newFields);
    ///@}

    /// Appends enumerators, in order (moving them in). A type with fields takes none: the call
    /// raises an assertion and leaves the type unchanged.
    ///@{
    Type& addEnumerators(std::span<Enumerator> newEnumerators);
    Type& addEnumerators(std::initializer_list<Enumerator> newEnumerators);
    ///@}

private:
    friend class TypeDatabase;

    Name name;
    uint64_t size = 0;
    uint32_t flags = 0;
    TypeId typeId = InvalidTypeId;
    TypeId baseId = InvalidTypeId;
    std::vector<Field> fields;
    std::vector<Method> methods;
    std::vector<Enumerator> enumerators;
    CreateFn createFn = nullptr;
    DestroyFn destroyFn = nullptr;
    ConstructFn constructFn = nullptr;
    DestructFn destructFn = nullptr;
    StringView description;
};

} // namespace Tarn::Reflection
