#include <Tarn/Memory/Allocator.h>
#include <Tarn/Network/Message.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

using Tarn::Network::Message;
using Tarn::Network::MessagePtr;

namespace {
// Traffic that leaves the pool in the state other tests may leave it in: free messages on both
// sides of it, some released on another thread.
void otherTraffic() {
    std::vector<MessagePtr> held;
    for (uint32_t i = 0; i < 10; ++i) {
        held.push_back(Message::allocate(i));
    }
    std::thread([&] { held.resize(5); }).join();
    held.clear();
    MessagePtr one = Message::allocate(99);
}
} // namespace

TEST(Message, PoolIsLastInFirstOutAfterOtherTraffic) {
    otherTraffic();
    MessagePtr first = Message::allocate(7);
    // Grown beyond the initial reservation: the larger storage is what gets pooled.
    const std::vector<uint8_t> payload(5000, 0xAB);
    ASSERT_TRUE(first->write(payload.data(), payload.size()));
    const Message* address = first.get();
    const uint8_t* storage = first->data();
    const uint64_t capacity = first->getCapacity();
    const uint64_t pooled = Message::getPooledCount();
    MessagePtr second = first; // a second reference keeps it out of the pool
    first.reset();
    EXPECT_EQ(Message::getPooledCount(), pooled);
    second.reset();
    EXPECT_EQ(Message::getPooledCount(), pooled + 1);

    MessagePtr reused = Message::allocate(9);
    EXPECT_EQ(reused.get(), address);
    EXPECT_EQ(reused->getID(), 9u);
    EXPECT_EQ(reused->size(), 0u);
    EXPECT_EQ(reused->pos(), 0u);
    EXPECT_EQ(reused->data(), storage);
    EXPECT_EQ(reused->getCapacity(), capacity);

    // Most recent first, also for messages released on another thread.
    MessagePtr a = Message::allocate(1);
    MessagePtr b = Message::allocate(2);
    const Message* addressA = a.get();
    const Message* addressB = b.get();
    a.reset();
    std::thread([&] { b.reset(); }).join();
    EXPECT_EQ(Message::allocate(3).get(), addressB);
    MessagePtr c = Message::allocate(4);
    EXPECT_EQ(c.get(), addressB); // the temporary went straight back
    EXPECT_EQ(Message::allocate(5).get(), addressA);

    Message::flush();
    EXPECT_EQ(Message::getPooledCount(), 0u);
}

// Releases in bursts and allocations that leave part of each burst behind pile up many separate
// free chains in the pool (more than it keeps apart, so the oldest are joined); whatever the
// pattern, the message released last is the next one handed out.
TEST(Message, PoolStaysLastInFirstOutAcrossManyReleaseBursts) {
    Message::flush();
    std::vector<MessagePtr> held;
    for (uint32_t i = 0; i < 200; ++i) {
        held.push_back(Message::allocate(i));
    }
    std::vector<const Message*> model; // the free messages, the next one to come out last
    auto release = [&](size_t count, bool otherThread) {
        std::vector<MessagePtr> batch(held.end() - static_cast<ptrdiff_t>(count), held.end());
        held.resize(held.size() - count);
        for (const MessagePtr& message : batch) {
            model.push_back(message.get());
        }
        if (otherThread) {
            std::thread([&] {
                for (MessagePtr& message : batch) {
                    message.reset(); // in order, as the model has them
                }
            }).join();
        } else {
            for (MessagePtr& message : batch) {
                message.reset();
            }
        }
    };
    auto allocate = [&](size_t count) {
        for (size_t i = 0; i < count; ++i) {
            held.push_back(Message::allocate(1));
            ASSERT_FALSE(model.empty());
            EXPECT_EQ(held.back().get(), model.back()) << "allocation " << i;
            model.pop_back();
        }
    };
    for (int round = 0; round < 90; ++round) {
        release(3, round % 3 == 0);
        allocate(1);
    }
    EXPECT_EQ(Message::getPooledCount(), model.size());
    allocate(model.size());
    EXPECT_EQ(Message::getPooledCount(), 0u);
    release(held.size(), false);
    EXPECT_EQ(Message::getPooledCount(), 200u);
    Message::flush();
    EXPECT_EQ(Message::getPooledCount(), 0u);
}

TEST(Message, SteadyTrafficOfOneSizeDoesNotGrowStorage) {
    otherTraffic();
    const std::vector<uint8_t> payload(5000, 0x5A);
    Message::allocate(1)->write(payload.data(), payload.size()); // warm-up
    Tarn::Memory::Allocator* heap = Tarn::Memory::Allocator::defaultAllocator();
    const uint64_t bytes = heap->getAllocatedBytes();
    for (int i = 0; i < 200; ++i) {
        Message::allocate(1)->write(payload.data(), payload.size());
    }
    EXPECT_EQ(heap->getAllocatedBytes(), bytes);
}

TEST(Message, ViewSharesTheBytesAndCannotWrite) {
    MessagePtr original = Message::allocate(1);
    original->write32(0xDEADBEEF);
    original->write32(5);
    const auto made = std::make_unique<Message>(77, *original); // made with new, as a client may
    Message& view = *made;
    EXPECT_EQ(view.getID(), 77u);
    EXPECT_EQ(view.data(), original->data());
    EXPECT_EQ(view.size(), 8u);
    EXPECT_EQ(view.pos(), 0u);
    EXPECT_FALSE(view.write32(1));
    EXPECT_EQ(view.read32(), 0xDEADBEEFu);
    EXPECT_EQ(original->pos(), 8u); // the original's cursor is its own
}
