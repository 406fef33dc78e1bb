#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Network/Message.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

/// IPv4 networking: addresses, socket addresses and the host's adapters; messages and the message
/// hubs that route them; UDP and TCP connections served by one network thread, and the hubs that
/// carry messages over TCP in frames.
namespace Tarn::Network {

namespace Detail {
class MessageQueue;
}

/// An in-process endpoint for messages: an id, a queue of incoming messages, and two lists of
/// peer hubs kept as mirror images of each other: when A lists B as a listener, B lists A as a
/// sender, and every operation that changes one side changes the other.
///
/// Every live hub is in a process-wide registry, in order of construction; lookups by id return
/// the first registered hub with that id (ids are the application's and are not checked for
/// uniqueness).
///
/// Threads and locks. A hub has a hub lock (its two lists) and a queue with a lock for the threads
/// that add to it and another for the threads that take from it; the registry has one mutex. They
/// are only ever taken in the order registry, hub, queue, and no thread holds two hub locks at
/// once, so hubs that link and unlink each other from different threads cannot deadlock. Changes
/// to the links are made under the registry mutex, which also keeps a peer from being destroyed
/// while it is being unlinked. `queueMessage` and `getNextMessage` may run on different threads (a
/// network thread fills a queue that the main loop drains) and then never wait for each other.
/// `processMessage` runs with no lock held and may do anything, including sending and relinking;
/// an override of `queueMessage` runs under the sender's hub lock or the registry mutex and must
/// only queue.
///
/// A derived hub that overrides `queueMessage` should call `disconnectFromAllSenders()` in its own
/// destructor, so that no sender reaches it while it is half destroyed.
class TARN_API MessageHub {
public:
    /// Registers the hub under `id`.
    explicit MessageHub(uint32_t id);
    /// Unregisters the hub and unlinks it from every peer, then drops its queued messages.
    virtual ~MessageHub();

    MessageHub(const MessageHub&) = delete;
    MessageHub& operator=(const MessageHub&) = delete;

    /// Queues `message` on every registered hub except this one, in registration order.
    virtual void broadcastMessage(const MessagePtr& message);
    /// Queues `message` on every listener of this hub, in the order they were added.
    virtual void sendMessage(const MessagePtr& message);
    /// Appends `message` to this hub's queue.
    virtual void queueMessage(const MessagePtr& message);
    /// Pops queued messages in order and hands each, as a read-only view, to `processMessage`: at
    /// most `maxCount` of them when it is 1 or more, otherwise until the queue is empty (messages
    /// queued meanwhile included). True when there was anything to process. Each message is taken
    /// off the queue just before it is handled.
    virtual bool processMessages(int maxCount);

    /// The id given at construction.
    uint32_t getID() const { return id; }

    /// Makes `listener` receive what this hub sends; with `bidirectional`, also the other way.
    /// False for null or when `listener` was already listening (the reverse link is still made).
    bool addListener(MessageHub* listener, bool bidirectional = false);
    /// As above for the first registered hub with this id; false when there is none.
    bool addListener(uint32_t listenerId, bool bidirectional = false);
    /// `hub->addListener(this, bidirectional)`; false for null.
    bool listenTo(MessageHub* hub, bool bidirectional = false);
    /// As above for the first registered hub with this id; false when there is none.
    bool listenTo(uint32_t hubId, bool bidirectional = false);
    /// Stops `listener` receiving from this hub. False when it was not listening or is null.
    bool removeListener(MessageHub* listener);
    /// As above for the first registered hub with this id; false when there is none.
    bool removeListener(uint32_t listenerId);
    /// Unlinks every listener.
    void removeAllListeners();
    /// Stops listening to every hub this one listens to.
    void disconnectFromAllSenders();

    /// Number of messages waiting in the queue; other threads may change it at once.
    uint64_t getNoOfQueuedMessages() const;
    /// Drops every queued message.
    void flushQueuedMessages();

    /// Snapshots of the two lists, in order.
    ///@{
    std::vector<MessageHub*> getListeners() const;
    std::vector<MessageHub*> getSenders() const;
    ///@}

    /// The first registered hub with this id, or null. The pointer is only safe to use while the
    /// caller knows the hub is alive.
    static MessageHub* findHub(uint32_t id);

protected:
    /// Removes and returns the oldest queued message, or null.
    MessagePtr getNextMessage();

private:
    // Makes its queue wake the network thread.
    friend class ConnectionHub;

    /// Handles one message; the base does nothing.
    virtual void processMessage(Message& message);

    // These expect the registry mutex to be held by the caller.
    static bool link(MessageHub* sender, MessageHub* listener);
    static bool unlink(MessageHub* sender, MessageHub* listener);
    void removeAllListenersLocked();
    void disconnectFromAllSendersLocked();

    std::unique_ptr<Detail::MessageQueue> queue;
    std::vector<MessageHub*> listeners;
    std::vector<MessageHub*> senders;
    mutable std::mutex hubLock;
    uint32_t id;
};

} // namespace Tarn::Network
