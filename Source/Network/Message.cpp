#include <Tarn/Network/Message.h>
#include <Tarn/Network/SpinLock.h>

#include <cstddef>
#include <mutex>
#include <new>
#include <vector>

namespace Tarn::Network {

namespace {
constexpr uint64_t kReservedPayload = 1024;

// Shared pointers are made with an allocator that takes their control blocks from the pool as
// well. Allocated on one thread and released on another, each control block would otherwise cost
// a trip through the heap's shared arena: the most expensive step of a message's life.
constexpr size_t kControlBlockSize = 64;

// Both lists are last in, first out: what is handed out next is what is most likely still in
// cache.
struct MessagePool {
    Detail::SpinLock lock;
    std::vector<Message*> messages;
    std::vector<void*> controlBlocks;
};

// Never destroyed: a message may be released by a static object's destructor at unload, after
// this module's own statics would have gone.
MessagePool& pool() {
    static auto* instance = new MessagePool();
    return *instance;
}

void releaseControlBlock(void* block) {
    auto& shared = pool();
    std::lock_guard lock(shared.lock);
    shared.controlBlocks.push_back(block);
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
        void* block = pooled ? pooled : ::operator new(kControlBlockSize);
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

Message::Message(uint32_t id, const Message& other)
    : MemoryBuffer(const_cast<uint8_t*>(other.data()), other.size()), id(id) {}

std::shared_ptr<Message> Message::allocate(uint32_t id) {
    Message* message = nullptr;
    void* controlBlock = nullptr;
    {
        auto& shared = pool();
        std::lock_guard lock(shared.lock);
        if (!shared.messages.empty()) {
            message = shared.messages.back();
            shared.messages.pop_back();
        }
        if (!shared.controlBlocks.empty()) {
            controlBlock = shared.controlBlocks.back();
            shared.controlBlocks.pop_back();
        }
    }
    if (!message) {
        message = new Message();
    }
    message->id = id;
    // Should the control block fail to allocate, the constructor hands the message to the deleter,
    // so it goes back to the pool rather than leaking.
    return std::shared_ptr<Message>(message, &Message::deleteMessage,
                                    ControlBlockAllocator<Message>(controlBlock));
}

void Message::deleteMessage(Message* message) {
    // The message is no longer shared, so emptying it needs no lock; the storage stays for reuse.
    message->resize(0, true, false);
    auto& shared = pool();
    std::lock_guard lock(shared.lock);
    shared.messages.push_back(message);
}

void Message::flush() {
    std::vector<Message*> messages;
    std::vector<void*> controlBlocks;
    {
        auto& shared = pool();
        std::lock_guard lock(shared.lock);
        messages.swap(shared.messages);
        controlBlocks.swap(shared.controlBlocks);
    }
    for (Message* message : messages) {
        delete message;
    }
    for (void* block : controlBlocks) {
        ::operator delete(block);
    }
}

uint64_t Message::getPooledCount() {
    auto& shared = pool();
    std::lock_guard lock(shared.lock);
    return shared.messages.size();
}

} // namespace Tarn::Network
