#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/MemoryBuffer.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Tarn::Network {

/// A byte payload (the buffer itself, with its cursor) and a 32-bit id naming its kind.
///
/// Messages are pooled process-wide and always held through the shared pointer that `allocate`
/// returns. When its last reference goes the message returns to the pool with its storage (1024
/// bytes reserved up front, more if it ever grew), so steady traffic of sizes seen before
/// allocates nothing but the shared pointer's control block. Delivery to several hubs shares one
/// message; treat a message as read-only once it has been sent or queued.
class TARN_API Message : public Memory::MemoryBuffer {
public:
    /// Empty payload with 1024 bytes reserved on the default allocator; id 0.
    Message();
    /// A read-only view over `other`'s bytes with id `id`: cursor at 0, writes fail, nothing owned.
    Message(uint32_t id, const Message& other);

    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    /// The id, which the application defines (a message kind, usually).
    uint32_t getID() const { return id; }

    /// A message from the pool (or a new one when the pool is empty) with this id and an empty
    /// payload.
    static std::shared_ptr<Message> allocate(uint32_t id);
    /// Frees every message waiting in the pool. Messages still referenced return to it later.
    static void flush();
    /// Number of messages waiting in the pool.
    static uint64_t getPooledCount();

    /// Messages get cache lines of their own: a message is usually filled on one thread and
    /// released on another, and two messages sharing a line would make those threads fight over
    /// it. A message made with `new` outside the pool is released with `delete` as usual.
    ///@{
    static void* operator new(std::size_t size);
    static void operator delete(void* memory, std::size_t size);
    ///@}

private:
    // The shared pointer's deleter: pools the message, to be emptied (storage kept) when reused.
    static void deleteMessage(Message* message);

    uint32_t id = 0;
    // Link in the pool's free lists while the message is pooled.
    Message* nextFree = nullptr;
    friend Message*& poolLink(Message* message) noexcept;
};

/// How messages are passed around: shared, and returned to the pool when the last reference goes.
using MessagePtr = std::shared_ptr<Message>;

} // namespace Tarn::Network
