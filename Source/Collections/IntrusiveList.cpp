#include <Tarn/Collections/IntrusiveList.h>
#include <Tarn/Foundation/Assert.h>

#include <cstdint>

// The sentinels alias the list's fields: a write through `node->prev` may land in `tailPrev` and a
// write through `node->next` in `head`. This file is compiled without strict aliasing so that the
// compiler never caches a field across such a write.

namespace Tarn {

namespace {

constexpr std::size_t BrokenList = SIZE_MAX;

void unlink(IntrusiveNode* node) noexcept {
    node->prev->next = node->next;
    node->next->prev = node->prev;
    node->next = nullptr;
    node->prev = nullptr;
}

} // namespace

IntrusiveList::IntrusiveList() noexcept : head(backSentinel()), tail(nullptr), tailPrev(frontSentinel()) {}

IntrusiveList::IntrusiveList(IntrusiveList&& other) noexcept : IntrusiveList() {
    takeNodes(other);
}

IntrusiveList& IntrusiveList::operator=(IntrusiveList&& other) noexcept {
    if (this != &other) {
        head = backSentinel();
        tail = nullptr;
        tailPrev = frontSentinel();
        takeNodes(other);
    }
    return *this;
}

void IntrusiveList::takeNodes(IntrusiveList& other) noexcept {
    if (other.empty()) {
        return;
    }
    // Copy the fields as they are, then re-point the two links that named the other list.
    head = other.head;
    tailPrev = other.tailPrev;
    head->prev = frontSentinel();
    tailPrev->next = backSentinel();
    other.head = other.backSentinel();
    other.tailPrev = other.frontSentinel();
}

std::size_t IntrusiveList::countNodes() const noexcept {
    // Counts from head to the back sentinel. A null link or a cycle (both only after misuse) makes
    // the count BrokenList, which fails the callers' consistency checks instead of hanging them.
    std::size_t count = 0;
    const IntrusiveNode* slow = head;
    const IntrusiveNode* node = head;
    while (node != backSentinel()) {
        if (node == nullptr) {
            return BrokenList;
        }
        node = node->next;
        ++count;
        if ((count & 1) == 0) {
            slow = slow->next;
            if (slow == node && node != backSentinel()) {
                return BrokenList;
            }
        }
    }
    return count;
}

void IntrusiveList::pushFront(IntrusiveNode* node) {
    if (node == nullptr) {
        TARN_ASSERT(node);
        return;
    }
    TARN_ASSERT_AT(node->next == nullptr, "Source\\Collections\\IntrusiveList", 39);
    TARN_ASSERT_AT(node->prev == nullptr, "Source\\Collections\\IntrusiveList", 40);
    if (node->next != nullptr && node->prev != nullptr) {
        unlink(node); // still linked somewhere: move it rather than corrupt both lists
    }
#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t n = countNodes();
#endif

    IntrusiveNode* first = head;
    node->next = first;
    node->prev = frontSentinel();
    first->prev = node; // tailPrev when the list was empty
    head = node;

#if defined(TARN_ENABLE_ASSERTIONS)
    checkLinked(n, 50);
#endif
}

void IntrusiveList::pushBack(IntrusiveNode* node) {
    if (node == nullptr) {
        TARN_ASSERT(node);
        return;
    }
    TARN_ASSERT_AT(node->next == nullptr, "Source\\Collections\\IntrusiveList", 58);
    TARN_ASSERT_AT(node->prev == nullptr, "Source\\Collections\\IntrusiveList", 59);
    if (node->next != nullptr && node->prev != nullptr) {
        unlink(node);
    }
#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t n = countNodes();
#endif

    IntrusiveNode* last = tailPrev;
    node->next = backSentinel();
    node->prev = last;
    last->next = node; // head when the list was empty
    tailPrev = node;

#if defined(TARN_ENABLE_ASSERTIONS)
    checkLinked(n, 69);
#endif
}

void IntrusiveList::insert(IntrusiveNode* prev, IntrusiveNode* node) {
    if (prev == nullptr || node == nullptr) {
        TARN_ASSERT(prev);
        TARN_ASSERT(node);
        return;
    }
    TARN_ASSERT_AT(prev->next, "Source\\Collections\\IntrusiveList", 77);
    TARN_ASSERT_AT(prev->prev, "Source\\Collections\\IntrusiveList", 78);
    TARN_ASSERT_AT(node->next == nullptr, "Source\\Collections\\IntrusiveList", 79);
    TARN_ASSERT_AT(node->prev == nullptr, "Source\\Collections\\IntrusiveList", 80);
    TARN_ASSERT_AT(head->prev != nullptr && "List is empty", "Source\\Collections\\IntrusiveList", 81);
    TARN_ASSERT_AT(tailPrev != (IntrusiveNode*)&head && "List is empty", "Source\\Collections\\IntrusiveList",
                   82);
    if (node == prev) {
        return; // a node cannot follow itself
    }
    if (node->next != nullptr && node->prev != nullptr) {
        unlink(node);
    }
    if (prev->next == nullptr) {
        // prev is not linked: the node goes to the back rather than nowhere.
        pushBack(node);
        return;
    }
#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t n = countNodes();
#endif

    IntrusiveNode* following = prev->next;
    node->next = following;
    node->prev = prev;
    following->prev = node; // tailPrev when prev was the last node
    prev->next = node;

#if defined(TARN_ENABLE_ASSERTIONS)
    checkLinked(n, 100);
#endif
}

void IntrusiveList::remove(IntrusiveNode* node) {
    TARN_ASSERT_AT(node, "Source\\Collections\\IntrusiveList", 138);
    if (node == nullptr || node->next == nullptr || node->prev == nullptr) {
        return; // not in any list: nothing to unlink
    }
#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t n = countNodes();
#endif

    unlink(node);

#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t m = countNodes();
    TARN_ASSERT_AT(n == m + 1, "Source\\Collections\\IntrusiveList", 148);
#endif
}

// After a node was linked: one more node than the `n` counted before, and both sentinels intact.
// The three checks of each linking operation have their own documented sites: `line` for the
// count, the two after the next for the sentinels.
void IntrusiveList::checkLinked([[maybe_unused]] std::size_t n, [[maybe_unused]] int line) const noexcept {
    [[maybe_unused]] const std::size_t m = countNodes();
    TARN_ASSERT_AT(n + 1 == m, "Source\\Collections\\IntrusiveList", line);
    TARN_ASSERT_AT(head->prev != nullptr, "Source\\Collections\\IntrusiveList", line + 2);
    TARN_ASSERT_AT(tailPrev != (IntrusiveNode*)&head, "Source\\Collections\\IntrusiveList", line + 3);
}

IntrusiveNode* IntrusiveList::popFront() {
    if (head->next == nullptr) {
        return nullptr; // head is the back sentinel
    }
#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t n = countNodes();
#endif

    IntrusiveNode* first = head;
    first->next->prev = frontSentinel();
    head = first->next;
    first->next = nullptr;
    first->prev = nullptr;

#if defined(TARN_ENABLE_ASSERTIONS)
    const std::size_t m = countNodes();
    TARN_ASSERT_AT(n == m + 1, "Source\\Collections\\IntrusiveList", 121);
#endif
    return first;
}

IntrusiveNode* IntrusiveList::popBack() {
    if (tailPrev == frontSentinel()) {
        return nullptr;
    }
    IntrusiveNode* last = tailPrev;
    remove(last);
    return last;
}

} // namespace Tarn
