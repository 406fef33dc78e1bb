#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstddef>
#include <iterator>

namespace Tarn {

/// The links an object embeds to be listed in an IntrusiveList. Both are null while the node is in
/// no list; every unlinking operation nulls them again, so a removed node can be pushed at once.
/// Copying a node copies both pointers as they are (it does not put the copy in a list).
struct IntrusiveNode {
    /// The neighbours in the list; at the ends they point at the list's sentinel words, never null
    /// while linked.
    ///@{
    IntrusiveNode* next = nullptr;
    IntrusiveNode* prev = nullptr;
    ///@}

    /// True while the node is in a list.
    bool isLinked() const noexcept { return next != nullptr; }
};

/// A doubly linked list whose links live in the listed objects, so linking never allocates.
///
/// Layout. The three fields overlap two sentinel nodes:
///
///     offset 0   head      front sentinel .next  (first node; &tail when empty)
///     offset 8   tail      front sentinel .prev  = back sentinel .next  (always null)
///     offset 16  tailPrev  back sentinel .prev   (last node; the list's own address when empty)
///
/// so every real node has non-null links: the first node's prev is the list's address and the last
/// node's next is the address of the tail field, and end() is that address. Because nodes point
/// into the list object, the list must not be moved in memory while it holds nodes; moving it with
/// its move operations re-points the end nodes.
///
/// Misuse is reported by assertions and the operation then proceeds. With assertions compiled in,
/// each change also counts the nodes before and after it (linear in the length); without them
/// every operation is constant time. Destroying a list leaves its nodes' links untouched.
class TARN_API IntrusiveList {
public:
    /// A forward iterator over the nodes from front to back. Removing the node it is at invalidates
    /// it (the node's links are nulled); other changes to the list do not.
    class Iterator {
    public:
        /// The standard iterator traits.
        ///@{
        using iterator_category = std::forward_iterator_tag;
        using value_type = IntrusiveNode;
        using difference_type = std::ptrdiff_t;
        using pointer = IntrusiveNode*;
        using reference = IntrusiveNode&;
        ///@}

        /// A singular iterator, only for assigning to.
        Iterator() noexcept = default;
        /// An iterator at `node`, which must be linked (or be the list's end()).
        explicit Iterator(IntrusiveNode* node) noexcept : node(node) {}

        /// The node the iterator is at; the caller converts it to the object that embeds it.
        ///@{
        IntrusiveNode& operator*() const noexcept { return *node; }
        IntrusiveNode* operator->() const noexcept { return node; }
        IntrusiveNode* get() const noexcept { return node; }
        ///@}
        /// Moves to the next node.
        ///@{
        Iterator& operator++() noexcept {
            node = node->next;
            return *this;
        }
        Iterator operator++(int) noexcept {
            Iterator before = *this;
            node = node->next;
            return before;
        }
        ///@}
        /// Iterators are equal at the same node.
        ///@{
        bool operator==(const Iterator& other) const noexcept { return node == other.node; }
        bool operator!=(const Iterator& other) const noexcept { return node != other.node; }
        ///@}

    private:
        IntrusiveNode* node = nullptr;
    };

    /// An empty list.
    IntrusiveList() noexcept;
    /// Does nothing to the nodes.
    ~IntrusiveList() = default;

    // A node can be in one list only, so lists are not copied.
    IntrusiveList(const IntrusiveList&) = delete;
    IntrusiveList& operator=(const IntrusiveList&) = delete;
    /// Takes over the other list's nodes and leaves it empty.
    IntrusiveList(IntrusiveList&& other) noexcept;
    /// Takes over the other list's nodes and leaves it empty; the nodes this list held are dropped
    /// with their links as they were, exactly as destruction would leave them.
    IntrusiveList& operator=(IntrusiveList&& other) noexcept;

    /// True when no node is linked. Constant time; there is no size(), which would be linear.
    bool empty() const noexcept { return tailPrev == frontSentinel(); }
    /// The first node, or null when empty.
    IntrusiveNode* front() const noexcept { return empty() ? nullptr : head; }
    /// The last node, or null when empty.
    IntrusiveNode* back() const noexcept { return empty() ? nullptr : tailPrev; }

    /// The nodes from front to back, for range-for. end() is the address of the list's tail word,
    /// so it stays valid across insertions and removals.
    ///@{
    Iterator begin() const noexcept { return Iterator(head); }
    Iterator end() const noexcept { return Iterator(backSentinel()); }
    ///@}

    /// Links an unlinked node before the first node.
    void pushFront(IntrusiveNode* node);
    /// Links an unlinked node after the last node.
    void pushBack(IntrusiveNode* node);
    /// Links an unlinked node directly after `prev`, a node of this list.
    void insert(IntrusiveNode* prev, IntrusiveNode* node);
    /// Unlinks a node of this list and nulls its links.
    void remove(IntrusiveNode* node);
    /// Unlinks and returns the first node, or null when empty.
    IntrusiveNode* popFront();
    /// Unlinks and returns the last node, or null when empty.
    IntrusiveNode* popBack();

private:
    // The sentinels are the list's own words seen as nodes (see the layout above).
    IntrusiveNode* frontSentinel() const noexcept {
        return reinterpret_cast<IntrusiveNode*>(const_cast<IntrusiveNode**>(&head));
    }
    IntrusiveNode* backSentinel() const noexcept {
        return reinterpret_cast<IntrusiveNode*>(const_cast<IntrusiveNode**>(&tail));
    }
    std::size_t countNodes() const noexcept;
    // Declared whatever the assertion setting, so that the class is the same in every build.
    void checkLinked(std::size_t n, int line) const noexcept;
    void takeNodes(IntrusiveList& other) noexcept;

    IntrusiveNode* head;
    IntrusiveNode* tail;
    IntrusiveNode* tailPrev;
};

} // namespace Tarn
