#include <Tarn/Application/Threads.h>
#include <Tarn/Network/ConnectionHub.h>

#include "Network/Internal/ConnectionFlags.h"
#include "Network/Internal/MessageQueue.h"
#include "Network/Internal/NetworkLog.h"
#include "Network/Internal/SocketApi.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Tarn::Network {

using Logging::Category;

namespace {

constexpr uint64_t kHeaderSize = 16;
// Frames are gathered into one block per send, and input is read in blocks of the same size and
// cut into frames, so that small messages cost a share of a system call rather than one or two.
constexpr uint64_t kStageCapacity = 64 * 1024;
constexpr uint64_t kReceiveCapacity = 64 * 1024;
// Payloads up to this size are copied into the send block; larger ones are written from the
// message itself after their header.
constexpr uint64_t kCopyLimit = 16 * 1024;
// Input read from one connection per pass, so that one busy peer does not starve the others.
constexpr uint64_t kReadBudget = 4 * 1024 * 1024;
// The stall rule: tries, one millisecond apart, to start a message on a full socket.
constexpr int kMaxStalls = 1000;
// Below this, a frame length is not compared with the machine's memory.
constexpr uint64_t kAlwaysPlausible = uint64_t(1) << 30;

void writeHeader(uint8_t* header, uint32_t id, uint64_t length) {
    for (int i = 0; i < 4; ++i) {
        header[i] = static_cast<uint8_t>(id >> (8 * i));
    }
    std::memset(header + 4, 0, 4);
    for (int i = 0; i < 8; ++i) {
        header[8 + i] = static_cast<uint8_t>(length >> (8 * i));
    }
}

uint32_t readId(const uint8_t* header) {
    uint32_t id = 0;
    for (int i = 3; i >= 0; --i) {
        id = (id << 8) | header[i];
    }
    return id;
}

uint64_t readLength(const uint8_t* header) {
    uint64_t length = 0;
    for (int i = 7; i >= 0; --i) {
        length = (length << 8) | header[8 + i];
    }
    return length;
}

uint64_t machineLimit() {
    static const uint64_t limit = Detail::largestPossibleAllocation();
    return limit;
}

} // namespace

namespace Detail {

// The network thread's side of a hub: the send block and the receive block, each allocated on
// first use, with the socket generation each belongs to.
struct HubStreams {
    Memory::MemoryBuffer stage;
    uint64_t stagedBegin = 0; // [stagedBegin, stagedEnd) are framed but not yet written
    uint64_t stagedEnd = 0;
    uint32_t outputGeneration = 0;

    Memory::MemoryBuffer received;
    uint64_t readBegin = 0; // [readBegin, readEnd) are read but not yet cut into frames
    uint64_t readEnd = 0;
    uint32_t inputGeneration = 0;
};

} // namespace Detail

ConnectionHub::ConnectionHub(uint32_t id)
    : ConnectionTCP(), MessageHub(id), streams(std::make_unique<Detail::HubStreams>()) {
    streams->outputGeneration = streams->inputGeneration = Detail::generationOf(*this);
    queue->setWakesNetwork();
}

ConnectionHub::ConnectionHub(Socket accepted, const SockaddrIn& peer)
    : ConnectionTCP(accepted, peer, Unregistered{}), MessageHub(0),
      streams(std::make_unique<Detail::HubStreams>()) {
    streams->outputGeneration = streams->inputGeneration = Detail::generationOf(*this);
    queue->setWakesNetwork();
    addConnection(this);
}

ConnectionHub::~ConnectionHub() {
    // Before anything of this object goes: the network thread must be done with it, and no sender
    // may still reach its queue.
    unregisterForDestruction();
    disconnectFromAllSenders();
    incoming.reset();
    outgoing.reset();
}

void ConnectionHub::setMaxPayloadSize(uint64_t bytes) {
    maxPayloadSize.store(bytes, std::memory_order_relaxed);
}

uint64_t ConnectionHub::getMaxPayloadSize() const {
    return maxPayloadSize.load(std::memory_order_relaxed);
}

void ConnectionHub::handleReceivedMessage(const MessagePtr& message) {
    sendMessage(message);
}

void ConnectionHub::setWantWrite(bool on) {
    const bool set = (state.load(std::memory_order_acquire) & Detail::kFlagWantWrite) != 0;
    if (on && !set) {
        state.fetch_or(Detail::kFlagWantWrite);
    } else if (!on && set) {
        state.fetch_and(~Detail::kFlagWantWrite);
    }
}

void ConnectionHub::resetOutput() {
    outgoing.reset();
    outgoingSent = 0;
    streams->stagedBegin = streams->stagedEnd = 0;
    setWantWrite(false);
}

void ConnectionHub::resetInput() {
    incoming.reset();
    streams->readBegin = streams->readEnd = 0;
}

// Frames queued messages into the send block after what is still waiting there. A message whose
// payload is large, or does not fit, gets its header there and becomes `outgoing`, written from
// the message itself once the block is out; staging stops behind it to keep the order.
void ConnectionHub::stageMessages(bool firstOnly) {
    Detail::HubStreams& s = *streams;
    if (s.stage.size() != kStageCapacity) {
        s.stage.resize(kStageCapacity, false, false);
        if (s.stage.size() != kStageCapacity) {
            return; // out of memory: nothing is taken from the queue
        }
    }
    if (s.stagedBegin != 0) {
        std::memmove(s.stage.data(), s.stage.data() + s.stagedBegin, s.stagedEnd - s.stagedBegin);
        s.stagedEnd -= s.stagedBegin;
        s.stagedBegin = 0;
    }
    // Taken off the queue in runs under one acquisition of its lock; the framed messages are
    // dropped after each run, outside it.
    constexpr size_t kRun = 32;
    MessagePtr framed[kRun];
    bool full = true; // the last run stopped only because `framed` was full
    while (full && !outgoing && kStageCapacity - s.stagedEnd >= kHeaderSize) {
        size_t count = 0;
        queue->popWhile([&](MessagePtr&& next) {
            const uint64_t length = next->size();
            writeHeader(s.stage.data() + s.stagedEnd, next->getID(), length);
            s.stagedEnd += kHeaderSize;
            if (length > kCopyLimit || length > kStageCapacity - s.stagedEnd) {
                outgoing = std::move(next);
                outgoingSent = 0;
                return false;
            }
            if (length != 0) {
                std::memcpy(s.stage.data() + s.stagedEnd, next->data(), length);
                s.stagedEnd += length;
            }
            framed[count++] = std::move(next);
            return !firstOnly && count != kRun && kStageCapacity - s.stagedEnd >= kHeaderSize;
        });
        full = count == kRun && !firstOnly;
        for (size_t i = 0; i < count; ++i) {
            framed[i].reset();
        }
    }
}

bool ConnectionHub::processOutgoing() {
    Detail::HubStreams& s = *streams;
    const uint32_t generation = Detail::generationOf(*this);
    if (generation != s.outputGeneration) {
        // A new socket: nothing half-written on the old one may continue here.
        resetOutput();
        s.outputGeneration = generation;
    }
    if (!isConnected()) {
        resetOutput();
        flushQueuedMessages(); // nothing stale goes out after a reconnect
        return false;
    }
    if (isListening()) {
        // A listening socket has no peer: writing to it would fail and close the listener.
        flushQueuedMessages();
        return true;
    }

    // At a frame boundary with nothing in flight, the first message is staged alone; while the
    // socket takes none of it the stall rule applies, and dropping it then leaves the stream whole.
    const bool fresh = !outgoing && s.stagedBegin == s.stagedEnd;
    bool progressed = false;
    int stalls = 0;
    for (;;) {
        if (!outgoing) {
            stageMessages(fresh && !progressed);
        }
        if (s.stagedBegin == s.stagedEnd && !outgoing) {
            setWantWrite(false);
            return true;
        }
        if (s.stagedBegin != s.stagedEnd) {
            size_t sent = 0;
            if (!send(s.stage.data() + s.stagedBegin, s.stagedEnd - s.stagedBegin, sent)) {
                resetOutput();
                return false;
            }
            s.stagedBegin += sent;
            if (s.stagedBegin != s.stagedEnd) {
                if (fresh && !progressed && sent == 0) {
                    if (++stalls >= kMaxStalls) {
                        resetOutput();
                        return false;
                    }
                    Threads::sleep(1);
                    continue;
                }
                setWantWrite(true);
                return true;
            }
            progressed = true;
            s.stagedBegin = s.stagedEnd = 0;
        }
        if (outgoing) {
            const uint64_t size = outgoing->size();
            size_t sent = 0;
            if (!send(outgoing->data() + outgoingSent, size - outgoingSent, sent)) {
                resetOutput();
                return false;
            }
            outgoingSent += sent;
            if (outgoingSent != size) {
                setWantWrite(true);
                return true;
            }
            outgoing.reset(); // back to the pool with its last reference
            outgoingSent = 0;
        }
    }
}

bool ConnectionHub::beginFrame(uint32_t messageId, uint64_t length) {
    const uint64_t limit = maxPayloadSize.load(std::memory_order_relaxed);
    const auto bytes = static_cast<unsigned long long>(length);
    const auto socketValue = static_cast<long long>(getSocket());
    if (limit != 0 && length > limit) {
        Detail::connectionLog().log(Category::Warning,
                                    "Frame of %llu bytes refused on socket %lld: the limit is %llu bytes.",
                                    bytes, socketValue, static_cast<unsigned long long>(limit));
    } else if (length > kAlwaysPlausible && length > machineLimit()) {
        Detail::connectionLog().log(
            Category::Warning, "Frame of %llu bytes refused on socket %lld: more than this machine can hold.",
            bytes, socketValue);
    } else {
        try {
            MessagePtr message = Message::allocate(messageId);
            message->resize(length, false, false);
            if (message->size() == length) {
                incoming = std::move(message);
                return true;
            }
        } catch (const std::bad_alloc&) {
        }
        Detail::connectionLog().log(Category::Warning,
                                    "Frame of %llu bytes refused on socket %lld: out of memory.", bytes,
                                    socketValue);
    }
    resetInput();
    disconnect();
    return false;
}

// Cuts the bytes read so far into frames and delivers every complete one. False when a frame was
// refused (the connection is then disconnected).
bool ConnectionHub::deliverBuffered() {
    Detail::HubStreams& s = *streams;
    for (;;) {
        if (!incoming) {
            if (s.readEnd - s.readBegin < kHeaderSize) {
                return true;
            }
            const uint8_t* header = s.received.data() + s.readBegin;
            const uint32_t messageId = readId(header);
            const uint64_t length = readLength(header);
            s.readBegin += kHeaderSize;
            if (!beginFrame(messageId, length)) {
                return false;
            }
        }
        const uint64_t missing = incoming->size() - incoming->pos();
        const uint64_t take = std::min(missing, s.readEnd - s.readBegin);
        if (take != 0) {
            std::memcpy(incoming->dataFromPos(), s.received.data() + s.readBegin, take);
            incoming->seek(static_cast<int64_t>(take), Memory::MemoryBuffer::Anchor::Current);
            s.readBegin += take;
        }
        if (take != missing) {
            return true;
        }
        incoming->seek(0);
        const MessagePtr message = std::move(incoming);
        handleReceivedMessage(message);
    }
}

bool ConnectionHub::processIncoming() {
    if (isListening()) {
        return ConnectionTCP::processIncoming();
    }
    Detail::HubStreams& s = *streams;
    const uint32_t generation = Detail::generationOf(*this);
    if (generation != s.inputGeneration) {
        resetInput();
        s.inputGeneration = generation;
    }
    if (s.received.size() != kReceiveCapacity) {
        s.received.resize(kReceiveCapacity, false, false);
        if (s.received.size() != kReceiveCapacity) {
            Detail::connectionLog().log(Category::Warning,
                                        "Socket %lld: no memory for its input; disconnecting.",
                                        static_cast<long long>(getSocket()));
            disconnect();
            return false;
        }
    }

    uint64_t budget = kReadBudget;
    for (;;) {
        // A large payload with nothing buffered is read straight into its message.
        const bool direct =
            incoming && s.readBegin == s.readEnd && incoming->size() - incoming->pos() >= kReceiveCapacity;
        uint8_t* target;
        uint64_t wanted;
        if (direct) {
            target = incoming->dataFromPos();
            wanted = incoming->size() - incoming->pos();
        } else {
            if (s.readBegin == s.readEnd) {
                s.readBegin = s.readEnd = 0;
            } else if (s.readBegin != 0) {
                std::memmove(s.received.data(), s.received.data() + s.readBegin, s.readEnd - s.readBegin);
                s.readEnd -= s.readBegin;
                s.readBegin = 0;
            }
            target = s.received.data() + s.readEnd;
            wanted = kReceiveCapacity - s.readEnd;
        }
        size_t got = 0;
        if (!receiveAvailable(target, wanted, got)) {
            // Peer closed or failed (already disconnected): the partial frame is dropped. Complete
            // frames read before were delivered.
            if (Detail::generationOf(*this) != s.inputGeneration) {
                resetInput();
                s.inputGeneration = Detail::generationOf(*this);
            }
            return false;
        }
        if (got == 0) {
            return true;
        }
        if (direct) {
            incoming->seek(static_cast<int64_t>(got), Memory::MemoryBuffer::Anchor::Current);
        } else {
            s.readEnd += got;
        }
        if (!deliverBuffered()) {
            return false;
        }
        if (Detail::generationOf(*this) != s.inputGeneration) {
            // A listener closed or replaced the socket while handling a message.
            resetInput();
            s.inputGeneration = Detail::generationOf(*this);
            return false;
        }
        // A short read emptied the socket: the next pass is told when more arrives.
        if (got < wanted || got >= budget) {
            return true;
        }
        budget -= got;
    }
}

} // namespace Tarn::Network
