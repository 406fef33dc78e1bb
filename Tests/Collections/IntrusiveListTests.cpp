#include "AssertRecorder.h"

#include <Tarn/Collections/IntrusiveList.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

using Tarn::IntrusiveList;
using Tarn::IntrusiveNode;

namespace {

struct Item {
    int value = 0;
    IntrusiveNode link;
};

Item* itemOf(IntrusiveNode& node) {
    return reinterpret_cast<Item*>(reinterpret_cast<char*>(&node) - offsetof(Item, link));
}

std::vector<int> values(const IntrusiveList& list) {
    std::vector<int> out;
    for (IntrusiveNode& node : list) {
        out.push_back(itemOf(node)->value);
    }
    return out;
}

// The list's three words, read back as raw pointers.
IntrusiveNode* const* words(const IntrusiveList& list) {
    return reinterpret_cast<IntrusiveNode* const*>(&list);
}

bool unlinked(const IntrusiveNode& node) {
    return node.next == nullptr && node.prev == nullptr;
}

} // namespace

TEST(IntrusiveList, EmptyListSentinelLayout) {
    static_assert(sizeof(IntrusiveNode) == 2 * sizeof(void*));
    static_assert(sizeof(IntrusiveList) == 3 * sizeof(void*));
    IntrusiveList list;
    auto* self = reinterpret_cast<IntrusiveNode*>(&list);
    EXPECT_EQ(words(list)[0], reinterpret_cast<const IntrusiveNode*>(&words(list)[1])); // head = &tail
    EXPECT_EQ(words(list)[1], nullptr);                                                 // tail
    EXPECT_EQ(words(list)[2], self);                                                    // tailPrev = &list
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.back(), nullptr);
    EXPECT_EQ(list.popFront(), nullptr);
    EXPECT_EQ(list.popBack(), nullptr);
    EXPECT_TRUE(list.begin() == list.end());
    EXPECT_EQ(list.end().get(), reinterpret_cast<const IntrusiveNode*>(&words(list)[1]));
}

TEST(IntrusiveList, LinksOfEndNodesPointIntoTheList) {
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList list;
    Item a{1, {}};
    list.pushBack(&a.link);
    EXPECT_EQ(words(list)[0], &a.link);
    EXPECT_EQ(words(list)[1], nullptr);
    EXPECT_EQ(words(list)[2], &a.link);
    EXPECT_EQ(a.link.prev, reinterpret_cast<IntrusiveNode*>(&list));
    EXPECT_EQ(a.link.next, list.end().get());

    Item b{2, {}};
    list.pushBack(&b.link);
    EXPECT_EQ(words(list)[2], &b.link);
    EXPECT_EQ(b.link.prev, &a.link);
    EXPECT_EQ(a.link.next, &b.link);
    EXPECT_EQ(list.back(), &b.link);
    EXPECT_TRUE(recorder.empty());
    list.popBack();
    list.popBack();
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(recorder.empty());
}

TEST(IntrusiveList, OrderOfPushPopAndInsert) {
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList list;
    Item a{1, {}}, b{2, {}}, c{3, {}}, d{4, {}};
    list.pushBack(&a.link);
    list.pushBack(&b.link);
    list.pushFront(&c.link);
    EXPECT_EQ(values(list), (std::vector<int>{3, 1, 2}));

    EXPECT_EQ(list.popBack(), &b.link);
    EXPECT_TRUE(unlinked(b.link));
    EXPECT_EQ(list.popFront(), &c.link);
    EXPECT_TRUE(unlinked(c.link));
    EXPECT_EQ(values(list), (std::vector<int>{1}));

    list.pushBack(&b.link); // a popped node can be pushed again at once
    list.insert(&a.link, &d.link);
    EXPECT_EQ(values(list), (std::vector<int>{1, 4, 2}));
    list.insert(&b.link, &c.link); // after the last node: becomes the back
    EXPECT_EQ(list.back(), &c.link);
    EXPECT_EQ(c.link.next, list.end().get());
    EXPECT_EQ(values(list), (std::vector<int>{1, 4, 2, 3}));

    list.remove(&d.link);
    list.remove(&a.link);
    EXPECT_TRUE(unlinked(d.link));
    EXPECT_EQ(values(list), (std::vector<int>{2, 3}));
    EXPECT_EQ(b.link.prev, reinterpret_cast<IntrusiveNode*>(&list));
    EXPECT_TRUE(recorder.empty()) << recorder.texts().front();

    while (list.popFront() != nullptr) {
    }
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(words(list)[2], reinterpret_cast<IntrusiveNode*>(&list));
}

TEST(IntrusiveList, MisuseRaisesTheExactTexts) {
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList list;
    Item a{1, {}}, b{2, {}}, stray{9, {}};

    // Inserting into an empty list after an unlinked node.
    list.insert(&stray.link, &a.link);
    EXPECT_TRUE(recorder.saw("prev->next"));
    EXPECT_TRUE(recorder.saw("prev->prev"));
    EXPECT_TRUE(recorder.saw("tailPrev != (IntrusiveNode*)&head && \"List is empty\""));
    EXPECT_FALSE(recorder.saw("head->prev != nullptr && \"List is empty\""));
    EXPECT_EQ(values(list), (std::vector<int>{1})); // linked at the back instead
    recorder.clear();

    // Pushing a node that is already linked: reported, and the node is moved, not duplicated.
    list.pushBack(&b.link);
    list.pushBack(&a.link);
    EXPECT_TRUE(recorder.saw("node->next == nullptr"));
    EXPECT_TRUE(recorder.saw("node->prev == nullptr"));
    EXPECT_EQ(recorder.count(), 2u); // the list stayed consistent: no count mismatch
    EXPECT_EQ(values(list), (std::vector<int>{2, 1}));
    recorder.clear();

    list.pushFront(&b.link);
    EXPECT_EQ(recorder.count(), 2u);
    EXPECT_EQ(values(list), (std::vector<int>{2, 1}));
    recorder.clear();

    list.remove(nullptr);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"node"});
    recorder.clear();
    list.remove(&stray.link); // unlinked: nothing happens
    EXPECT_EQ(values(list), (std::vector<int>{2, 1}));

    // A node whose links were corrupted behind the list's back fails the consistency count.
    b.link.next = &b.link;
    Item c{3, {}};
    list.pushBack(&c.link);
    EXPECT_TRUE(recorder.saw("n + 1 == m"));
    list.remove(&c.link);
    EXPECT_TRUE(recorder.saw("n == m + 1"));
    EXPECT_TRUE(unlinked(c.link));
}

TEST(IntrusiveList, MoveRepointsTheEndNodes) {
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList source;
    Item a{1, {}}, b{2, {}};
    source.pushBack(&a.link);
    source.pushBack(&b.link);
    IntrusiveList moved(std::move(source));
    EXPECT_TRUE(source.empty());
    EXPECT_EQ(a.link.prev, reinterpret_cast<IntrusiveNode*>(&moved));
    EXPECT_EQ(b.link.next, moved.end().get());
    EXPECT_EQ(values(moved), (std::vector<int>{1, 2}));

    IntrusiveList target;
    target = std::move(moved);
    EXPECT_TRUE(moved.empty());
    EXPECT_EQ(target.popBack(), &b.link);
    EXPECT_EQ(target.popBack(), &a.link);
    EXPECT_TRUE(target.empty());
    source.pushBack(&a.link); // the moved-from list is reusable
    EXPECT_EQ(values(source), (std::vector<int>{1}));
    EXPECT_TRUE(recorder.empty());
}
