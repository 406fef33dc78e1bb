#include "AssertRecorder.h"
#include "CountingAllocator.h"

#include <Tarn/Collections/SmallVector.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Collections::SmallVector;

namespace {

using Tarn::Testing::CountingAllocator;
using Op = CountingAllocator::Op;

struct Pod {
    uint32_t a;
    uint16_t b;
};

} // namespace

TEST(SmallVector, LayoutPutsInlineStorageAfterTheBaseFields) {
    using V = SmallVector<uint64_t, 10>;
    static_assert(sizeof(V) == 4 * sizeof(void*) + 10 * sizeof(uint64_t));
    CountingAllocator allocator;
    V v(&allocator);
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(v.data()), reinterpret_cast<const uint8_t*>(&v) + 32);
    EXPECT_EQ(v.capacity(), 10u);
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(v.getAllocator(), &allocator);
    EXPECT_EQ((SmallVector<int, 2>().getAllocator()), Tarn::Memory::Allocator::overflowAllocator());
}

TEST(SmallVector, PushDoublesThroughTheAllocatorAndReleasesOnDestruction) {
    CountingAllocator allocator;
    void* firstBlock = nullptr;
    {
        SmallVector<Pod, 10> v(&allocator);
        static_assert(sizeof(Pod) == 8);
        for (uint32_t i = 0; i < 10; ++i) {
            v.push_back({i, static_cast<uint16_t>(i * 2)});
        }
        EXPECT_TRUE(allocator.calls().empty());
        EXPECT_TRUE(v.isInline());

        v.push_back({10, 20});
        ASSERT_EQ(allocator.calls().size(), 1u);
        EXPECT_TRUE((allocator.calls()[0].op == Op::Allocate));
        EXPECT_EQ(allocator.calls()[0].size, 160u);
        EXPECT_EQ(allocator.calls()[0].alignment, 0u);
        EXPECT_EQ(allocator.calls()[0].type, MemBlockType::Buffer);
        firstBlock = allocator.calls()[0].ptr;
        EXPECT_EQ(v.capacity(), 20u);

        for (uint32_t i = 11; i < 41; ++i) {
            v.push_back({i, static_cast<uint16_t>(i * 2)});
        }
        // 160 -> 320 -> 640 bytes; each old heap block is released with its own size and tag.
        ASSERT_EQ(allocator.calls().size(), 5u);
        EXPECT_EQ(allocator.calls()[1].size, 320u);
        EXPECT_FALSE((allocator.calls()[2].op == Op::Allocate));
        EXPECT_EQ(allocator.calls()[2].ptr, firstBlock);
        EXPECT_EQ(allocator.calls()[2].size, 160u);
        EXPECT_EQ(allocator.calls()[3].size, 640u);
        EXPECT_EQ(allocator.calls()[4].size, 320u);
        EXPECT_EQ(v.capacity(), 80u);
        for (uint32_t i = 0; i < 41; ++i) {
            ASSERT_EQ(v[i].a, i);
            ASSERT_EQ(v[i].b, i * 2);
        }
    }
    ASSERT_EQ(allocator.calls().size(), 6u);
    EXPECT_FALSE((allocator.calls()[5].op == Op::Allocate));
    EXPECT_EQ(allocator.calls()[5].size, 640u);
    EXPECT_EQ(allocator.calls()[5].type, MemBlockType::Buffer);
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);
}

TEST(SmallVector, PushOfOwnElementSurvivesGrowth) {
    CountingAllocator allocator;
    SmallVector<uint64_t, 2> v({7, 8}, &allocator);
    v.push_back(v[0]);
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(v[2], 7u);
}

TEST(SmallVector, PopClearResizeReserve) {
    CountingAllocator allocator;
    SmallVector<int, 4> v({1, 2, 3}, &allocator);
    v.pop_back();
    EXPECT_EQ(v.size(), 2u);
    EXPECT_EQ(v.back(), 2);
    v.resize(4, 9);
    EXPECT_EQ(std::vector<int>(v.begin(), v.end()), (std::vector<int>{1, 2, 9, 9}));
    EXPECT_TRUE(allocator.calls().empty());
    v.resize(1);
    EXPECT_EQ(v.size(), 1u);
    v.resize(3);
    EXPECT_EQ(v[1], 0); // grown elements are value-initialised, not stale
    v.reserve(13);      // exact when more than doubling is asked for
    ASSERT_EQ(allocator.calls().size(), 1u);
    EXPECT_EQ(allocator.calls()[0].size, 13 * sizeof(int));
    v.reserve(2);
    EXPECT_EQ(allocator.calls().size(), 1u);
    v.clear();
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(v.capacity(), 13u); // never returns to inline storage

    Tarn::Testing::AssertRecorder recorder;
    v.pop_back();
    EXPECT_TRUE(recorder.saw("!empty() && \"Pop from an empty vector.\""));
    EXPECT_EQ(v.size(), 0u);
}

TEST(SmallVector, SetSizePastCapacityAssertsWithTheExactText) {
    SmallVector<uint32_t, 4> v;
    Tarn::Testing::AssertRecorder recorder;
    v.setSize(4);
    EXPECT_TRUE(recorder.empty());
    v.setSize(5);
    ASSERT_EQ(recorder.count(), 1u);
    EXPECT_EQ(recorder.texts()[0], "begin() + newSize <= capacityPtr && \"Size exceeds capacity.\"");
    EXPECT_EQ(v.size(), 5u); // set anyway
    v.setSize(0);
}

TEST(SmallVector, CopiesAndMovesNeverShareStorage) {
    CountingAllocator allocator;
    SmallVector<int, 2> small({1, 2}, &allocator);
    SmallVector<int, 2> big({1, 2, 3, 4, 5}, &allocator);
    const std::size_t before = allocator.calls().size();

    SmallVector<int, 2> copy(big);
    EXPECT_NE(copy.data(), big.data());
    EXPECT_EQ(std::vector<int>(copy.begin(), copy.end()), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(allocator.calls().size(), before + 1);

    const int* bigData = big.data();
    SmallVector<int, 2> moved(std::move(big));
    EXPECT_EQ(moved.data(), bigData); // the heap block is stolen, not copied
    EXPECT_TRUE(big.empty());
    EXPECT_TRUE(big.isInline());
    EXPECT_EQ(big.capacity(), 2u);
    big.push_back(6); // the moved-from vector is reusable
    EXPECT_EQ(big[0], 6);

    SmallVector<int, 2> movedInline(std::move(small));
    EXPECT_TRUE(movedInline.isInline());
    EXPECT_EQ(movedInline[1], 2);
    EXPECT_TRUE(small.empty());

    copy = movedInline; // heap block is kept and reused
    EXPECT_EQ(copy.size(), 2u);
    EXPECT_FALSE(copy.isInline());
    moved = std::move(copy); // releases moved's block, takes copy's
    EXPECT_TRUE(copy.empty());
    EXPECT_EQ(moved.size(), 2u);
    moved = moved;
    EXPECT_EQ(moved[0], 1);
}

TEST(SmallVector, FailedGrowthThrowsAndKeepsTheVectorIntact) {
    CountingAllocator allocator;
    SmallVector<int, 1> v({1}, &allocator);
    allocator.setRefuseAllocations(true);
    EXPECT_THROW(v.push_back(2), std::bad_alloc);
    allocator.setRefuseAllocations(false);
    EXPECT_EQ(v.size(), 1u);
    EXPECT_TRUE(v.isInline());
    EXPECT_EQ(allocator.blocks(MemBlockType::Buffer), 0u);
    v.push_back(2);
    EXPECT_EQ(v[1], 2);
}
