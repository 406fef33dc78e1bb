#pragma once

#include <Tarn/Network/Message.h>

#include "Network/Internal/SpinLock.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <utility>

namespace Tarn::Network::Detail {

/// A hub's queue of incoming messages: any number of threads push, any number pop, in one order.
///
/// The usual traffic is one thread pushing (a network thread, another hub's sender) and another
/// popping (the main loop), on different cores. With one lock around the whole queue, both sides
/// would fight over the lock's cache line for every message, and each would wait for the other
/// more than it works. So pushers serialise among themselves with one lock and poppers with
/// another; the two sides only meet at the published counts and at the slots themselves.
///
/// Messages are stored in a chain of fixed-size chunks: the pushing side appends a chunk when
/// its current one is full and the popping side drops a chunk once it has taken every message
/// from it. Dropped chunks are kept for the pushing side to reuse, up to `kMaxSpareChunks` of them
/// (about four thousand messages in flight, 64 KiB), so steady traffic allocates nothing even when
/// the consumer wakes up to thousands of messages at a time, and a longer burst frees the rest as
/// it drains.
class MessageQueue {
public:
    MessageQueue();
    ~MessageQueue();

    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    void push(const MessagePtr& message);
    /// The oldest message, or null when the queue is empty.
    MessagePtr pop();
    /// Takes messages in order under one acquisition of the taking side's lock, handing each to
    /// `take(MessagePtr&&)` until it returns false or the queue is empty, and publishes the new
    /// count once. For a drain that does its own small work per message (framing into a send
    /// block): one locked instruction per run instead of one per message, so the transfers of the
    /// slots' lines overlap instead of each waiting for the last. `take` runs under the lock: it
    /// must not touch this queue or release the last reference to a message (that can run a
    /// deleter that is not ours); keep the messages and drop them after the call.
    template <typename Take>
    void popWhile(Take&& take) {
        std::lock_guard lock(popSide.lock);
        const uint64_t start = popped.load(std::memory_order_relaxed);
        uint64_t taken = start;
        for (MessagePtr next; (next = takeLocked(taken)) && take(std::move(next));) {
        }
        if (taken != start) {
            popped.store(taken, std::memory_order_release);
        }
    }
    /// Pops every queued message and drops the references.
    void clear();
    /// The number of queued messages at one moment during the call.
    uint64_t size() const;
    /// From now on every push also wakes the network thread (the queue of a ConnectionHub).
    void setWakesNetwork() { pushSide.wakesNetwork.store(true, std::memory_order_release); }

private:
    static constexpr size_t kChunkSlots = 63;
    static constexpr uint64_t kMaxSpareChunks = 64;
    struct Chunk {
        MessagePtr slots[kChunkSlots];
        Chunk* next = nullptr;
    };

    // Each group is written by one side only and sits on cache lines of its own.
    struct alignas(64) PushSide {
        SpinLock lock;
        Chunk* chunk = nullptr;
        size_t position = 0;
        Chunk* spares = nullptr; // taken from `returnedSpares` all at once
        std::atomic<bool> wakesNetwork{false};
    };
    struct alignas(64) PopSide {
        SpinLock lock;
        Chunk* chunk = nullptr;
        size_t position = 0;
        uint64_t seenPushed = 0; // `pushed` as last read; every message before it is published
    };

    void pushLocked(const MessagePtr& message);
    // Call under the pop lock.
    void recycle(Chunk* emptied);
    // Call under the pop lock: the message after the `taken` ones so far (counting it in), or
    // null when there is none; `popped` is the caller's to publish.
    MessagePtr takeLocked(uint64_t& taken);

    PushSide pushSide;
    PopSide popSide;
    // Messages pushed and popped so far. A message is published by the release store of
    // `pushed`, after its slot (and the chunk link leading to it) has been written.
    alignas(64) std::atomic<uint64_t> pushed{0};
    alignas(64) std::atomic<uint64_t> popped{0};
    // Chunks the popping side has emptied, linked through `next`, for the pushing side to reuse.
    // The pushing side only ever takes the whole list, so the list cannot suffer from the ABA
    // problem. `spareCount` counts the chunks here and in `pushSide.spares`.
    alignas(64) std::atomic<Chunk*> returnedSpares{nullptr};
    std::atomic<uint64_t> spareCount{0};
};

} // namespace Tarn::Network::Detail
