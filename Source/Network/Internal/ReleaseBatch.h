#pragma once

namespace Tarn::Network {
class Message;
}

namespace Tarn::Network::Detail {

/// While one is alive on a thread, the messages (and their control blocks) whose last reference
/// that thread drops are kept aside in it and go back to the pool together: when the outermost
/// batch ends, or when it holds 64 of either. A thread that drains a queue would otherwise pay one
/// compare-and-swap per message on the pool's returned stack, whose cache line then crosses to the
/// allocating thread's core and back for every message, and it would write each message's link
/// (a line the allocating core wrote last) one at a time, waiting for each at the next locked
/// instruction. In a batch the returned stack's line crosses once per batch, and the links are
/// written together, their transfers overlapping.
///
/// The thread's own `Message::allocate` takes from what the batch keeps first, newest first, so on
/// that thread the pool stays last in, first out. Other threads see the batch's messages when they
/// are handed back, as if released at that moment. Nest freely (the outermost one keeps); keep a
/// batch short (a drain loop, one pass of the network thread) and never hold one across a wait.
class MessageReleaseBatch {
public:
    MessageReleaseBatch() noexcept;
    ~MessageReleaseBatch();
    MessageReleaseBatch(const MessageReleaseBatch&) = delete;
    MessageReleaseBatch& operator=(const MessageReleaseBatch&) = delete;

    static constexpr unsigned kCapacity = 64;

    // Used by the pool (Message.cpp) only; oldest first.
    Message* messages[kCapacity];
    void* controlBlocks[kCapacity];
    unsigned messageCount = 0;
    unsigned controlBlockCount = 0;
    bool keeping = false; // the outermost batch of its thread
};

} // namespace Tarn::Network::Detail
