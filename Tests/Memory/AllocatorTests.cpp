#include "AssertRecorder.h"

#include <Tarn/Memory/Allocator.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Memory::Allocator;
using Tarn::Testing::AssertRecorder;

TEST(Allocator, CountersFollowLiveBlocks) {
    Allocator allocator;
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);

    void* a = allocator.allocate(100, 16, MemBlockType::Buffer);
    void* b = allocator.allocate(28, 0, MemBlockType::Pool);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 16, 0u);
    EXPECT_EQ(allocator.getAllocatedBytes(), 128u);
    EXPECT_EQ(allocator.getAllocationCount(), 2u);

    // The base keeps no per-tag totals: retagging moves nothing.
    allocator.changeType(a, 100, MemBlockType::Buffer, MemBlockType::Network);
    EXPECT_EQ(allocator.getAllocatedBytes(), 128u);
    EXPECT_EQ(allocator.getAllocationCount(), 2u);

    allocator.deallocate(a, 100, MemBlockType::Network);
    allocator.deallocate(b, 28, MemBlockType::Pool);
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);

    // A zero-size block is a block; freeing null is trusted and still counted (wrapping here).
    allocator.deallocate(allocator.allocate(0, 0, MemBlockType::Buffer), 0, MemBlockType::Buffer);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);
    allocator.deallocate(nullptr, 0, MemBlockType::Buffer);
    EXPECT_EQ(allocator.getAllocationCount(), UINT64_MAX);
}

TEST(Allocator, AlignmentAbove16IsRefusedButStaysCounted) {
    AssertRecorder recorder;
    Allocator allocator;
    EXPECT_EQ(allocator.allocate(8, 32, MemBlockType::Buffer), nullptr);
    ASSERT_EQ(recorder.count(), 1u);
    EXPECT_EQ(recorder.texts()[0], "false && \"Unsupported alignment restrictions.\"");
    EXPECT_EQ(allocator.getAllocatedBytes(), 8u);
    EXPECT_EQ(allocator.getAllocationCount(), 1u);

    recorder.clear();
    void* p = allocator.allocate(8, 16, MemBlockType::Buffer);
    EXPECT_NE(p, nullptr);
    EXPECT_TRUE(recorder.empty());
    allocator.deallocate(p, 8, MemBlockType::Buffer);
}

TEST(Allocator, DefaultAndOverflowAreOneObjectOnEveryThread) {
    Allocator* mainDefault = Allocator::defaultAllocator();
    ASSERT_NE(mainDefault, nullptr);
    EXPECT_EQ(Allocator::overflowAllocator(), mainDefault);

    constexpr int threadCount = 4;
    std::vector<Allocator*> seen(threadCount * 2, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&seen, i] {
            seen[i * 2] = Allocator::defaultAllocator();
            seen[i * 2 + 1] = Allocator::overflowAllocator();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (Allocator* allocator : seen) {
        EXPECT_EQ(allocator, mainDefault);
    }
}

TEST(Allocator, CountersAreExactUnderConcurrentUse) {
    Allocator allocator;
    constexpr int threadCount = 4;
    constexpr int rounds = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&allocator, t] {
            std::vector<void*> held;
            for (int i = 0; i < rounds; ++i) {
                held.push_back(allocator.allocate(static_cast<uint64_t>(t + 1), 8, MemBlockType::Buffer));
                if (held.size() == 8) {
                    for (void* p : held) {
                        allocator.deallocate(p, static_cast<uint64_t>(t + 1), MemBlockType::Buffer);
                    }
                    held.clear();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // Every block was returned; a lost update on either counter would leave a residue.
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);
}
