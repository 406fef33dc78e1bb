#include "Demo.h"

#include <Tarn/Network/ConnectionHub.h>
#include <Tarn/Network/ConnectionRegistry.h>
#include <Tarn/Network/Message.h>
#include <Tarn/Network/MessageHub.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace TarnDemo {

// ---------------------------------------------------------------------------------------------
// Loopback echo: a ConnectionHub server and client on 127.0.0.1 exchange framed messages. The
// client sends numbered messages, each hub the server accepts sends what it receives straight
// back, and the client checks every echo: its id, its number, its bytes and its order.

namespace {

using namespace Tarn::Network;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kPingId = 0x50494E47;  // "PING"
constexpr uint32_t kBurstId = 0x42555253; // "BURS"
constexpr int kPings = 200;
constexpr int kBurst = 20000;
constexpr size_t kPayloadSize = 16;
// Messages sent and not yet back: the echo must never wait for room in the client's socket, as
// the network thread that would empty it is the one writing the echo.
constexpr int kWindow = 512;
// Longest wait for the next echo before the section fails.
constexpr auto kDeadline = std::chrono::seconds(5);

// Payload: the message's number, then bytes that depend on it, so that a swapped, shifted or
// corrupted message shows.
void fillPayload(uint8_t* bytes, uint32_t number) {
    std::memcpy(bytes, &number, 4);
    for (size_t i = 4; i < kPayloadSize; ++i) {
        bytes[i] = static_cast<uint8_t>(number * 31u + i * 7u);
    }
}

MessagePtr makeMessage(uint32_t id, uint32_t number) {
    uint8_t bytes[kPayloadSize];
    fillPayload(bytes, number);
    MessagePtr message = Message::allocate(id);
    message->write(bytes, sizeof bytes);
    return message;
}

// The client's side: keeps the echoes in arrival order, checked as they are processed.
class Inbox : public MessageHub {
public:
    Inbox() : MessageHub(0xEC40) {}
    ~Inbox() override { disconnectFromAllSenders(); }

    uint32_t received = 0; // echoes processed, in order
    std::string error;     // the first one that was wrong
    uint32_t expectedId = kPingId;

    // Processes echoes until `count` have come back in all, the first wrong one, or the deadline
    // passes with nothing new.
    bool waitFor(uint32_t count) {
        auto deadline = Clock::now() + kDeadline;
        while (received < count && error.empty()) {
            if (processMessages(0)) {
                deadline = Clock::now() + kDeadline;
            } else if (Clock::now() > deadline) {
                error = format("message %u did not come back within %lld s", received,
                               static_cast<long long>(kDeadline.count()));
            } else {
                std::this_thread::yield();
            }
        }
        return error.empty();
    }

private:
    void processMessage(Message& message) override {
        if (!error.empty()) {
            return;
        }
        uint8_t expected[kPayloadSize];
        fillPayload(expected, received);
        if (message.getID() != expectedId || message.size() != kPayloadSize ||
            std::memcmp(message.data(), expected, kPayloadSize) != 0) {
            uint32_t number = 0;
            std::memcpy(&number, message.data(), std::min<size_t>(4, message.size()));
            error =
                format("echo %u came back altered or out of order (id %#x, %llu bytes, number %u)", received,
                       message.getID(), static_cast<unsigned long long>(message.size()), number);
            return;
        }
        ++received;
    }
};

// A listener whose accept() makes a hub that echoes what it receives. The registry deletes each
// served hub when its client goes; the destructor has it delete those still open and waits.
class EchoServer : public ConnectionTCP {
public:
    ~EchoServer() override {
        unregisterForDestruction();
        {
            std::lock_guard lock(state->mutex);
            for (ConnectionHub* hub : state->alive) {
                hub->removeAndDelete();
            }
        }
        const auto deadline = Clock::now() + kDeadline;
        while (Clock::now() < deadline) {
            {
                std::lock_guard lock(state->mutex);
                if (state->alive.empty()) {
                    break;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    ConnectionTCP* accept(Socket socket, const SockaddrIn& address) override {
        auto* hub = new Served(socket, address, state);
        hub->setDeleteOnClose();
        hub->addListener(hub, false);
        std::lock_guard lock(state->mutex);
        state->alive.insert(hub);
        return hub;
    }

private:
    struct State {
        std::mutex mutex;
        std::set<ConnectionHub*> alive;
    };

    class Served : public ConnectionHub {
    public:
        Served(Socket socket, const SockaddrIn& address, std::shared_ptr<State> state)
            : ConnectionHub(socket, address), state(std::move(state)) {}
        ~Served() override {
            unregisterForDestruction();
            std::lock_guard lock(state->mutex);
            state->alive.erase(this);
        }

    private:
        std::shared_ptr<State> state;
    };

    std::shared_ptr<State> state = std::make_shared<State>();
};

double microseconds(Clock::duration elapsed) {
    return std::chrono::duration<double, std::micro>(elapsed).count();
}

Result runEcho(EchoServer& server, Inbox& inbox, ConnectionHub& client) {
    if (!server.listen(AddrIn(127, 0, 0, 1), 0)) {
        return Result::failed("could not listen on 127.0.0.1");
    }
    const uint16_t port = server.getLocalPort();
    if (!client.connect(SockaddrIn(AddrIn(127, 0, 0, 1), port))) {
        return Result::failed(format("could not connect to 127.0.0.1:%u", port));
    }
    client.addListener(&inbox, false);
    std::printf("   server listening on 127.0.0.1:%u, client connected\n", port);

    // Round trips, one message at a time.
    std::vector<double> times;
    times.reserve(kPings);
    for (uint32_t number = 0; number < kPings; ++number) {
        const auto start = Clock::now();
        client.queueMessage(makeMessage(kPingId, number));
        if (!inbox.waitFor(number + 1)) {
            return Result::failed(inbox.error);
        }
        times.push_back(microseconds(Clock::now() - start));
    }
    std::sort(times.begin(), times.end());
    std::printf("   %d pings of %u bytes, round trip: min %.0f us, median %.0f us, max %.0f us\n", kPings,
                static_cast<unsigned>(kPayloadSize), times.front(), times[times.size() / 2], times.back());

    // A burst, at most kWindow messages in flight.
    inbox.expectedId = kBurstId;
    const uint32_t first = inbox.received;
    const auto start = Clock::now();
    for (uint32_t number = first; number < first + kBurst; ++number) {
        if (number - inbox.received >= kWindow && !inbox.waitFor(number - kWindow + 1)) {
            return Result::failed(inbox.error);
        }
        client.queueMessage(makeMessage(kBurstId, number));
    }
    if (!inbox.waitFor(first + kBurst)) {
        return Result::failed(inbox.error);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("   burst of %d messages of %u bytes there and back: %.0f messages/s (%.2f s)\n", kBurst,
                static_cast<unsigned>(kPayloadSize), kBurst / seconds, seconds);
    std::printf("   %u of %d messages echoed unaltered and in order\n", inbox.received, kPings + kBurst);
    return Result::passed();
}

} // namespace

Result showEcho() {
    Result result;
    {
        // Destroyed in reverse: the client hangs up, then the server deletes what it served.
        EchoServer server;
        Inbox inbox;
        ConnectionHub client(0xEC10);
        result = runEcho(server, inbox, client);
    }
    // Nothing else in the demo uses the network: stop its thread and free the pooled messages.
    Tarn::Network::closedown();
    Message::flush();
    return result;
}

} // namespace TarnDemo
