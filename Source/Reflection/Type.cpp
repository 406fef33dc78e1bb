#include <Tarn/Foundation/Assert.h>
#include <Tarn/Reflection/Type.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <cstdint>
#include <iterator>

namespace Tarn::Reflection {

// Defined here so that the DLL exports it (see StringView::NoPosition).
constexpr uint32_t Type::EnumFlagsBit;

namespace {

// Walks `type` and its base chain, returning the first record `select` yields.
template <class Record, class Select>
const Record* findInChain(const Type* type, Select select) {
    for (; type; type = type->getBase()) {
        if (const Record* record = select(*type))
            return record;
    }
    return nullptr;
}

template <class Record>
const Record* findByName(const std::vector<Record>& records, uint64_t nameId) {
    for (const Record& record : records) {
        if (record.getName().getId() == nameId)
            return &record;
    }
    return nullptr;
}

} // namespace

const Type* Type::getBase() const {
    if (baseId == InvalidTypeId)
        return nullptr;
    // An id that no longer names a registered type (after clear) ends the chain instead of
    // yielding the placeholder, whose id 0xFFFF would otherwise match "no type" searches.
    const Type& base = TypeDatabase::getType(baseId);
    return base.isValid() ? &base : nullptr;
}

const Field* Type::getField(const Name& fieldName) const {
    const uint64_t id = fieldName.getId();
    return findInChain<Field>(this, [id](const Type& type) { return findByName(type.fields, id); });
}

const Field* Type::getField(TypeId fieldId) const {
    const Type* type = this;
    while (fieldId != InvalidTypeId) {
        if (fieldId < FieldIdBaseStep)
            return fieldId < type->fields.size() ? &type->fields[fieldId] : nullptr;
        type = type->getBase();
        if (!type)
            return nullptr;
        fieldId = static_cast<TypeId>(fieldId - FieldIdBaseStep);
    }
    return nullptr;
}

TypeId Type::getFieldId(const Field* field) const {
    // Compared as integers: relational operators on pointers into different arrays are unspecified.
    const auto address = reinterpret_cast<std::uintptr_t>(field);
    const auto begin = reinterpret_cast<std::uintptr_t>(fields.data());
    const auto end = reinterpret_cast<std::uintptr_t>(fields.data() + fields.size());
    if (field && address >= begin && address <= end)
        return static_cast<TypeId>((address - begin) / sizeof(Field));
    const Type* base = getBase();
    if (!base)
        return InvalidTypeId;
    const TypeId inBase = base->getFieldId(field);
    if (inBase == InvalidTypeId)
        return InvalidTypeId;
    return static_cast<TypeId>(inBase + FieldIdBaseStep);
}

TypeId Type::getFieldId(size_t offset) const {
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].getOffset() == offset)
            return static_cast<TypeId>(i);
    }
    return InvalidTypeId;
}

const Enumerator* Type::getEnumerator(const Name& enumeratorName) const {
    const uint64_t id = enumeratorName.getId();
    return findInChain<Enumerator>(this, [id](const Type& type) { return findByName(type.enumerators, id); });
}

const Enumerator* Type::getEnumerator(size_t index) const {
    return index < enumerators.size() ? &enumerators[index] : nullptr;
}

const Method* Type::getMethod(const Name& methodName) const {
    const uint64_t id = methodName.getId();
    return findInChain<Method>(this, [id](const Type& type) { return findByName(type.methods, id); });
}

Type& Type::setBase(const Type* base) {
    // Every lookup walks the base chain to its end: a cycle would never end.
    for (const Type* ancestor = base; ancestor; ancestor = ancestor->getBase()) {
        if (ancestor == this || (typeId != InvalidTypeId && ancestor->typeId == typeId)) {
            TARN_ASSERT_IN(false && "A type cannot be its own base.", "Source\\Reflection\\Type");
            return *this;
        }
    }
    baseId = base ? base->typeId : InvalidTypeId;
    return *this;
}

Type& Type::setDescription(StringView text) {
    description = text;
    return *this;
}

Type& Type::setEnumFlags() {
    flags |= EnumFlagsBit;
    return *this;
}

Type& Type::setMethods(const Method* newMethods, size_t count) {
    if (count == 0 || !newMethods)
        return *this;
    methods.insert(methods.end(), newMethods, newMethods + count);
    return *this;
}

Type& Type::setFields(std::span<Field> newFields) {
    TARN_ASSERT_IN(enumerators.empty() && "Enumeration cannot contain fields.", "Source\\Reflection\\Type");
    TARN_ASSERT_IN(this->fields.empty() && "set only.", "Source\\Reflection\\Type");
    // A type is a structure or an enumeration, and its field ids are fixed once handed out: a
    // refused call leaves the type as it was.
    if (!enumerators.empty() || !fields.empty())
        return *this;
    fields.reserve(newFields.size());
    fields.insert(fields.end(), std::make_move_iterator(newFields.begin()),
                  std::make_move_iterator(newFields.end()));
    return *this;
}

Type& Type::setFields(std::initializer_list<Field> newFields) {
    TARN_ASSERT_IN(enumerators.empty() && "Enumeration cannot contain fields.", "Source\\Reflection\\Type");
    TARN_ASSERT_IN(this->fields.empty() && "set only.", "Source\\Reflection\\Type");
    if (!enumerators.empty() || !fields.empty())
        return *this;
    fields.assign(newFields.begin(), newFields.end());
    return *this;
}

Type& Type::addEnumerators(std::span<Enumerator> newEnumerators) {
    TARN_ASSERT_IN(fields.empty() && "Structure cannot contain enumerators.", "Source\\Reflection\\Type");
    if (!fields.empty())
        return *this;
    enumerators.reserve(enumerators.size() + newEnumerators.size());
    enumerators.insert(enumerators.end(), std::make_move_iterator(newEnumerators.begin()),
                       std::make_move_iterator(newEnumerators.end()));
    return *this;
}

Type& Type::addEnumerators(std::initializer_list<Enumerator> newEnumerators) {
    TARN_ASSERT_IN(fields.empty() && "Structure cannot contain enumerators.", "Source\\Reflection\\Type");
    if (!fields.empty())
        return *this;
    enumerators.insert(enumerators.end(), newEnumerators.begin(), newEnumerators.end());
    return *this;
}

} // namespace Tarn::Reflection
