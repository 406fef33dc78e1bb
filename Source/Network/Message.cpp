#include "Network/Internal/Prefetch.h"
#include "Network/Internal/ReleaseBatch.h"
#include "Network/Internal/SpinLock.h"
#include <Tarn/Network/Message.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>
#include <vector>

namespace Tarn::Network {

namespace {
using Detail::prefetchForWrite;

constexpr uint64_t kReservedPayload = 1024;

// Shared pointers are made with an allocator that takes their control blocks from the pool as
// well. Allocated on one thread and released on another, each control block would otherwise cost
// a trip through the heap's shared arena: the most expensive step of a message's life. Each block
// fills one cache line of its own, for the reason messages do.
constexpr size_t kControlBlockSize = 64;
constexpr std::align_val_t kLineAlignment{64};

constexpr size_t roundToLines(size_t size) {
    return (size + 63) & ~size_t(63);
}

// Free messages and free control blocks, each in two intrusive singly linked lists:
// - `returned`, onto which a released message (or block) is pushed without any lock, by whatever
//   thread dropped its last reference;
// - `owned`, from which `allocate` pops under the pool lock.
// Messages usually die on another thread than the one that made them (a network thread fills the
// queue that the main loop drains). With one locked list the lock and the list's end would cross
// between the two cores once per message; this way the releasing side is one compare-and-swap and
// never touches the lock. Nodes leave `returned` only all at once, by an exchange under the lock,
// which rules out the ABA problem of lock-free stacks.
//
// Messages are handed out strictly last in, first out: the one released most recently is the next
// one allocated, whatever ran before, so steady traffic reuses the storage that traffic grew and
// whose lines are still in cache. Everything in `returned` was released after everything in
// `owned` (which came out of earlier exchanges), so a non-empty `returned` goes in front of `owned`
// before `allocate` pops. It is not spliced there: finding the end of the taken chain would walk
// nodes that the releasing thread has just written, one dependent cache miss after another, under
// the lock (profiled: two thirds of `allocate`'s time, a quarter of a network thread's, when
// messages die on another core). The earlier `owned` is pushed whole onto `older`, a stack of
// chains, and the taken chain becomes `owned`; a chain is resumed when the one above it runs out.
// The stack is not bounded: it holds at most one entry per pooled message, and it grows only to
// its high-water mark. (Bounding it meant joining chains when it filled, a walk to a chain's end
// for every exchange once it was full: a third of `allocate`'s time on a receiving network
// thread, where bursts leave long chains behind.) Control blocks are all alike, so their order
// does not matter: `returned` refills `owned` only when it runs dry, which touches the releasing
// thread's line least often.
template <typename Node>
struct FreeList {
    Node* owned = nullptr;
    std::vector<Node*> older; // chains below `owned`, the newest last; messages only
    // On a cache line of its own: the releasing thread writes it once per message, and on the
    // line of the lock and the owned ends it would pull that line away from the allocating thread
    // every time.
    alignas(64) std::atomic<Node*> returned{nullptr};
};

Message*& nextOf(Message* message) {
    return poolLink(message);
}
void*& nextOf(void* block) {
    return *static_cast<void**>(block);
}

template <typename Node>
void pushReturned(FreeList<Node>& list, Node* node) {
    Node* head = list.returned.load(std::memory_order_relaxed);
    do {
        nextOf(node) = head;
    } while (!list.returned.compare_exchange_weak(head, node, std::memory_order_release,
                                                  std::memory_order_relaxed));
}

// `oldest` ends the chain that starts at `newest`; the chain goes on top of what is there.
template <typename Node>
void pushChain(FreeList<Node>& list, Node* newest, Node* oldest) {
    Node* head = list.returned.load(std::memory_order_relaxed);
    do {
        nextOf(oldest) = head;
    } while (!list.returned.compare_exchange_weak(head, newest, std::memory_order_release,
                                                  std::memory_order_relaxed));
}

// Call with the pool lock held: the most recently released node. A look before the exchange:
// releases mostly come back in batches (Detail::MessageReleaseBatch), so most calls find nothing
// there and pay neither the locked instruction nor the line's trip to this core for writing.
template <typename Node>
Node* popNewest(FreeList<Node>& list) {
    // Room first, so that growing the stack cannot fail once a chain has been taken.
    if (list.owned && list.older.size() == list.older.capacity()) {
        list.older.reserve(2 * list.older.capacity() + 16);
    }
    Node* chain = nullptr;
    if (list.returned.load(std::memory_order_relaxed)) {
        chain = list.returned.exchange(nullptr, std::memory_order_acquire);
    }
    if (chain) {
        if (list.owned) {
            list.older.push_back(list.owned);
        }
        list.owned = chain;
    } else if (!list.owned && !list.older.empty()) {
        list.owned = list.older.back();
        list.older.pop_back();
    }
    Node* node = list.owned;
    if (node) {
        list.owned = nextOf(node);
    }
    return node;
}

// Call with the pool lock held: any free node, touching `returned` only when `owned` is empty.
template <typename Node>
Node* popAny(FreeList<Node>& list) {
    if (!list.owned) {
        list.owned = list.returned.exchange(nullptr, std::memory_order_acquire);
    }
    Node* node = list.owned;
    if (node) {
        list.owned = nextOf(node);
    }
    return node;
}

// Call with the pool lock held. Nodes reachable from `returned` change only when taken under it.
template <typename Node>
uint64_t countFree(const FreeList<Node>& list) {
    uint64_t count = 0;
    for (Node* node = list.owned; node; node = nextOf(node)) {
        ++count;
    }
    for (Node* chain : list.older) {
        for (Node* node = chain; node; node = nextOf(node)) {
            ++count;
        }
    }
    for (Node* node = list.returned.load(std::memory_order_acquire); node; node = nextOf(node)) {
        ++count;
    }
    return count;
}

// Call with the pool lock held: leaves the list empty and returns its nodes as one chain.
template <typename Node>
Node* takeAll(FreeList<Node>& list) {
    Node* chain = list.returned.exchange(nullptr, std::memory_order_acquire);
    while (list.owned || !list.older.empty()) {
        if (!list.owned) {
            list.owned = list.older.back();
            list.older.pop_back();
        }
        Node* node = list.owned;
        list.owned = nextOf(node);
        nextOf(node) = chain;
        chain = node;
    }
    return chain;
}

struct MessagePool {
    Detail::SpinLock lock; // guards the owned ends
    FreeList<Message> messages;
    FreeList<void> controlBlocks;
};

// Never destroyed: a message may be released by a static object's destructor at unload, after
// this module's own statics would have gone.
MessagePool& pool() {
    static auto* instance = new MessagePool();
    return *instance;
}

using Detail::MessageReleaseBatch;

// The thread's outermost live release batch, if any. Touched for every message released or
// allocated; on ELF targets the initial-exec model makes that one load instead of a call to find
// the thread's block (8 bytes, well within what a library loaded later may claim).
#if defined(__ELF__)
thread_local MessageReleaseBatch* keepingBatch __attribute__((tls_model("initial-exec"))) = nullptr;
#else
thread_local MessageReleaseBatch* keepingBatch = nullptr;
#endif

// Links `nodes` (oldest first) into a chain, newest first, and puts it on top of the list's
// returned stack.
template <typename Node>
void handBack(FreeList<Node>& list, Node** nodes, unsigned& count) {
    if (count == 0) {
        return;
    }
    for (unsigned i = 1; i < count; ++i) {
        nextOf(nodes[i]) = nodes[i - 1];
    }
    pushChain(list, nodes[count - 1], nodes[0]);
    count = 0;
}

void handBack(MessageReleaseBatch& batch) {
    handBack(pool().messages, batch.messages, batch.messageCount);
    handBack(pool().controlBlocks, batch.controlBlocks, batch.controlBlockCount);
}

void releaseControlBlock(void* block) {
    if (MessageReleaseBatch* batch = keepingBatch) {
        if (batch->controlBlockCount == MessageReleaseBatch::kCapacity) {
            handBack(pool().controlBlocks, batch->controlBlocks, batch->controlBlockCount);
        }
        batch->controlBlocks[batch->controlBlockCount++] = block;
        return;
    }
    pushReturned(pool().controlBlocks, block);
}

// Hands out the block taken from the pool together with the message (or a new one), and returns
// every block to the pool.
template <typename T>
class ControlBlockAllocator {
public:
    using value_type = T;

    explicit ControlBlockAllocator(void* pooled) noexcept : pooled(pooled) {}
    template <typename U>
    ControlBlockAllocator(const ControlBlockAllocator<U>& other) noexcept : pooled(other.pooled) {}

    T* allocate(size_t count) {
        static_assert(sizeof(T) <= kControlBlockSize && alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__,
                      "the shared pointer's control block does not fit the pooled blocks");
        if (count != 1) {
            throw std::bad_alloc();
        }
        void* block = pooled ? pooled : ::operator new(kControlBlockSize, kLineAlignment);
        pooled = nullptr;
        return static_cast<T*>(block);
    }
    void deallocate(T* block, size_t) noexcept { releaseControlBlock(block); }

    template <typename U>
    bool operator==(const ControlBlockAllocator<U>&) const noexcept {
        return true;
    }

private:
    template <typename U>
    friend class ControlBlockAllocator;
    void* pooled;
};
} // namespace

Message::Message() : MemoryBuffer(kReservedPayload, true, DefaultMemBlockType) {}

Message::Message(uint32_t id, const Message& other) : MemoryBuffer(other.data(), other.size()), id(id) {}

void* Message::operator new(std::size_t size) {
    return ::operator new(roundToLines(size), kLineAlignment);
}

// The global sized deallocation functions exist only where the compiler enables them (clang does
// not by default); the aligned form without a size releases the same block everywhere.
void Message::operator delete(void* memory, std::size_t) {
    ::operator delete(memory, kLineAlignment);
}

Message*& poolLink(Message* message) noexcept {
    return message->nextFree;
}

std::shared_ptr<Message> Message::allocate(uint32_t id) {
    // The nodes are usually written last by the thread that released them, on another core; the
    // prefetches let them travel while the caller fills this message.
    Message* message = nullptr;
    void* controlBlock = nullptr;
    if (MessageReleaseBatch* batch = keepingBatch) {
        if (batch->messageCount != 0) {
            message = batch->messages[--batch->messageCount];
            if (batch->messageCount != 0) {
                prefetchForWrite(batch->messages[batch->messageCount - 1]);
            }
        }
        if (batch->controlBlockCount != 0) {
            controlBlock = batch->controlBlocks[--batch->controlBlockCount];
        }
    }
    if (!message || !controlBlock) {
        auto& shared = pool();
        std::lock_guard lock(shared.lock);
        if (!message) {
            message = popNewest(shared.messages);
        }
        if (!controlBlock) {
            controlBlock = popAny(shared.controlBlocks);
        }
        // Addresses only: reading the nodes here would wait for their lines under the lock.
        prefetchForWrite(shared.messages.owned);
        prefetchForWrite(shared.controlBlocks.owned);
    }
    if (message) {
        // Emptied here rather than when released: this thread writes the message's line anyway,
        // and the releasing thread, often on another core, then need not write it at all.
        message->resize(0, true, false);
        prefetchForWrite(message->data()); // the payload's first line, written next
    } else {
        message = new Message();
    }
    message->id = id;
    message->nextFree = nullptr;
    // Should the control block fail to allocate, the constructor hands the message to the deleter,
    // so it goes back to the pool rather than leaking.
    return std::shared_ptr<Message>(message, &Message::deleteMessage,
                                    ControlBlockAllocator<Message>(controlBlock));
}

void Message::deleteMessage(Message* message) {
    // The payload is emptied, its storage kept, when the message is handed out again.
    if (MessageReleaseBatch* batch = keepingBatch) {
        if (batch->messageCount == MessageReleaseBatch::kCapacity) {
            handBack(pool().messages, batch->messages, batch->messageCount);
        }
        batch->messages[batch->messageCount++] = message;
        return;
    }
    pushReturned(pool().messages, message);
}

void Message::flush() {
    Message* messages = nullptr;
    void* controlBlocks = nullptr;
    if (MessageReleaseBatch* batch = keepingBatch) {
        handBack(*batch); // this thread's, so that flush frees them too
    }
    {
        auto& shared = pool();
        std::lock_guard lock(shared.lock);
        messages = takeAll(shared.messages);
        controlBlocks = takeAll(shared.controlBlocks);
    }
    while (Message* message = messages) {
        messages = message->nextFree;
        delete message;
    }
    while (void* block = controlBlocks) {
        controlBlocks = nextOf(block);
        ::operator delete(block, kLineAlignment);
    }
}

uint64_t Message::getPooledCount() {
    const MessageReleaseBatch* batch = keepingBatch;
    const uint64_t kept = batch ? batch->messageCount : 0;
    auto& shared = pool();
    std::lock_guard lock(shared.lock);
    return kept + countFree(shared.messages);
}

namespace Detail {
MessageReleaseBatch::MessageReleaseBatch() noexcept {
    if (!keepingBatch) {
        keepingBatch = this;
        keeping = true;
    }
}

MessageReleaseBatch::~MessageReleaseBatch() {
    if (keeping) {
        keepingBatch = nullptr;
        handBack(*this);
    }
}
} // namespace Detail

} // namespace Tarn::Network
