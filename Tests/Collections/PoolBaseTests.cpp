#include "AssertRecorder.h"
#include "CountingAllocator.h"

#include <Tarn/Collections/PoolBase.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Collections::PoolBase;
using Tarn::Testing::AssertRecorder;
using Tarn::Testing::CountingAllocator;
using Op = CountingAllocator::Op;

TEST(PoolBase, WholePagesOfExactSizeHandedOutInAddressOrder) {
    CountingAllocator allocator;
    {
        PoolBase pool(16, 10, 4, &allocator, MemBlockType::Component);
        pool.resize(12); // already there: nothing added
        EXPECT_EQ(pool.getCapacity(), 12u);
        std::vector<uint8_t*> slots;
        for (int i = 0; i < 12; ++i) {
            slots.push_back(static_cast<uint8_t*>(pool.allocate()));
        }
        const uint32_t expected[] = {0,       1,       2,       3,       0x10000, 0x10001,
                                     0x10002, 0x10003, 0x20000, 0x20001, 0x20002, 0x20003};
        for (int i = 0; i < 12; ++i) {
            EXPECT_EQ(pool.getHandle(slots[i]), expected[i]);
            EXPECT_EQ(pool.getElement(expected[i]), slots[i]);
            EXPECT_TRUE(i % 4 == 0 || slots[i] - slots[i - 1] == 16) << i;
        }
        EXPECT_EQ(pool.getHandle(slots[6] + 3), 0x10002u); // a pointer into a slot names it
        EXPECT_EQ(allocator.allocationSizes(), (std::vector<uint64_t>{64, 64, 64}));

        // Full: the next allocation adds exactly one page and hands out its first slot.
        EXPECT_EQ(pool.getHandle(pool.allocate()), 0x30000u);
        pool.resize(17);
        EXPECT_EQ(pool.getCapacity(), 20u);
        EXPECT_EQ(pool.size(), 13u);
        EXPECT_EQ(allocator.allocationSizes(), (std::vector<uint64_t>{64, 64, 64, 64, 64}));
        for (const auto& call : allocator.calls(Op::Allocate)) {
            EXPECT_TRUE(call.type == MemBlockType::Component && call.alignment == 0u);
        }
    }
    EXPECT_EQ(allocator.getAllocationCount(), 0u);
    EXPECT_EQ(allocator.bytes(MemBlockType::Component), 0u);
}

TEST(PoolBase, FreedSlotsComeBackLastInFirstOutAheadOfNewPages) {
    PoolBase pool(8, 4, 4);
    void* s[4];
    for (void*& slot : s) {
        slot = pool.allocate();
    }
    pool.deallocate(s[1]);
    pool.deallocate(s[3]);
    EXPECT_EQ(pool.size(), 2u);
    pool.resize(8); // the new page goes behind the two free slots
    EXPECT_EQ(pool.allocate(), s[3]);
    EXPECT_EQ(pool.allocate(), s[1]);
    EXPECT_EQ(pool.getHandle(pool.allocate()), 0x10000u);
    EXPECT_EQ(pool.getHandle(pool.allocate()), 0x10001u);
}

TEST(PoolBase, ValidityAndTheFreeListTailQuirk) {
    PoolBase pool(8, 4, 4);
    EXPECT_TRUE(pool.isValid(3));
    EXPECT_FALSE(pool.isValid(4) || pool.isValid(0x10000) || pool.isAllocated(0x10000)); // offset == pageSize
    // Free list: 0 -> 1 -> 2 -> 3. The tail (3) is not compared.
    EXPECT_FALSE(pool.isAllocated(0) || pool.isAllocated(2));
    EXPECT_TRUE(pool.isAllocated(3));

    void* first = pool.allocate();
    EXPECT_TRUE(pool.isAllocated(0));
    pool.allocate();
    pool.allocate(); // only slot 3 left: everything reports allocated
    EXPECT_TRUE(pool.isAllocated(3));
    pool.allocate(); // nothing free
    EXPECT_TRUE(pool.isAllocated(3));
    pool.deallocate(first); // free list: 0 -> (nothing)
    EXPECT_TRUE(pool.isAllocated(0));
}

TEST(PoolBase, MisuseRaisesExactTextsAndLeavesThePoolUsable) {
    AssertRecorder recorder;
    PoolBase small(4, 2, 2);
    EXPECT_TRUE(recorder.saw("elementSize >= sizeof(PoolHeader) && \"Element size must be at least "
                             "enough to store a pointer.\""));
    void* a = small.allocate();
    void* b = small.allocate();
    EXPECT_TRUE(a != nullptr && b != nullptr && a != b);
    PoolBase wide(8, 0, 65536);
    EXPECT_TRUE(recorder.saw(
        "pageSize <= MaxElementOffset && \"Page size must be smaller or equal to max element offset.\""));

    PoolBase pool(16, 8, 4);
    recorder.clear();
    pool.resize(4);
    // Freeing with nothing allocated asserts and frees all the same: the count wraps and comes
    // back with the next allocate, which hands out the freed element, then the pool's own slots.
    alignas(16) uint8_t outside[16] = {};
    pool.deallocate(outside);
    EXPECT_EQ(pool.getCapacity(), 8u);
    EXPECT_EQ(pool.allocate(), outside);
    EXPECT_EQ(pool.size(), 0u);
    EXPECT_EQ(pool.getHandle(pool.allocate()), 0u);
    EXPECT_EQ(pool.getHandle(pool.allocate()), 1u);
    EXPECT_EQ(pool.getHandle(outside), 0u);
    EXPECT_EQ(pool.getElement(0x20000), nullptr);
    EXPECT_EQ(pool.getElement(0x00004), static_cast<uint8_t*>(pool.getElement(0)) + 4 * 16)
        << "an address only";
    EXPECT_EQ(recorder.texts(),
              (std::vector<std::string>{"desiredCapacity >= capacity && \"Pool does not support shrinkage.\"",
                                        "numAllocated && \"No available elements to free.\"",
                                        "false && \"Element not part of any allocated pages.\"",
                                        "pageIndex < pages.size() && \"Page index out of range.\"",
                                        "elementIndex < pageSize && \"Element index out of range.\""}));
    // The documented sites, the inline deallocate's included (compiled into this client).
    EXPECT_EQ(recorder.sites(), (std::vector<std::string>{
                                    "Source\\Collections\\PoolBase:36", "Source\\Collections\\PoolBase:117",
                                    "Source\\Collections\\PoolBase:148", "Source\\Collections\\PoolBase:157",
                                    "Source\\Collections\\PoolBase:161"}));

    recorder.clear();
    PoolBase many(8, 0, 1);
    many.resize(0x10000);
    EXPECT_TRUE(recorder.saw(
        "numPages <= MaxElementOffset && \"Page count must be smaller or equal to max element offset.\""));
    EXPECT_EQ(many.getCapacity(), 0xFFFFu);
}

TEST(PoolBase, MoveTransfersThePages) {
    CountingAllocator allocator;
    PoolBase source(16, 4, 4, &allocator);
    void* slot = source.allocate();
    PoolBase moved(std::move(source));
    EXPECT_TRUE(moved.getHandle(slot) == 0u && moved.size() == 1u);
    EXPECT_EQ(moved.getHandle(moved.allocate()), 1u);

    PoolBase target(16, 8, 4, &allocator);
    allocator.clearLog();
    target = std::move(moved);
    EXPECT_EQ(allocator.calls(Op::Deallocate).size(), 2u); // target's own two pages
    EXPECT_EQ(target.getCapacity(), 4u);
    EXPECT_EQ(target.getHandle(target.allocate()), 2u);
    EXPECT_EQ(allocator.getAllocationCount(), 1u);
}
