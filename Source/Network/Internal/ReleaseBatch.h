#pragma once

namespace Tarn::Network::Detail {

/// While one is alive on a thread, the messages (and their control blocks) whose last reference
/// that thread drops are kept aside on the thread and go back to the pool together: when the
/// outermost batch ends, or every 64 releases. A thread that drains a queue would otherwise pay
/// one compare-and-swap per message on the pool's returned stack, whose cache line then crosses to
/// the allocating thread's core and back for every message; in batches it crosses once per batch
/// and the allocating thread takes the whole batch in one exchange.
///
/// The thread's own `Message::allocate` takes from what it keeps aside first, newest first, so on
/// that thread the pool stays last in, first out. Other threads see the batch's messages when they
/// are handed back, as if released at that moment. Nest freely; keep a batch short (a drain loop,
/// one pass of the network thread) and never hold one across a wait.
class MessageReleaseBatch {
public:
    MessageReleaseBatch() noexcept;
    ~MessageReleaseBatch();
    MessageReleaseBatch(const MessageReleaseBatch&) = delete;
    MessageReleaseBatch& operator=(const MessageReleaseBatch&) = delete;
};

} // namespace Tarn::Network::Detail
