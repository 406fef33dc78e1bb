#pragma once

// Helpers shared by the connection and connection-hub tests: wire frames built by hand, a hub that
// collects what it receives, and servers whose accept() hands out connection hubs.

#include <Tarn/Network/ConnectionHub.h>
#include <Tarn/Network/MessageHub.h>

#include "LoopbackSocket.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace Tarn::Testing {

inline Network::SockaddrIn loopbackAddress(uint16_t port) {
    return Network::SockaddrIn(Network::AddrIn(127, 0, 0, 1), port);
}

/// One frame as it goes on the wire: id, four zero bytes, length, payload, all little-endian.
/// `announced` replaces the length field, for frames that lie about their size.
inline std::vector<uint8_t> frame(uint32_t id, const std::vector<uint8_t>& payload,
                                  std::optional<uint64_t> announced = std::nullopt) {
    const uint64_t length = announced.value_or(payload.size());
    std::vector<uint8_t> bytes(16, 0);
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(id >> (8 * i));
    }
    for (int i = 0; i < 8; ++i) {
        bytes[8 + i] = static_cast<uint8_t>(length >> (8 * i));
    }
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

/// `size` bytes of a pattern that depends on `seed`, so that misplaced bytes show.
inline std::vector<uint8_t> pattern(size_t size, uint32_t seed) {
    std::vector<uint8_t> bytes(size);
    uint32_t state = seed * 2654435761u + 1;
    for (auto& byte : bytes) {
        state = state * 1103515245u + 12345u;
        byte = static_cast<uint8_t>(state >> 16);
    }
    return bytes;
}

struct Received {
    uint32_t id;
    std::vector<uint8_t> payload;
};

/// A hub that keeps every message it processes. Drive it with `collect`.
class Collector : public Network::MessageHub {
public:
    explicit Collector(uint32_t id = 0xC011EC70) : MessageHub(id) {}
    ~Collector() override { disconnectFromAllSenders(); }

    /// Processes queued messages until `count` have been received in all, or the deadline.
    bool collect(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        return waitUntil(
            [&] {
                processMessages(0);
                return received.size() >= count;
            },
            timeout);
    }

    std::vector<Received> received;

private:
    void processMessage(Network::Message& message) override {
        received.push_back(
            {message.getID(), std::vector<uint8_t>(message.data(), message.data() + message.size())});
    }
};

/// Four producer threads queue numbered messages (id: the producer, payload: its 64-bit sequence
/// number) on a target hub while the test's thread processes what reaches this one, checking that
/// each producer's numbers arrive exactly once and in order.
class SequenceChecker : public Network::MessageHub {
public:
    static constexpr uint32_t kProducers = 4;
    static constexpr uint64_t kPerProducer = 250000;
    static constexpr uint64_t kTotal = kProducers * kPerProducer;

    SequenceChecker() : MessageHub(0x5E0C) {}
    ~SequenceChecker() override { disconnectFromAllSenders(); }

    /// Runs the producers against `target` until everything arrived or the deadline. A producer
    /// holds back while more than 4096 messages wait on `target` (each holds a kilobyte); each of
    /// its waits has a deadline, so a stuck consumer ends it and the count then falls short.
    void run(Network::MessageHub& target, std::chrono::seconds timeout) {
        std::atomic<bool> go{false};
        std::vector<std::thread> producers;
        for (uint32_t p = 0; p < kProducers; ++p) {
            producers.emplace_back([&target, &go, p] {
                if (!waitUntil([&] { return go.load(); })) {
                    return;
                }
                for (uint64_t i = 0; i < kPerProducer; ++i) {
                    if (target.getNoOfQueuedMessages() > 4096 &&
                        !waitUntil([&] { return target.getNoOfQueuedMessages() <= 4096; })) {
                        return;
                    }
                    Network::MessagePtr message = Network::Message::allocate(p);
                    message->write64(i);
                    target.queueMessage(message);
                }
            });
        }
        go = true;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (received + faults < kTotal && std::chrono::steady_clock::now() < deadline) {
            if (!processMessages(0)) {
                std::this_thread::yield();
            }
        }
        for (std::thread& producer : producers) {
            producer.join();
        }
        processMessages(0);
    }

    uint64_t received = 0;
    uint64_t faults = 0;

private:
    void processMessage(Network::Message& message) override {
        const uint32_t producer = message.getID();
        if (message.size() != 8 || producer >= kProducers || message.read64() != next[producer]) {
            ++faults;
            return;
        }
        ++next[producer];
        ++received;
    }

    uint64_t next[kProducers] = {};
};

/// A listener whose accept() makes a ConnectionHub for each client, owned by the registry (deleted
/// when its socket closes), links it with `peer` both ways when one is given, or makes it echo
/// what it receives otherwise. Its destructor has the registry delete the hubs still open and
/// waits for that, so no test leaves one behind.
class HubServer : public Network::ConnectionTCP {
public:
    struct State {
        std::mutex mutex;
        std::set<Network::ConnectionHub*> alive;
        std::atomic<int> accepted{0};
        std::atomic<int> destroyed{0};
    };

    class ServedHub : public Network::ConnectionHub {
    public:
        ServedHub(Socket socket, const Network::SockaddrIn& address, std::shared_ptr<State> state)
            : ConnectionHub(socket, address), state(std::move(state)) {}
        ~ServedHub() override {
            unregisterForDestruction();
            std::lock_guard lock(state->mutex);
            state->alive.erase(this);
            state->destroyed.fetch_add(1);
        }

    private:
        std::shared_ptr<State> state;
    };

    explicit HubServer(Network::MessageHub* peer = nullptr) : peer(peer) {}
    ~HubServer() override {
        unregisterForDestruction();
        {
            std::lock_guard lock(state->mutex);
            for (Network::ConnectionHub* hub : state->alive) {
                hub->removeAndDelete();
            }
        }
        waitUntil([&] {
            std::lock_guard lock(state->mutex);
            return state->alive.empty();
        });
    }

    Network::ConnectionTCP* accept(Socket socket, const Network::SockaddrIn& address) override {
        auto* hub = new ServedHub(socket, address, state);
        hub->setDeleteOnClose();
        if (peer) {
            hub->addListener(peer, true);
        } else {
            hub->addListener(hub);
        }
        {
            std::lock_guard lock(state->mutex);
            state->alive.insert(hub);
        }
        state->accepted.fetch_add(1);
        return hub;
    }

    int accepted() const { return state->accepted.load(); }
    int destroyed() const { return state->destroyed.load(); }

private:
    Network::MessageHub* peer;
    std::shared_ptr<State> state = std::make_shared<State>();
};

} // namespace Tarn::Testing
