#include "Network/Internal/MessageQueue.h"

#include "Network/Internal/ConnectionFlags.h"
#include "Network/Internal/Prefetch.h"

#include <cstring>
#include <mutex>
#include <utility>

namespace Tarn::Network::Detail {

MessageQueue::MessageQueue() {
    pushSide.chunk = popSide.chunk = new Chunk();
}

MessageQueue::~MessageQueue() {
    for (Chunk* chunk = popSide.chunk; chunk;) {
        delete std::exchange(chunk, chunk->next);
    }
    for (Chunk* list : {pushSide.spares, returnedSpares.load(std::memory_order_acquire)}) {
        while (list) {
            delete std::exchange(list, list->next);
        }
    }
}

void MessageQueue::push(const MessagePtr& message) {
    pushLocked(message);
    if (pushSide.wakesNetwork.load(std::memory_order_relaxed)) {
        outputQueued();
    }
}

void MessageQueue::pushLocked(const MessagePtr& message) {
    std::lock_guard lock(pushSide.lock);
    if (pushSide.position == kChunkSlots) {
        if (!pushSide.spares) {
            pushSide.spares = returnedSpares.exchange(nullptr, std::memory_order_acquire);
        }
        Chunk* fresh = pushSide.spares;
        if (fresh) {
            pushSide.spares = fresh->next;
            spareCount.fetch_sub(1, std::memory_order_relaxed);
            fresh->next = nullptr;
        } else {
            fresh = new Chunk();
        }
        pushSide.chunk->next = fresh;
        pushSide.chunk = fresh;
        pushSide.position = 0;
    }
    pushSide.chunk->slots[pushSide.position++] = message;
    pushed.store(pushed.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

MessagePtr MessageQueue::pop() {
    std::lock_guard lock(popSide.lock);
    uint64_t taken = popped.load(std::memory_order_relaxed);
    MessagePtr message = takeLocked(taken);
    if (message) {
        popped.store(taken, std::memory_order_release);
    }
    return message;
}

MessagePtr MessageQueue::takeLocked(uint64_t& taken) {
    // The pushing side writes `pushed` for every message; looking at it only when the messages
    // seen last time are used up keeps its line on the pushing core while a backlog drains.
    if (popSide.seenPushed == taken) {
        popSide.seenPushed = pushed.load(std::memory_order_acquire);
        if (popSide.seenPushed == taken) {
            return nullptr;
        }
    }
    if (popSide.position == kChunkSlots) {
        // The message is in the next chunk, so its link was published with it.
        Chunk* emptied = std::exchange(popSide.chunk, popSide.chunk->next);
        popSide.position = 0;
        recycle(emptied);
    }
    MessagePtr message = std::move(popSide.chunk->slots[popSide.position++]);
    ++taken;
    if (taken != popSide.seenPushed && popSide.position != kChunkSlots) {
        // The next message is published: start fetching its lines (the message and the shared
        // pointer's control block, the slot's two words), which the pushing core wrote last.
        const void* words[2];
        static_assert(sizeof(MessagePtr) == sizeof words, "a shared pointer is two pointers");
        std::memcpy(words, &popSide.chunk->slots[popSide.position], sizeof words);
        prefetchForRead(words[0]);
        prefetchForRead(words[1]);
    }
    return message;
}

void MessageQueue::recycle(Chunk* emptied) {
    if (spareCount.load(std::memory_order_relaxed) >= kMaxSpareChunks) {
        delete emptied;
        return;
    }
    spareCount.fetch_add(1, std::memory_order_relaxed);
    Chunk* head = returnedSpares.load(std::memory_order_relaxed);
    do {
        emptied->next = head;
    } while (!returnedSpares.compare_exchange_weak(head, emptied, std::memory_order_release,
                                                   std::memory_order_relaxed));
}

void MessageQueue::clear() {
    while (pop()) {
    }
}

uint64_t MessageQueue::size() const {
    // Popped first: it never passes pushed, so the difference cannot go below zero.
    const uint64_t taken = popped.load(std::memory_order_acquire);
    return pushed.load(std::memory_order_acquire) - taken;
}

} // namespace Tarn::Network::Detail
