#pragma once

#include <Tarn/Foundation/Assert.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/Allocator.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <type_traits>

/// Containers with engine-specific storage rules: inline small vectors and paged pools whose slots
/// never move, all allocating through Memory::Allocator.
namespace Tarn::Collections {

/// The untyped core of SmallVector: a byte range [beginPtr, endPtr) inside storage that ends at
/// capacityPtr. The storage is the derived class's inline array until the first growth and a block
/// from `allocator` (tagged MemBlockType::Buffer) afterwards; it never returns to inline storage.
///
/// Copy and move assignment of the base copy the four fields as they are: the base knows nothing
/// about the inline storage, so only the typed layer can copy or move without sharing storage.
class TARN_API SmallVectorBase {
public:
    SmallVectorBase(const SmallVectorBase&) = delete;

    /// The allocator that supplies storage beyond the inline part.
    Memory::Allocator* getAllocator() const { return allocator; }

protected:
    /// Shallow on purpose, and protected so that nothing outside the typed layer can make two
    /// vectors share (and both release) one block.
    ///@{
    SmallVectorBase& operator=(const SmallVectorBase&) = default;
    SmallVectorBase& operator=(SmallVectorBase&&) = default;
    ///@}

    /// An empty vector over the derived class's inline storage of `capacityInBytes` bytes, growing
    /// through `allocator` (not null).
    SmallVectorBase(void* inlineStorage, uint64_t capacityInBytes, Memory::Allocator* allocator)
        : beginPtr(static_cast<uint8_t*>(inlineStorage)), endPtr(beginPtr),
          capacityPtr(beginPtr + capacityInBytes), allocator(allocator) {}
    ~SmallVectorBase() = default;

    /// Bytes in use and bytes of storage.
    ///@{
    uint64_t sizeInBytes() const { return static_cast<uint64_t>(endPtr - beginPtr); }
    uint64_t capacityInBytes() const { return static_cast<uint64_t>(capacityPtr - beginPtr); }
    ///@}
    /// True while the bytes live in `inlineStorage` rather than in a heap block.
    bool usesStorage(const void* inlineStorage) const { return beginPtr == inlineStorage; }

    /// Moves the bytes to a new block of max(2 x capacity, minCapacityInBytes) bytes and releases
    /// the old block unless it is the inline storage. When the allocator returns null the vector is
    /// left exactly as it was; the typed layer turns that into std::bad_alloc.
    void growPod(void* inlineStorage, uint64_t minCapacityInBytes);

    /// Releases the heap block, if any, and points the vector back at its empty inline storage.
    void releaseStorage(void* inlineStorage, uint64_t inlineCapacityInBytes);

    /// The elements' bytes are [beginPtr, endPtr); the storage is [beginPtr, capacityPtr).
    ///@{
    uint8_t* beginPtr;
    uint8_t* endPtr;
    uint8_t* capacityPtr;
    ///@}
    /// Supplies (and takes back) every heap block; never null.
    Memory::Allocator* allocator;
};

/// A growable array of plain-data elements whose first N elements live inside the object.
///
/// Elements are moved by copying bytes and are never constructed or destroyed one by one, so T
/// must be trivially copyable. Growth doubles the capacity through the allocator (by default, or
/// when null is given, Allocator::overflowAllocator()). Copies and moves never share storage with their
/// source: a copy allocates its own block when the elements do not fit inline, a move steals a heap block and
/// leaves the source empty and inline. Both take the source's allocator, because a stolen block
/// must be released where it came from. Exceeding the capacity through setSize() raises an
/// assertion and then sets the size anyway.
template <typename T, std::size_t N>
class SmallVector : public SmallVectorBase {
    static_assert(std::is_trivially_copyable_v<T>, "SmallVector holds plain data only.");
    static_assert(N > 0, "SmallVector needs inline room for at least one element.");

public:
    /// The standard container types; iterators are plain pointers.
    ///@{
    using value_type = T;
    using size_type = uint64_t;
    using iterator = T*;
    using const_iterator = const T*;
    using reference = T&;
    using const_reference = const T&;
    ///@}

    /// Number of elements held inside the object before the first heap block.
    static constexpr std::size_t InlineCapacity = N;

    /// An empty vector in its inline storage, growing through `allocator` (null means the overflow
    /// allocator). Allocates nothing.
    explicit SmallVector(Memory::Allocator* allocator = Memory::Allocator::overflowAllocator())
        : SmallVectorBase(storage, sizeof(storage),
                          allocator != nullptr ? allocator : Memory::Allocator::overflowAllocator()) {}

    /// A vector holding `values`, growing through `allocator` (null means the overflow allocator);
    /// throws std::bad_alloc when they do not fit inline and the allocator refuses.
    SmallVector(std::initializer_list<T> values,
                Memory::Allocator* allocator = Memory::Allocator::overflowAllocator())
        : SmallVector(allocator) {
        append(values.begin(), values.end());
    }

    /// A copy of `other`'s elements in storage of its own, on `other`'s allocator; throws
    /// std::bad_alloc when they do not fit inline and the allocator refuses.
    SmallVector(const SmallVector& other) : SmallVector(other.allocator) {
        append(other.begin(), other.end());
    }

    /// Takes `other`'s heap block (or copies its inline elements) and its allocator; `other` is left
    /// empty and inline.
    SmallVector(SmallVector&& other) noexcept : SmallVector(other.allocator) { takeFrom(other); }

    ~SmallVector() {
        if (!usesStorage(storage)) {
            allocator->deallocate(beginPtr, capacityInBytes(), MemBlockType::Buffer);
        }
    }

    /// Replaces the elements with copies of `other`'s and takes its allocator (returning a heap
    /// block to the old allocator first when they differ); throws std::bad_alloc when the allocator
    /// refuses the storage.
    SmallVector& operator=(const SmallVector& other) {
        if (this != &other) {
            if (other.allocator != allocator) {
                releaseStorage(storage, sizeof(storage));
                allocator = other.allocator;
            }
            clear();
            append(other.begin(), other.end());
        }
        return *this;
    }

    /// Releases this vector's heap block, then takes `other`'s storage and allocator as the move
    /// constructor does.
    SmallVector& operator=(SmallVector&& other) noexcept {
        if (this != &other) {
            releaseStorage(storage, sizeof(storage));
            allocator = other.allocator;
            takeFrom(other);
        }
        return *this;
    }

    /// Element at `index`; no bounds check.
    ///@{
    T& operator[](size_type index) { return begin()[index]; }
    const T& operator[](size_type index) const { return begin()[index]; }
    ///@}

    /// The first and the last element; the vector must not be empty (not checked).
    ///@{
    T& front() { return *begin(); }
    const T& front() const { return *begin(); }
    T& back() { return end()[-1]; }
    const T& back() const { return end()[-1]; }
    ///@}

    /// The elements as a contiguous range. Any growth moves them: pointers are valid until the
    /// next push_back, append, resize or reserve that exceeds the capacity.
    ///@{
    T* begin() { return reinterpret_cast<T*>(beginPtr); }
    const T* begin() const { return reinterpret_cast<const T*>(beginPtr); }
    T* end() { return reinterpret_cast<T*>(endPtr); }
    const T* end() const { return reinterpret_cast<const T*>(endPtr); }
    T* data() { return begin(); }
    const T* data() const { return begin(); }
    ///@}

    /// Number of elements, room for elements before the next growth, and whether there are none.
    ///@{
    size_type size() const { return sizeInBytes() / sizeof(T); }
    size_type capacity() const { return capacityInBytes() / sizeof(T); }
    bool empty() const { return endPtr == beginPtr; }
    ///@}
    /// True while the elements still live in the object's own storage.
    bool isInline() const { return usesStorage(storage); }

    /// Appends a copy of `value` (which may be an element of this vector), doubling the capacity
    /// when full.
    void push_back(const T& value) {
        if (endPtr == capacityPtr) {
            const T copy = value; // growth may release the storage `value` points into
            growOrThrow(0);
            std::memcpy(endPtr, &copy, sizeof(T));
        } else {
            std::memcpy(endPtr, &value, sizeof(T));
        }
        setSize(size() + 1);
    }

    /// Removes the last element; asserts on an empty vector and then does nothing.
    void pop_back() {
        TARN_ASSERT(!empty() && "Pop from an empty vector.");
        if (!empty()) {
            endPtr -= sizeof(T);
        }
    }

    /// Removes all elements; the capacity (and any heap block) is kept.
    void clear() { endPtr = beginPtr; }

    /// Makes room for at least `count` elements without changing the size.
    void reserve(size_type count) {
        if (count > capacity()) {
            growOrThrow(count * sizeof(T));
        }
    }

    /// Shrinks to `count` elements or grows to it, filling new elements with `fill`.
    void resize(size_type count, const T& fill = T()) {
        const size_type old = size();
        if (count > old) {
            const T copy = fill;
            reserve(count);
            for (T* it = begin() + old; it != begin() + count; ++it) {
                std::memcpy(static_cast<void*>(it), &copy, sizeof(T));
            }
        }
        setSize(count);
    }

    /// Appends the elements of [first, last), which must not point into this vector.
    void append(const T* first, const T* last) {
        const size_type count = static_cast<size_type>(last - first);
        if (count > capacity() - size()) {
            growOrThrow((size() + count) * sizeof(T));
        }
        if (count != 0) {
            std::memcpy(endPtr, first, count * sizeof(T));
        }
        setSize(size() + count);
    }

    /// Sets the number of elements without touching them, for callers that wrote elements through
    /// data() up to capacity(). Asserts when `newSize` exceeds the capacity, then sets it anyway.
    void setSize(size_type newSize) {
        [[maybe_unused]] T* const capacityPtr = reinterpret_cast<T*>(this->capacityPtr);
        TARN_ASSERT_AT(begin() + newSize <= capacityPtr && "Size exceeds capacity.",
                       "Source\\Collections\\SmallVector", 105);
        endPtr = beginPtr + newSize * sizeof(T);
    }

private:
    void growOrThrow(uint64_t minCapacityInBytes) {
        const uint8_t* before = beginPtr;
        growPod(storage, minCapacityInBytes);
        if (beginPtr == before) {
            throw std::bad_alloc();
        }
    }

    // Requires this vector to be empty and inline.
    void takeFrom(SmallVector& other) {
        if (other.isInline()) {
            append(other.begin(), other.end());
            other.clear();
            return;
        }
        beginPtr = other.beginPtr;
        endPtr = other.endPtr;
        capacityPtr = other.capacityPtr;
        other.beginPtr = other.endPtr = other.storage;
        other.capacityPtr = other.storage + sizeof(other.storage);
    }

    alignas(T) uint8_t storage[N * sizeof(T)];
};

} // namespace Tarn::Collections
