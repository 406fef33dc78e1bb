#include <Tarn/Network/Message.h>

#include <gtest/gtest.h>

#include <vector>

using Tarn::Network::Message;
using Tarn::Network::MessagePtr;

TEST(Message, PoolHandsBackTheLastReleasedMessageEmptiedWithItsStorage) {
    Message::flush();
    EXPECT_EQ(Message::getPooledCount(), 0u);
    MessagePtr first = Message::allocate(7);
    EXPECT_EQ(first->getCapacity(), 1024u);
    // Grown beyond the initial reservation: the larger storage is what gets pooled.
    const std::vector<uint8_t> payload(5000, 0xAB);
    ASSERT_TRUE(first->write(payload.data(), payload.size()));
    const Message* address = first.get();
    const uint8_t* storage = first->data();
    const uint64_t capacity = first->getCapacity();
    MessagePtr second = first; // a second reference keeps it out of the pool
    first.reset();
    EXPECT_EQ(Message::getPooledCount(), 0u);
    second.reset();
    EXPECT_EQ(Message::getPooledCount(), 1u);

    MessagePtr reused = Message::allocate(9);
    EXPECT_EQ(reused.get(), address);
    EXPECT_EQ(reused->getID(), 9u);
    EXPECT_EQ(reused->size(), 0u);
    EXPECT_EQ(reused->pos(), 0u);
    EXPECT_EQ(reused->data(), storage);
    EXPECT_EQ(reused->getCapacity(), capacity);
    EXPECT_EQ(Message::getPooledCount(), 0u);

    // Recycled most recent first.
    MessagePtr a = Message::allocate(1);
    MessagePtr b = Message::allocate(2);
    const Message* addressB = b.get();
    a.reset();
    b.reset();
    EXPECT_EQ(Message::allocate(3).get(), addressB);
    EXPECT_EQ(Message::getPooledCount(), 2u); // the temporary went straight back

    reused.reset();
    Message::flush();
    EXPECT_EQ(Message::getPooledCount(), 0u);
}

TEST(Message, ViewSharesTheBytesAndCannotWrite) {
    MessagePtr original = Message::allocate(1);
    original->write32(0xDEADBEEF);
    original->write32(5);
    Message view(77, *original);
    EXPECT_EQ(view.getID(), 77u);
    EXPECT_EQ(view.data(), original->data());
    EXPECT_EQ(view.size(), 8u);
    EXPECT_EQ(view.pos(), 0u);
    EXPECT_FALSE(view.write32(1));
    EXPECT_EQ(view.read32(), 0xDEADBEEFu);
    EXPECT_EQ(original->pos(), 8u); // the original's cursor is its own
}
