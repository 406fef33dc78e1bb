#include <Tarn/Collections/PoolBase.h>

#include <utility>

namespace Tarn::Collections {

// Defined here so that the DLL exports it (see StringView::NoPosition).
constexpr uint64_t PoolBase::MaxElementOffset;

PoolBase::PoolBase(uint64_t elementSize, uint64_t capacity, uint64_t pageSize, Memory::Allocator* allocator,
                   MemBlockType memType)
    : freeList(nullptr), numAllocated(0), elementSize(elementSize), capacity(0), pageSize(pageSize),
      allocator(allocator != nullptr ? allocator : Memory::Allocator::defaultAllocator()), memType(memType) {
    TARN_ASSERT_AT(elementSize >= sizeof(PoolHeader) &&
                       "Element size must be at least enough to store a pointer.",
                   "Source\\Collections\\PoolBase", 28);
    TARN_ASSERT_AT(pageSize <= MaxElementOffset &&
                       "Page size must be smaller or equal to max element offset.",
                   "Source\\Collections\\PoolBase", 29);
    TARN_ASSERT(pageSize != 0 && "Page size must not be zero.");
    // After the report the pool goes on with the nearest usable values: a smaller slot could not
    // hold the free-list link, a larger page would give handles that name the wrong slot, and a
    // page size of zero would divide by zero.
    if (this->elementSize < sizeof(PoolHeader)) {
        this->elementSize = sizeof(PoolHeader);
    }
    if (this->pageSize > MaxElementOffset) {
        this->pageSize = MaxElementOffset;
    }
    if (this->pageSize == 0) {
        this->pageSize = 1;
    }
    resize(capacity);
}

PoolBase::PoolBase(PoolBase&& other) noexcept
    : pages(std::move(other.pages)), freeList(other.freeList), numAllocated(other.numAllocated),
      elementSize(other.elementSize), capacity(other.capacity), pageSize(other.pageSize),
      allocator(other.allocator), memType(other.memType) {
    other.pages.clear();
}

PoolBase& PoolBase::operator=(PoolBase&& other) noexcept {
    if (this != &other) {
        pages = std::move(other.pages);
        other.pages.clear();
    }
    freeList = other.freeList;
    numAllocated = other.numAllocated;
    elementSize = other.elementSize;
    capacity = other.capacity;
    pageSize = other.pageSize;
    allocator = other.allocator;
    memType = other.memType;
    return *this;
}

PoolBase::~PoolBase() = default;

void PoolBase::resize(uint64_t desiredCapacity) {
    // A smaller request adds nothing below, so the pool is left as it was.
    TARN_ASSERT_AT(desiredCapacity >= capacity && "Pool does not support shrinkage.",
                   "Source\\Collections\\PoolBase", 36);
    uint64_t numPages = desiredCapacity / pageSize + (desiredCapacity % pageSize != 0 ? 1 : 0);
    TARN_ASSERT_AT(numPages <= MaxElementOffset &&
                       "Page count must be smaller or equal to max element offset.",
                   "Source\\Collections\\PoolBase", 40);
    if (numPages > MaxElementOffset) {
        // Pages past the limit would get handles of other pages.
        numPages = MaxElementOffset;
    }
    // The free list is walked once per call, not once per page: growing by many pages stays
    // linear while the slots are still handed out in the same order.
    PoolHeader* tail = findFreeTail();
    while (pages.size() < numPages) {
        if (!appendPage(pageSize, tail)) {
            break; // the allocator refused the page
        }
    }
    capacity = pages.size() * pageSize;
}

void PoolBase::addPageForAllocate() {
    resize(capacity + pageSize);
}

void PoolBase::addPage(uint64_t count) {
    PoolHeader* tail = findFreeTail();
    appendPage(count, tail);
}

PoolHeader* PoolBase::findFreeTail() const noexcept {
    PoolHeader* tail = freeList;
    if (tail != nullptr) {
        while (tail->next != nullptr) {
            tail = tail->next;
        }
    }
    return tail;
}

bool PoolBase::appendPage(uint64_t count, PoolHeader*& tail) {
    if (count == 0) {
        return false;
    }
    Memory::MemoryBuffer page(count * elementSize, allocator, memType);
    if (page.data() == nullptr) {
        return false;
    }
    // Chain the slots in address order; the last one ends the chain.
    uint8_t* const start = page.data();
    for (uint64_t i = 0; i + 1 < count; ++i) {
        reinterpret_cast<PoolHeader*>(start + i * elementSize)->next =
            reinterpret_cast<PoolHeader*>(start + (i + 1) * elementSize);
    }
    auto* const first = reinterpret_cast<PoolHeader*>(start);
    auto* const last = reinterpret_cast<PoolHeader*>(start + (count - 1) * elementSize);
    last->next = nullptr;
    pages.push_back(std::move(page));

    // Slots already free go first, so the order in which slots are handed out does not depend on
    // when pages were added.
    if (tail == nullptr) {
        freeList = first;
    } else {
        tail->next = first;
    }
    tail = last;
    return true;
}

uint32_t PoolBase::getHandle(const void* element) const {
    const auto address = reinterpret_cast<uintptr_t>(element);
    for (std::size_t pageIndex = 0; pageIndex < pages.size(); ++pageIndex) {
        const auto start = reinterpret_cast<uintptr_t>(pages[pageIndex].data());
        if (address >= start && address - start < pages[pageIndex].size()) {
            const uint64_t offset = ((address - start) / elementSize) & 0xFFFF;
            return static_cast<uint32_t>((pageIndex << 16) + offset);
        }
    }
    TARN_ASSERT_AT(false && "Element not part of any allocated pages.", "Source\\Collections\\PoolBase", 148);
    return 0;
}

void* PoolBase::getElement(uint32_t handle) const {
    const uint32_t pageIndex = getPageIndex(handle);
    const ElementOffset elementIndex = getElementOffset(handle);
    TARN_ASSERT_AT(pageIndex < pages.size() && "Page index out of range.", "Source\\Collections\\PoolBase",
                   157);
    TARN_ASSERT_AT(elementIndex < pageSize && "Element index out of range.", "Source\\Collections\\PoolBase",
                   161);
    // No page, no address to compute from; an offset past the page is only arithmetic.
    if (pageIndex >= pages.size()) {
        return nullptr;
    }
    return const_cast<uint8_t*>(pages[pageIndex].data()) + elementIndex * elementSize;
}

bool PoolBase::isAllocated(uint32_t handle) const {
    if (!isValid(handle)) {
        return false;
    }
    const void* slot = getElement(handle);
    // The tail of the free list is deliberately not compared (see the header).
    for (const PoolHeader* node = freeList; node != nullptr && node->next != nullptr; node = node->next) {
        if (node == slot) {
            return false;
        }
    }
    return true;
}

} // namespace Tarn::Collections
