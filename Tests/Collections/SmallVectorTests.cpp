#include "AssertRecorder.h"
#include "CountingAllocator.h"

#include <Tarn/Collections/SmallVector.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Collections::SmallVector;
using Tarn::Testing::CountingAllocator;
using Op = CountingAllocator::Op;

namespace {

template <typename V>
std::vector<typename V::value_type> contents(const V& v) {
    return {v.begin(), v.end()};
}

} // namespace

TEST(SmallVector, PushDoublesThroughTheAllocatorAndReleasesOnDestruction) {
    CountingAllocator allocator;
    {
        using V = SmallVector<uint64_t, 10>;
        static_assert(sizeof(V) == 4 * sizeof(void*) + 10 * sizeof(uint64_t));
        V v(&allocator);
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(v.data()), reinterpret_cast<const uint8_t*>(&v) + 32);
        EXPECT_EQ(V().getAllocator(), Tarn::Memory::Allocator::overflowAllocator());
        EXPECT_EQ(V(nullptr).getAllocator(), Tarn::Memory::Allocator::overflowAllocator());
        for (uint64_t i = 0; i < 41; ++i) {
            EXPECT_TRUE(i != 10 || allocator.calls().empty()) << "ten fit inline";
            v.push_back(i * 7);
        }
        EXPECT_EQ(allocator.allocationSizes(), (std::vector<uint64_t>{160, 320, 640}));
        EXPECT_EQ(v.capacity(), 80u);
        for (uint64_t i = 0; i < 41; ++i) {
            ASSERT_EQ(v[i], i * 7);
        }
    }
    const auto calls = allocator.calls();
    ASSERT_EQ(calls.size(), 6u);
    // Each old heap block goes back with its own size and the tag it was allocated with; the
    // inline storage never does.
    const std::pair<Op, uint64_t> expected[] = {{Op::Allocate, 160},   {Op::Allocate, 320},
                                                {Op::Deallocate, 160}, {Op::Allocate, 640},
                                                {Op::Deallocate, 320}, {Op::Deallocate, 640}};
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_TRUE(calls[i].op == expected[i].first && calls[i].size == expected[i].second &&
                    calls[i].type == MemBlockType::Buffer)
            << i;
    }
    EXPECT_EQ(calls[0].alignment, 0u);
    EXPECT_EQ(calls[2].ptr, calls[0].ptr);
    EXPECT_EQ(allocator.bytes(MemBlockType::Buffer), 0u);
}

TEST(SmallVector, TypedOperationsRefusedGrowthAndMisuse) {
    CountingAllocator allocator;
    SmallVector<int, 4> v({1, 2, 3}, &allocator);
    v.push_back(v[0]); // fills the inline storage
    allocator.setRefuseAllocations(true);
    EXPECT_THROW(v.push_back(2), std::bad_alloc);
    EXPECT_THROW(v.resize(9), std::bad_alloc);
    allocator.setRefuseAllocations(false);
    EXPECT_TRUE(v.isInline() && contents(v) == (std::vector<int>{1, 2, 3, 1}))
        << "refused growth keeps it intact";
    allocator.clearLog();
    v.push_back(v[0]); // an own element survives the growth that releases its storage
    EXPECT_EQ(contents(v), (std::vector<int>{1, 2, 3, 1, 1}));
    v.pop_back();
    v.resize(2);
    v.resize(4, 9);
    EXPECT_EQ(contents(v), (std::vector<int>{1, 2, 9, 9}));
    v.reserve(17); // exact when more than doubling is asked for
    EXPECT_EQ(allocator.allocationSizes(), (std::vector<uint64_t>{32, 68}));
    v.clear();
    EXPECT_EQ(v.capacity(), 17u); // never returns to inline storage

    Tarn::Testing::AssertRecorder recorder;
    v.pop_back();
    EXPECT_EQ(v.size(), 0u);
    v.setSize(17);
    v.setSize(18);
    EXPECT_EQ(recorder.texts(),
              (std::vector<std::string>{"!empty() && \"Pop from an empty vector.\"",
                                        "begin() + newSize <= capacityPtr && \"Size exceeds capacity.\""}));
    EXPECT_EQ(recorder.sites().back(), "Source\\Collections\\SmallVector:105");
    EXPECT_EQ(v.size(), 18u); // set anyway
    v.clear();
}

TEST(SmallVector, CopiesAndMovesNeverShareStorage) {
    CountingAllocator allocator;
    SmallVector<int, 2> small({1, 2}, &allocator);
    SmallVector<int, 2> big({1, 2, 3, 4, 5}, &allocator);

    SmallVector<int, 2> copy(big);
    EXPECT_TRUE(copy.data() != big.data() && contents(copy) == contents(big) &&
                copy.getAllocator() == &allocator);

    const int* block = big.data();
    SmallVector<int, 2> moved(std::move(big));
    EXPECT_EQ(moved.data(), block); // stolen, not copied
    EXPECT_TRUE(big.empty() && big.isInline() && big.capacity() == 2u);
    big.push_back(6); // the moved-from vector is reusable
    EXPECT_EQ(big[0], 6);

    SmallVector<int, 2> movedInline(std::move(small));
    EXPECT_TRUE(movedInline.isInline() && small.empty() && movedInline[1] == 2);

    copy = movedInline; // keeps and reuses its heap block
    EXPECT_FALSE(copy.isInline());
    moved = std::move(copy); // releases its own block, takes copy's
    EXPECT_TRUE(copy.empty());
    EXPECT_EQ(contents(moved), (std::vector<int>{1, 2}));
    EXPECT_EQ(allocator.getAllocationCount(), 1u);
}
