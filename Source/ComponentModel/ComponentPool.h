#pragma once

#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/ComponentHandle.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/Allocator.h>
#include <Tarn/Memory/MemBlockType.h>
#include <Tarn/Memory/MemoryBuffer.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeId.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

/// Components (plain data with a common header, registered in the type registry), their pools,
/// weak handles and entities.
namespace Tarn::ComponentModel {

/// Dense storage for the components of one registered type.
///
///     storage   [slot 0][slot 1][slot 2][slot 3]...   capacity x elementSize bytes; slots never move
///     roster    [  2   ][  0   ][  3   ][  1   ]...   one 32-bit slot number per roster position
///                 live positions: 0 .. next-1 | free positions: next .. capacity-1
///
/// The roster is a permutation of the slot numbers 0 .. capacity-1, and the component in slot
/// roster[p] of every live position p has rosterIndex p. Allocation takes the slot at roster[next]
/// and increments next; release swaps the released position with the last live one and decrements
/// next. Both are constant time, live components stay packed at the front of the roster for
/// iteration, and a handle keeps its slot number for the component's whole life. A release bumps
/// the component's 16-bit generation so that older handles stop resolving.
///
/// Growth (resize, and automatic growth by 1.55 when full) reallocates the storage and moves the
/// components bytewise: component types must be relocatable by memcpy, and a pool that may grow
/// must not hold a type with pointers into its own instances. Not synchronised.
class TARN_API ComponentPoolBase {
public:
    /// Flag bit: grow by a factor of 1.55 instead of failing when full.
    static constexpr uint32_t AutomaticGrowth = 1u;

    /// A pool for the registered type `typeId` with room for `capacity` components, all of its
    /// memory from `allocator`: the storage tagged `memType`, the roster with the buffer tag.
    ComponentPoolBase(TypeId typeId, uint32_t capacity,
                      Memory::Allocator* allocator = Memory::Allocator::defaultAllocator(),
                      MemBlockType memType = MemBlockType::Component);
    /// Destroys the components that are still live.
    ~ComponentPoolBase();

    // Handles point at the pool: it must stay where it is.
    ComponentPoolBase(const ComponentPoolBase&) = delete;
    ComponentPoolBase& operator=(const ComponentPoolBase&) = delete;

    /// Constructs a component in the next free slot and returns its handle. A full pool grows when
    /// automatic growth is on; otherwise (and when the type cannot be constructed) the result is
    /// the empty handle, after an assertion.
    ComponentHandle allocateComponent();
    /// Destroys the component the handle names. A handle that does not resolve in this pool raises
    /// an assertion and changes nothing.
    void deallocateComponent(ComponentHandle handle);
    /// Grows the pool to `newCapacity` components. Pools never shrink: a smaller value asserts.
    void resize(uint32_t newCapacity);

    /// The largest capacity a pool can have.
    static constexpr uint32_t maxSize() { return 0xFFFFFFFFu; }

    /// Number of live components, and whether there are none.
    ///@{
    uint32_t size() const { return next; }
    bool empty() const { return next == 0; }
    ///@}
    /// Number of slots.
    uint32_t capacity() const { return static_cast<uint32_t>(roster.size()); }
    /// The registered type the pool holds, and its size in bytes (the stride of a slot).
    ///@{
    TypeId getTypeId() const { return typeId; }
    uint64_t getElementSize() const { return elementSize; }
    ///@}
    /// The pool's flag bits (AutomaticGrowth); they may be changed at any time.
    ///@{
    uint32_t getFlags() const { return flags; }
    void setFlags(uint32_t newFlags) { flags = newFlags; }
    ///@}

    /// The slot number at a roster position (positions below size() are live).
    uint32_t getSlotAt(uint32_t position) const { return roster[position]; }
    /// The live component at a roster position below size().
    ///@{
    Component* getComponentAt(uint32_t position) { return slotComponent(roster[position]); }
    const Component* getComponentAt(uint32_t position) const { return slotComponent(roster[position]); }
    ///@}
    /// A handle to the live component at a roster position below size().
    ComponentHandle getHandleAt(uint32_t position);

protected:
    /// The roster: a byte buffer used as an array of 32-bit slot numbers; size() counts entries.
    class Roster {
    public:
        /// An empty roster whose buffer comes from `allocator`, tagged as a buffer.
        explicit Roster(Memory::Allocator* allocator) : buffer(allocator, DefaultMemBlockType) {}
        /// Number of entries (the pool's capacity).
        uint64_t size() const { return buffer.size() / sizeof(uint32_t); }
        /// The entries, and one entry by position; no range check.
        ///@{
        uint32_t* data() { return reinterpret_cast<uint32_t*>(buffer.data()); }
        const uint32_t* data() const { return reinterpret_cast<const uint32_t*>(buffer.data()); }
        uint32_t& operator[](uint64_t position) { return data()[position]; }
        uint32_t operator[](uint64_t position) const { return data()[position]; }
        ///@}
        /// Grows or shrinks to `entries`, keeping the leading entries; new ones are left
        /// uninitialised for the pool to fill.
        void resize(uint64_t entries) { buffer.resize(entries * sizeof(uint32_t), true, false); }

    private:
        Memory::MemoryBuffer buffer;
    };

    /// The component in a slot, live or not; no range check.
    ///@{
    Component* slotComponent(uint32_t slot) {
        return reinterpret_cast<Component*>(storage.data() + static_cast<uint64_t>(slot) * elementSize);
    }
    const Component* slotComponent(uint32_t slot) const {
        return reinterpret_cast<const Component*>(storage.data() + static_cast<uint64_t>(slot) * elementSize);
    }
    ///@}

    /// The bookkeeping of an allocation once an instance is constructed in the slot at roster[next]:
    /// roster index, flags, type and generation stamp. Inline so that typed pools allocate without
    /// a call.
    ComponentHandle commitAllocation(Component* component, uint32_t slot) {
        const uint32_t stamp = generationCounter.load(std::memory_order_relaxed);
        component->rosterIndex = next;
        component->flags |= Component::PoolAllocatedFlag;
        component->typeId = typeId;
        component->generation = static_cast<uint16_t>(stamp);
        ++next;
        generationCounter.store(stamp + 1, std::memory_order_relaxed);
        ComponentHandle handle;
        handle.pool = this;
        handle.index = slot;
        handle.typeId = typeId;
        handle.generation = static_cast<uint16_t>(stamp);
        return handle;
    }

    /// Takes the handle's component out of the live range; the caller destroys it and then calls
    /// markReleased. Null, after an assertion, when the handle names no live component of this pool
    /// (stale, released twice, or another pool's): the slot may hold a new component by then, which
    /// must not be released in its place.
    Component* retireComponent(ComponentHandle handle) {
        Component* component = handle.pool == this ? handle.resolve() : nullptr;
        const uint32_t rosterIndex = component ? component->rosterIndex : next;
        TARN_ASSERT_IN(rosterIndex < next && "Roster index out of bounds",
                       "Source\\ComponentModel\\ComponentPool");
        if (rosterIndex >= next)
            return nullptr;
        // roster[rosterIndex] is the handle's slot, so it is written, never read: with components
        // released at random, a read there would be a cache miss that waits for the one on the
        // component itself, where rosterIndex comes from.
        --next;
        const uint32_t moved = roster[next];
        roster[next] = handle.index;
        roster[rosterIndex] = moved;
        slotComponent(moved)->rosterIndex = rosterIndex;
        return component;
    }

    /// Bumps the generation of a destroyed component so that its handles stop resolving. It must
    /// come after the destructor: a store into an object whose lifetime then ends is dead to the
    /// optimiser (GCC removes it once the destructor is inlined), so the new stamp is written into
    /// the slot's bytes, which outlive the object.
    static void markReleased(Component* component) noexcept {
        unsigned char* const bytes =
            reinterpret_cast<unsigned char*>(component) + offsetof(Component, generation);
        uint16_t generation = 0;
        std::memcpy(&generation, bytes, sizeof generation);
        ++generation;
        std::memcpy(bytes, &generation, sizeof generation);
    }

    /// The first free roster position, which is also the number of live components.
    uint32_t next;
    /// Slot numbers by roster position: live ones first, then free ones.
    Roster roster;
    /// The slots, capacity() x elementSize bytes.
    Memory::MemoryBuffer storage;
    /// Size in bytes of the registered type, and so of a slot.
    uint64_t elementSize;
    /// The registered type of every component in the pool.
    TypeId typeId;
    /// Flag bits (AutomaticGrowth).
    uint32_t flags;

    /// Stamps every allocation of every pool; components and handles keep its low 16 bits. Pools
    /// are single-threaded, but two pools may live on two threads: relaxed loads and stores keep
    /// that free of data races at the cost of a plain move, and a lost update only repeats a stamp,
    /// which the generation bump on release makes harmless.
    static std::atomic<uint32_t> generationCounter;

private:
    // The type's construct and destruct functions, taken once at construction: allocation and
    // release are the hot path, and the registry never changes a type's functions. Null when the
    // type has none; allocation then goes through the registry's checked call.
    Reflection::Type::ConstructFn constructFn;
    Reflection::Type::DestructFn destructFn;

private:
    friend struct ComponentHandle;
};

inline Component* ComponentHandle::resolve() const {
    // No range check: handles are made only by their pool, and pools never shrink, so the slot
    // exists for as long as the pool does.
    if (!pool)
        return nullptr;
    Component* component = pool->slotComponent(index);
    return component->generation == generation ? component : nullptr;
}

/// A pool of components of type T (derived from Component, registered under TypeName<T>) that
/// grows automatically and iterates its live components:
///
///     ComponentPool<Light> lights;
///     ComponentHandle handle = lights.allocate();
///     for (Light& light : lights) light.intensity *= 0.5f;
///
/// Iteration visits roster positions 0 .. size()-1; allocating or releasing invalidates iterators.
template <class T>
class ComponentPool : public ComponentPoolBase {
    static_assert(std::is_base_of_v<Component, T>, "Pooled types derive from Component.");

public:
    /// A growing pool of the type registered for T. A capacity of 0 is raised to 1: the growth
    /// factor cannot grow an empty pool.
    explicit ComponentPool(uint32_t initialCapacity = 16,
                           Memory::Allocator* allocator = Memory::Allocator::defaultAllocator(),
                           MemBlockType memType = MemBlockType::Component)
        : ComponentPool(Reflection::typeIdOf<T>(), initialCapacity, allocator, memType) {}

    /// A growing pool of the registered type `type`, whose size must be sizeof(T).
    ComponentPool(TypeId type, uint32_t initialCapacity,
                  Memory::Allocator* allocator = Memory::Allocator::defaultAllocator(),
                  MemBlockType memType = MemBlockType::Component)
        : ComponentPoolBase(type, initialCapacity ? initialCapacity : 1, allocator, memType) {
        TARN_ASSERT(elementSize == sizeof(T) && "Registered size differs from the component type.");
        flags |= AutomaticGrowth;
    }

    /// A new default-constructed component. Constructs T directly (as registerType<T> does), so
    /// that the common case is inline; a full pool grows through allocateComponent.
    ComponentHandle allocate() {
        if (next < capacity() && elementSize == sizeof(T)) {
            const uint32_t slot = roster[next];
            T* component = ::new (storage.data() + static_cast<uint64_t>(slot) * sizeof(T)) T();
            return commitAllocation(component, slot);
        }
        return allocateComponent();
    }
    /// Destroys the component the handle names; a handle that names no live component of this
    /// pool raises an assertion and changes nothing.
    void release(ComponentHandle handle) {
        if (Component* component = retireComponent(handle)) {
            static_cast<T*>(component)->~T();
            markReleased(component);
        }
    }
    /// The component a handle names, or null when it was released (or belongs to another pool).
    T* get(ComponentHandle handle) const {
        return handle.pool == this ? static_cast<T*>(handle.resolve()) : nullptr;
    }

    /// The live component at a roster position below size().
    ///@{
    T& operator[](uint32_t position) { return *static_cast<T*>(getComponentAt(position)); }
    const T& operator[](uint32_t position) const { return *static_cast<const T*>(getComponentAt(position)); }
    ///@}

    /// A forward iterator over the live components in roster order; `Value` is T or const T.
    template <class Value>
    class Iterator {
    public:
        /// The standard iterator traits.
        ///@{
        using iterator_category = std::forward_iterator_tag;
        using value_type = std::remove_const_t<Value>;
        using difference_type = std::ptrdiff_t;
        using pointer = Value*;
        using reference = Value&;
        ///@}

        /// A singular iterator, only for assigning to.
        Iterator() = default;
        /// An iterator at a roster entry over the slots starting at `base`.
        Iterator(const uint32_t* position,
                 std::conditional_t<std::is_const_v<Value>, const uint8_t*, uint8_t*> base)
            : at(position), slots(base) {}

        /// The component at the iterator.
        ///@{
        reference operator*() const {
            return *reinterpret_cast<pointer>(slots + static_cast<uint64_t>(*at) * sizeof(T));
        }
        pointer operator->() const { return &**this; }
        ///@}
        /// Moves to the next roster position.
        ///@{
        Iterator& operator++() {
            ++at;
            return *this;
        }
        Iterator operator++(int) {
            Iterator old = *this;
            ++at;
            return old;
        }
        ///@}
        /// Iterators are equal at the same roster position.
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.at == b.at; }

    private:
        const uint32_t* at = nullptr;
        std::conditional_t<std::is_const_v<Value>, const uint8_t*, uint8_t*> slots = nullptr;
    };

    /// The live components in roster order, for range-for.
    ///@{
    Iterator<T> begin() { return {roster.data(), storage.data()}; }
    Iterator<T> end() { return {roster.data() + next, storage.data()}; }
    Iterator<const T> begin() const { return {roster.data(), storage.data()}; }
    Iterator<const T> end() const { return {roster.data() + next, storage.data()}; }
    ///@}
};

} // namespace Tarn::ComponentModel
