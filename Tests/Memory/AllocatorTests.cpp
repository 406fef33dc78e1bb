#include "AssertRecorder.h"

#include <Tarn/Memory/Allocator.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Memory::Allocator;

TEST(Allocator, CountersFollowEveryRequestIncludingRefusedOnes) {
    Tarn::Testing::AssertRecorder recorder;
    Allocator allocator;
    void* a = allocator.allocate(100, 16, MemBlockType::Buffer);
    void* b = allocator.allocate(28, 0, MemBlockType::Pool);
    ASSERT_TRUE(a != nullptr && b != nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 16, 0u);
    // The base keeps no per-tag totals: retagging moves nothing.
    allocator.changeType(a, 100, MemBlockType::Buffer, MemBlockType::Network);
    EXPECT_EQ(allocator.getAllocatedBytes(), 128u);
    EXPECT_EQ(allocator.getAllocationCount(), 2u);
    allocator.deallocate(a, 100, MemBlockType::Network);
    allocator.deallocate(b, 28, MemBlockType::Pool);
    EXPECT_TRUE(recorder.empty());

    // Refused, yet counted, so the caller's matching deallocate of null balances it.
    EXPECT_EQ(allocator.allocate(8, 32, MemBlockType::Buffer), nullptr);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"false && \"Unsupported alignment restrictions.\""});
    EXPECT_EQ(recorder.sites(), std::vector<std::string>{"Source\\Memory\\Allocator:35"});
    EXPECT_EQ(allocator.getAllocatedBytes(), 8u);
    EXPECT_EQ(allocator.getAllocationCount(), 1u);
    allocator.deallocate(nullptr, 8, MemBlockType::Buffer);
    allocator.deallocate(allocator.allocate(0, 0, MemBlockType::Buffer), 0, MemBlockType::Buffer);
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);
    allocator.deallocate(nullptr, 0, MemBlockType::Buffer); // trusted, so the count wraps
    EXPECT_EQ(allocator.getAllocationCount(), UINT64_MAX);
}

TEST(Allocator, OneSharedDefaultAndExactCountersAcrossThreads) {
    Allocator* const shared = Allocator::defaultAllocator();
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(Allocator::overflowAllocator(), shared);
    Allocator allocator;
    std::atomic<int> otherDefaults{0};
    std::vector<std::thread> threads;
    for (uint64_t size = 1; size <= 4; ++size) {
        threads.emplace_back([&, size] {
            if (Allocator::defaultAllocator() != shared || Allocator::overflowAllocator() != shared) {
                ++otherDefaults;
            }
            std::vector<void*> held;
            for (int i = 0; i < 2000; ++i) {
                held.push_back(allocator.allocate(size, 8, MemBlockType::Buffer));
                if (held.size() == 8) {
                    for (void* p : held) {
                        allocator.deallocate(p, size, MemBlockType::Buffer);
                    }
                    held.clear();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(otherDefaults, 0);
    // Every block was returned; a lost update on either counter would leave a residue.
    EXPECT_EQ(allocator.getAllocatedBytes(), 0u);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);
}
