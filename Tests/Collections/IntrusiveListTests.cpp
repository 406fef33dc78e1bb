#include "AssertRecorder.h"

#include <Tarn/Collections/IntrusiveList.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

using Tarn::IntrusiveList;
using Tarn::IntrusiveNode;

namespace {

struct Item {
    int value = 0;
    IntrusiveNode link;
};

std::vector<int> values(const IntrusiveList& list) {
    std::vector<int> out;
    for (IntrusiveNode& node : list) {
        out.push_back(reinterpret_cast<Item*>(reinterpret_cast<char*>(&node) - offsetof(Item, link))->value);
    }
    return out;
}

using Words = std::array<IntrusiveNode*, 3>;

// The list's three words, read back as raw pointers: head, tail, tailPrev.
const Words& words(const IntrusiveList& list) {
    return *reinterpret_cast<const Words*>(&list);
}

IntrusiveNode* self(IntrusiveList& list) {
    return reinterpret_cast<IntrusiveNode*>(&list);
}

bool unlinked(const IntrusiveNode& node) {
    return node.next == nullptr && node.prev == nullptr;
}

} // namespace

TEST(IntrusiveList, SentinelLayoutEmptyAndWithNodes) {
    static_assert(sizeof(IntrusiveList) == 3 * sizeof(void*));
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList list;
    auto* const tailField = reinterpret_cast<IntrusiveNode*>(const_cast<IntrusiveNode**>(&words(list)[1]));
    EXPECT_EQ(words(list), (Words{tailField, nullptr, self(list)}));
    EXPECT_TRUE(list.empty() && list.begin() == list.end() && list.end().get() == tailField);
    EXPECT_TRUE(list.back() == nullptr && list.popFront() == nullptr && list.popBack() == nullptr);

    Item a{1, {}}, b{2, {}};
    list.pushBack(&a.link);
    EXPECT_EQ(words(list), (Words{&a.link, nullptr, &a.link}));
    EXPECT_TRUE(a.link.prev == self(list) && a.link.next == tailField);
    list.pushBack(&b.link);
    EXPECT_EQ(words(list), (Words{&a.link, nullptr, &b.link}));
    EXPECT_TRUE(a.link.next == &b.link && b.link.prev == &a.link && b.link.next == tailField);
    EXPECT_TRUE(recorder.empty());
}

TEST(IntrusiveList, OrderOfPushPopInsertRemoveAndMove) {
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList list;
    Item a{1, {}}, b{2, {}}, c{3, {}}, d{4, {}};
    list.pushBack(&a.link);
    list.pushBack(&b.link);
    list.pushFront(&c.link);
    EXPECT_EQ(values(list), (std::vector<int>{3, 1, 2}));
    EXPECT_EQ(list.popBack(), &b.link);
    EXPECT_EQ(list.popFront(), &c.link);
    EXPECT_TRUE(unlinked(b.link) && unlinked(c.link));

    list.pushBack(&b.link); // a popped node can be pushed again at once
    list.insert(&a.link, &d.link);
    EXPECT_EQ(values(list), (std::vector<int>{1, 4, 2}));
    list.insert(&b.link, &c.link); // after the last node: becomes the back
    EXPECT_EQ(list.back(), &c.link);
    list.remove(&d.link);
    list.remove(&a.link);
    EXPECT_TRUE(unlinked(d.link));
    EXPECT_EQ(values(list), (std::vector<int>{2, 3}));
    EXPECT_EQ(b.link.prev, self(list));

    // A move repoints the end nodes at the new owner and leaves a reusable empty list.
    IntrusiveList moved(std::move(list));
    IntrusiveList target;
    target = std::move(moved);
    EXPECT_TRUE(list.empty() && moved.empty());
    EXPECT_EQ(b.link.prev, self(target));
    EXPECT_EQ(c.link.next, target.end().get());
    EXPECT_EQ(target.popBack(), &c.link);
    list.pushBack(&c.link);
    EXPECT_EQ(values(list), (std::vector<int>{3}));
    while (target.popFront() != nullptr) {
    }
    EXPECT_EQ(words(target)[2], self(target));
    EXPECT_TRUE(recorder.empty());
}

TEST(IntrusiveList, MisuseRaisesTheExactTextsAndKeepsListsConsistent) {
    Tarn::Testing::AssertRecorder recorder;
    IntrusiveList list;
    Item a{1, {}}, b{2, {}}, c{3, {}}, stray{9, {}};

    list.insert(&stray.link, &a.link); // into an empty list, after an unlinked node
    EXPECT_EQ(recorder.texts(),
              (std::vector<std::string>{"prev->next", "prev->prev",
                                        "tailPrev != (IntrusiveNode*)&head && \"List is empty\""}));
    EXPECT_EQ(values(list), (std::vector<int>{1})); // linked at the back instead
    recorder.clear();

    list.pushBack(&b.link);
    list.pushBack(&a.link); // still linked: reported, then moved rather than duplicated
    EXPECT_EQ(recorder.texts(), (std::vector<std::string>{"node->next == nullptr", "node->prev == nullptr"}));
    EXPECT_EQ(recorder.sites(), (std::vector<std::string>{"Source\\Collections\\IntrusiveList:58",
                                                          "Source\\Collections\\IntrusiveList:59"}));
    EXPECT_EQ(values(list), (std::vector<int>{2, 1}));
    recorder.clear();

    list.remove(nullptr);
    list.remove(&stray.link); // unlinked: nothing happens
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"node"});
    EXPECT_EQ(values(list), (std::vector<int>{2, 1}));
    recorder.clear();

    // Links corrupted behind the list's back (a cycle) fail the counts instead of hanging them.
    b.link.next = &b.link;
    list.pushBack(&c.link);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"n + 1 == m"});
    list.remove(&c.link);
    EXPECT_TRUE(recorder.saw("n == m + 1"));
    EXPECT_TRUE(unlinked(c.link));
}
