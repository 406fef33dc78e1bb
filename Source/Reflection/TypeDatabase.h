#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Reflection/Name.h>
#include <Tarn/Reflection/Type.h>
#include <Tarn/Reflection/TypeId.h>
#include <Tarn/Strings/StringView.h>

#include <atomic>
#include <cstdint>
#include <memory>

/// Run-time type information: named types with fields, enumerators, methods and attributes, kept
/// in one process-wide registry (TypeDatabase) and addressed by 16-bit ids.
namespace Tarn::Reflection {

struct TypeStore;

/// The process-wide registry of reflected types.
///
/// A type's id is its index in one array; a hash map takes name hashes to ids. Entry 0 is an
/// invalid placeholder that every failed lookup returns, so lookups never fail: callers test the
/// result with Type::isValid. Call initializeBaseTypes once before anything else; it registers the
/// placeholder and the 29 base types with fixed ids ("bool" is 1, "uint64_t" 10, "ColorAttribute"
/// 29). References into the registry are invalidated by the next createType or clear: keep ids.
///
/// Not synchronised: register on one thread at start-up; afterwards lookups may come from any
/// thread because nothing changes.
class TARN_API TypeDatabase {
public:
    /// Registers a new type under `name` and returns it for chaining builders. The instance
    /// functions are recorded unless `withoutInstanceFunctions` is true. A name registered again
    /// gets a new id, and name lookups find the newer type from then on.
    static Type& createType(StringView name, uint64_t size, Type::CreateFn createFn = nullptr,
                            Type::DestroyFn destroyFn = nullptr, Type::ConstructFn constructFn = nullptr,
                            Type::DestructFn destructFn = nullptr, bool withoutInstanceFunctions = false);

    /// The type registered under this name, or the placeholder.
    static const Type& getType(const Name& name);
    /// The type with this id, or the placeholder when the id is out of range.
    static const Type& getType(TypeId id);
    /// All types, placeholder included; `count` receives their number.
    static const Type* getTypes(uint64_t& count);

    /// Forgets every type, the placeholder too. initializeBaseTypes must run again before use.
    static void clear();

    /// A new heap instance from the type's create function; null when the type has none.
    static void* createInstance(const Type& type);
    /// Destroys and frees an instance made by createInstance; does nothing without a function.
    static void destroyInstance(const Type& type, void* instance);
    /// Constructs an instance in `storage` of `dataSize` bytes and returns it. Asserts that the
    /// type is valid and that the storage is large enough; returns null without touching the
    /// storage when either fails or the type has no construct function.
    static void* constructInstance(const Type& type, void* storage, uint64_t dataSize);
    /// Runs the type's destructor in place; does nothing when the type has no destruct function.
    static void destructInstance(const Type& type, void* instance);

    /// Registers the placeholder entry 0 and the base types, in their fixed order.
    static void initializeBaseTypes();

    /// A number that changes whenever a type is registered or the registry is cleared, so that
    /// cached lookups know when to look again.
    static uint32_t getVersion();

private:
    static std::unique_ptr<TypeStore> typeStore;
};

/// Remembers the id registered under one name so that hot code does not search the name map on
/// every call. The cache notes the registry's version with the id and looks again when the
/// registry has changed, so it stays right after clear(), after registrations in another order and
/// when a name is registered again. Safe to share between threads; meant as a function-local static.
class TARN_API TypeIdCache {
public:
    /// A cache for the type registered under `typeName` (not null); the text is hashed here and
    /// not kept. Nothing is looked up until the first get().
    explicit TypeIdCache(const char* typeName);
    /// The id currently registered under the name, 0xFFFF when none.
    TypeId get() const;

private:
    uint64_t nameId;
    // Registry version in the upper 32 bits, the id in the lower 16: one atomic word, so a reader
    // never pairs a version with the id of another.
    mutable std::atomic<uint64_t> cached;
};

} // namespace Tarn::Reflection
