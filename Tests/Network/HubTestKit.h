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
