#include <Tarn/Network/MessageHub.h>

#include "Network/Internal/MessageQueue.h"
#include "Network/Internal/ReleaseBatch.h"

#include <algorithm>
#include <utility>

namespace Tarn::Network {

namespace {
struct HubRegistry {
    std::mutex mutex;
    std::vector<MessageHub*> hubs; // in order of construction
};

// Never destroyed, so that hubs that are static objects of other modules can still unregister at
// unload.
HubRegistry& registry() {
    static auto* instance = new HubRegistry();
    return *instance;
}

MessageHub* findLocked(const HubRegistry& hubs, uint32_t id) {
    for (MessageHub* hub : hubs.hubs) {
        if (hub->getID() == id) {
            return hub;
        }
    }
    return nullptr;
}

bool contains(const std::vector<MessageHub*>& list, const MessageHub* hub) {
    return std::find(list.begin(), list.end(), hub) != list.end();
}

bool eraseFirst(std::vector<MessageHub*>& list, const MessageHub* hub) {
    const auto it = std::find(list.begin(), list.end(), hub);
    if (it == list.end()) {
        return false;
    }
    list.erase(it);
    return true;
}
} // namespace

MessageHub::MessageHub(uint32_t id) : queue(std::make_unique<Detail::MessageQueue>()), id(id) {
    auto& hubs = registry();
    std::lock_guard lock(hubs.mutex);
    hubs.hubs.push_back(this);
}

MessageHub::~MessageHub() {
    {
        auto& hubs = registry();
        std::lock_guard lock(hubs.mutex);
        eraseFirst(hubs.hubs, this);
        disconnectFromAllSendersLocked();
        removeAllListenersLocked();
    }
    // The queue's remaining references go with the queue, back to the message pool.
}

bool MessageHub::link(MessageHub* sender, MessageHub* listener) {
    {
        std::lock_guard lock(sender->hubLock);
        if (contains(sender->listeners, listener)) {
            return false;
        }
        sender->listeners.push_back(listener);
    }
    std::lock_guard lock(listener->hubLock);
    if (!contains(listener->senders, sender)) {
        listener->senders.push_back(sender);
    }
    return true;
}

bool MessageHub::unlink(MessageHub* sender, MessageHub* listener) {
    {
        std::lock_guard lock(sender->hubLock);
        if (!eraseFirst(sender->listeners, listener)) {
            return false;
        }
    }
    std::lock_guard lock(listener->hubLock);
    eraseFirst(listener->senders, sender);
    return true;
}

bool MessageHub::addListener(MessageHub* listener, bool bidirectional) {
    if (!listener) {
        return false;
    }
    std::lock_guard lock(registry().mutex);
    const bool added = link(this, listener);
    if (bidirectional) {
        link(listener, this);
    }
    return added;
}

bool MessageHub::addListener(uint32_t listenerId, bool bidirectional) {
    auto& hubs = registry();
    std::lock_guard lock(hubs.mutex);
    MessageHub* listener = findLocked(hubs, listenerId);
    if (!listener) {
        return false;
    }
    const bool added = link(this, listener);
    if (bidirectional) {
        link(listener, this);
    }
    return added;
}

bool MessageHub::listenTo(MessageHub* hub, bool bidirectional) {
    return hub ? hub->addListener(this, bidirectional) : false;
}

bool MessageHub::listenTo(uint32_t hubId, bool bidirectional) {
    auto& hubs = registry();
    std::lock_guard lock(hubs.mutex);
    MessageHub* hub = findLocked(hubs, hubId);
    if (!hub) {
        return false;
    }
    const bool added = link(hub, this);
    if (bidirectional) {
        link(this, hub);
    }
    return added;
}

bool MessageHub::removeListener(MessageHub* listener) {
    if (!listener) {
        return false;
    }
    std::lock_guard lock(registry().mutex);
    return unlink(this, listener);
}

bool MessageHub::removeListener(uint32_t listenerId) {
    auto& hubs = registry();
    std::lock_guard lock(hubs.mutex);
    MessageHub* listener = findLocked(hubs, listenerId);
    return listener ? unlink(this, listener) : false;
}

void MessageHub::removeAllListeners() {
    std::lock_guard lock(registry().mutex);
    removeAllListenersLocked();
}

void MessageHub::disconnectFromAllSenders() {
    std::lock_guard lock(registry().mutex);
    disconnectFromAllSendersLocked();
}

void MessageHub::removeAllListenersLocked() {
    // Our lock is released before a peer's is taken: no thread ever holds two hub locks.
    std::vector<MessageHub*> former;
    {
        std::lock_guard lock(hubLock);
        former.swap(listeners);
    }
    for (MessageHub* listener : former) {
        std::lock_guard lock(listener->hubLock);
        eraseFirst(listener->senders, this);
    }
}

void MessageHub::disconnectFromAllSendersLocked() {
    std::vector<MessageHub*> former;
    {
        std::lock_guard lock(hubLock);
        former.swap(senders);
    }
    for (MessageHub* sender : former) {
        std::lock_guard lock(sender->hubLock);
        eraseFirst(sender->listeners, this);
    }
}

void MessageHub::broadcastMessage(const MessagePtr& message) {
    auto& hubs = registry();
    std::lock_guard lock(hubs.mutex);
    for (MessageHub* hub : hubs.hubs) {
        if (hub != this) {
            hub->queueMessage(message);
        }
    }
}

void MessageHub::sendMessage(const MessagePtr& message) {
    std::lock_guard lock(hubLock);
    for (MessageHub* listener : listeners) {
        listener->queueMessage(message);
    }
}

void MessageHub::queueMessage(const MessagePtr& message) {
    queue->push(message);
}

MessagePtr MessageHub::getNextMessage() {
    return queue->pop();
}

uint64_t MessageHub::getNoOfQueuedMessages() const {
    return queue->size();
}

void MessageHub::flushQueuedMessages() {
    queue->clear();
}

bool MessageHub::processMessages(int maxCount) {
    const Detail::MessageReleaseBatch batch; // the drained messages go back to the pool together
    const bool hadMessages = queue->size() != 0;
    uint64_t remaining = maxCount > 0 ? uint64_t(maxCount) : UINT64_MAX;
    for (; remaining != 0; --remaining) {
        const MessagePtr message = getNextMessage();
        if (!message) {
            break;
        }
        Message view(message->getID(), *message);
        processMessage(view);
    }
    return hadMessages;
}

void MessageHub::processMessage(Message& /*message*/) {}

std::vector<MessageHub*> MessageHub::getListeners() const {
    std::lock_guard lock(hubLock);
    return listeners;
}

std::vector<MessageHub*> MessageHub::getSenders() const {
    std::lock_guard lock(hubLock);
    return senders;
}

MessageHub* MessageHub::findHub(uint32_t id) {
    auto& hubs = registry();
    std::lock_guard lock(hubs.mutex);
    return findLocked(hubs, id);
}

} // namespace Tarn::Network
