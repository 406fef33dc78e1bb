#pragma once

#include <Tarn/Foundation/Assert.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/Allocator.h>
#include <Tarn/Memory/MemBlockType.h>
#include <Tarn/Memory/MemoryBuffer.h>

#include <cstdint>
#include <vector>

namespace Tarn::Collections {

/// The view of a free slot: the link to the next free slot, stored in the slot's first bytes.
struct PoolHeader {
    /// The next free slot, or null at the tail of the free list.
    PoolHeader* next;
};

/// Index of a slot within its page.
using ElementOffset = uint16_t;

/// An untyped, paged pool of fixed-size slots whose addresses never move.
///
/// Layout:
/// - `pages` holds one MemoryBuffer per page, each exactly pageSize * elementSize bytes, in creation
///   order; a page's index in it is the page index of its slots. Growing the array moves the
///   buffer objects, never the page memory, so slot addresses stay valid for the pool's life.
/// - Slot i of a page lies i * elementSize bytes from the page start.
/// - Free slots form a singly linked list threaded through their own first 8 bytes (PoolHeader),
///   which is why a slot must be at least as large as a pointer. Freed slots are pushed at the
///   head (reused last-in, first-out); a new page's slots are appended behind the slots that were
///   already free, in address order, so a fresh pool hands out slots page by page in address order.
/// - A handle is 32 bits: the page index in bits 31..16, the slot's ElementOffset in bits 15..0.
///   So a pool has at most 65535 pages of at most 65535 slots.
///
/// The pool constructs and destroys nothing, never shrinks and does not check that a slot handed
/// back belongs to it or is allocated. Not synchronised: one thread at a time.
class TARN_API PoolBase {
public:
    /// The largest slot index a handle can hold, and so the largest page size.
    static constexpr uint64_t MaxElementOffset = 0xFFFF;

    /// A pool of `capacity` slots (rounded up to whole pages) of `elementSize` bytes, in pages of
    /// `pageSize` slots, from `allocator` (null means the default one), tagged `memType`.
    PoolBase(uint64_t elementSize, uint64_t capacity, uint64_t pageSize,
             Memory::Allocator* allocator = nullptr, MemBlockType memType = MemBlockType::Pool);
    /// Takes the pages. `other` keeps its other fields, including a free-list head that now points
    /// into this pool: it may only be destroyed or assigned to.
    PoolBase(PoolBase&& other) noexcept;
    /// Frees this pool's pages and takes `other`'s, as the move constructor does.
    PoolBase& operator=(PoolBase&& other) noexcept;
    PoolBase(const PoolBase&) = delete;
    PoolBase& operator=(const PoolBase&) = delete;
    /// Frees every page; slots still allocated are not reported.
    ~PoolBase();

    /// Pops the most recently freed slot (or the next fresh one), adding a page when none is free.
    /// The slot's memory is not cleared. Null only when no page can be added.
    void* allocate() {
        if (freeList == nullptr) {
            addPageForAllocate();
            if (freeList == nullptr) {
                return nullptr;
            }
        }
        PoolHeader* slot = freeList;
        freeList = slot->next;
        ++numAllocated;
        return slot;
    }

    /// Pushes `element` on the free list; null is ignored. The element is not checked: a slot
    /// freed twice corrupts the list. Freeing with nothing allocated raises an assertion and then
    /// frees all the same (the count wraps), so the next `allocate` hands that element back.
    void deallocate(void* element) {
        if (element == nullptr) {
            return;
        }
        TARN_ASSERT_AT(numAllocated && "No available elements to free.", "Source\\Collections\\PoolBase",
                       117);
        --numAllocated;
        auto* slot = static_cast<PoolHeader*>(element);
        slot->next = freeList;
        freeList = slot;
    }

    /// Adds whole pages until the capacity reaches `desiredCapacity`; never shrinks.
    void resize(uint64_t desiredCapacity);

    /// The handle of the slot holding `element` (any byte of it), or 0 with an assertion when no
    /// page holds it. Linear in the number of pages.
    uint32_t getHandle(const void* element) const;
    /// The slot named by `handle`, allocated or not. An offset at or past the page size asserts
    /// and still yields the address it names (never dereferenced here); a page that does not exist
    /// asserts and yields null.
    void* getElement(uint32_t handle) const;
    /// The handle names an existing page and a slot within the page size; says nothing about
    /// whether the slot is allocated.
    bool isValid(uint32_t handle) const noexcept {
        return getPageIndex(handle) < pages.size() && getElementOffset(handle) < pageSize;
    }
    /// False for an invalid handle or a free slot, except the slot at the tail of the free list,
    /// which is not compared and reports true (so with one free slot every valid handle is
    /// "allocated"). True when nothing is free. Linear in the number of free slots.
    bool isAllocated(uint32_t handle) const;

    /// Slots allocated, slots in all pages, and slots per page.
    ///@{
    uint64_t size() const noexcept { return numAllocated; }
    uint64_t getCapacity() const noexcept { return capacity; }
    uint64_t getPageSize() const noexcept { return pageSize; }
    ///@}

protected:
    /// Appends one page of `count` slots behind the existing free slots.
    void addPage(uint64_t count);

    /// The two halves of a handle: the page index (bits 31..16) and the slot within the page
    /// (bits 15..0). Neither is checked against the pool.
    ///@{
    static constexpr uint32_t getPageIndex(uint32_t handle) noexcept { return handle >> 16; }
    static constexpr ElementOffset getElementOffset(uint32_t handle) noexcept {
        return static_cast<ElementOffset>(handle & 0xFFFF);
    }
    ///@}

private:
    void addPageForAllocate();
    /// The last free slot, or null when none is free.
    PoolHeader* findFreeTail() const noexcept;
    /// Appends a page of `count` slots behind `tail` (the free list's last node, or null when the
    /// list is empty) and moves `tail` to the new last node. False when no page could be had.
    bool appendPage(uint64_t count, PoolHeader*& tail);

    std::vector<Memory::MemoryBuffer> pages;
    PoolHeader* freeList;
    uint64_t numAllocated;
    uint64_t elementSize;
    uint64_t capacity;
    uint64_t pageSize;
    Memory::Allocator* allocator;
    MemBlockType memType;
};

} // namespace Tarn::Collections
