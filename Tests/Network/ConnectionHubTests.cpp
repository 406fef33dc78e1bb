#include <Tarn/Network/ConnectionHub.h>

#include "LogCapture.h"
#include "LoopbackSocket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace Tarn::Network;
using namespace Tarn::Testing;

namespace {

SockaddrIn loopbackAddress(uint16_t port) {
    return SockaddrIn(AddrIn(127, 0, 0, 1), port);
}

/// One frame as it goes on the wire: id, four zero bytes, length, payload, all little-endian.
/// `announced` replaces the length field, for frames that lie about their size.
std::vector<uint8_t> frame(uint32_t id, const std::vector<uint8_t>& payload,
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
std::vector<uint8_t> pattern(size_t size, uint32_t seed) {
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
    bool operator==(const Received&) const = default;
};

/// A hub that keeps every message it processes. Drive it with `collect`.
class Collector : public MessageHub {
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
    void processMessage(Message& message) override {
        received.push_back(
            {message.getID(), std::vector<uint8_t>(message.data(), message.data() + message.size())});
    }
};

/// Four producer threads queue numbered messages (id: the producer, payload: its 64-bit sequence
/// number) on a target hub while the test's thread processes what reaches this one, checking that
/// each producer's numbers arrive exactly once and in order.
class SequenceChecker : public MessageHub {
public:
    static constexpr uint32_t kProducers = 4;
    static constexpr uint64_t kPerProducer = 250000;
    static constexpr uint64_t kTotal = kProducers * kPerProducer;

    SequenceChecker() : MessageHub(0x5E0C) {}
    ~SequenceChecker() override { disconnectFromAllSenders(); }

    /// Runs the producers against `target` until everything arrived or the deadline. A producer
    /// holds back while more than 4096 messages wait on `target` (each holds a kilobyte); each of
    /// its waits has a deadline, so a stuck consumer ends it and the count then falls short.
    void run(MessageHub& target, std::chrono::seconds timeout) {
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
                    MessagePtr message = Message::allocate(p);
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
    void processMessage(Message& message) override {
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
/// what it receives otherwise. Its destructor waits for the registry to delete them (the tests'
/// clients, made after it, have closed by then), so that no test leaves one behind.
class HubServer : public ConnectionTCP {
public:
    explicit HubServer(MessageHub* peer = nullptr) : peer(peer) {}
    ~HubServer() override {
        unregisterForDestruction();
        waitUntil([&] { return destroyed() == accepted(); });
    }

    ConnectionTCP* accept(Socket socket, const SockaddrIn& address) override {
        auto* hub = new ServedHub(socket, address, counts);
        hub->setDeleteOnClose();
        if (peer) {
            hub->addListener(peer, true);
        } else {
            hub->addListener(hub);
        }
        counts->accepted.fetch_add(1);
        return hub;
    }

    int accepted() const { return counts->accepted.load(); }
    int destroyed() const { return counts->destroyed.load(); }

private:
    // Shared, as a hub may outlive the server when a test fails.
    struct Counts {
        std::atomic<int> accepted{0};
        std::atomic<int> destroyed{0};
    };
    struct ServedHub : ConnectionHub {
        ServedHub(Socket socket, const SockaddrIn& address, std::shared_ptr<Counts> counts)
            : ConnectionHub(socket, address), counts(std::move(counts)) {}
        ~ServedHub() override {
            unregisterForDestruction();
            counts->destroyed.fetch_add(1);
        }
        std::shared_ptr<Counts> counts;
    };

    MessageHub* peer;
    std::shared_ptr<Counts> counts = std::make_shared<Counts>();
};

MessagePtr makeMessage(uint32_t id, const std::vector<uint8_t>& payload) {
    MessagePtr message = Message::allocate(id);
    if (!payload.empty()) {
        message->write(payload.data(), payload.size());
    }
    return message;
}

// A hub connected to a raw socket that plays the peer, with a collector listening to the hub.
class HubWithRawPeer : public testing::Test {
protected:
    void SetUp() override {
        server = LoopbackSocket::listen();
        ASSERT_TRUE(server.valid());
        hub = std::make_unique<ConnectionHub>(0x4B0B);
        collector.listenTo(hub.get());
        ASSERT_TRUE(hub->connect(loopbackAddress(server.port())));
        peer = server.accept();
        ASSERT_TRUE(peer.valid());
    }

    bool send(const std::vector<uint8_t>& bytes) { return peer.sendAll(bytes.data(), bytes.size()); }

    std::vector<uint8_t> receive(size_t size) {
        std::vector<uint8_t> bytes(size);
        EXPECT_TRUE(peer.receiveAll(bytes.data(), size, std::chrono::seconds(20)));
        return bytes;
    }

    LoopbackSocket server;
    Collector collector;
    std::unique_ptr<ConnectionHub> hub;
    LoopbackSocket peer;
};

} // namespace

TEST_F(HubWithRawPeer, OutgoingFramesAreLittleEndianWithZeroPadding) {
    const std::vector<uint8_t> abc = {'a', 'b', 'c'};
    hub->queueMessage(makeMessage(0x01020304, abc));
    hub->queueMessage(makeMessage(9, {}));
    const std::vector<uint8_t> expected = {4,   3, 2, 1, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 'a', 'b',
                                           'c', 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(receive(expected.size()), expected);
    EXPECT_EQ(hub->getNoOfQueuedMessages(), 0u);

    MessageHub producer(0x9E0D); // what a hub that it listens to sends goes out too
    ASSERT_TRUE(hub->listenTo(&producer));
    producer.sendMessage(makeMessage(5, {1, 2}));
    EXPECT_EQ(receive(18), frame(5, {1, 2}));

    // Many at once, with a payload too large to copy among them: the stream keeps the order. The
    // first frame fills the socket while nothing reads, so the rest wait in the queue together.
    const std::vector<uint8_t> blocker = pattern(16u << 20, 5);
    hub->queueMessage(makeMessage(99, blocker));
    std::vector<uint8_t> stream = frame(99, blocker);
    for (uint32_t i = 0; i < 100; ++i) {
        const std::vector<uint8_t> payload =
            i == 40 ? pattern(20000, 4) : std::vector<uint8_t>(i % 3, uint8_t(i));
        hub->queueMessage(makeMessage(i, payload));
        const std::vector<uint8_t> framed = frame(i, payload);
        stream.insert(stream.end(), framed.begin(), framed.end());
    }
    EXPECT_TRUE(receive(stream.size()) == stream);
}

TEST_F(HubWithRawPeer, IncomingFramesWholeSplitAndCombined) {
    const std::vector<uint8_t> small = pattern(300, 1);
    // An empty payload, then two frames in one segment.
    ASSERT_TRUE(send(frame(7, {})));
    std::vector<uint8_t> two = frame(0xFFFFFFFF, small);
    const std::vector<uint8_t> second = frame(8, {42});
    two.insert(two.end(), second.begin(), second.end());
    ASSERT_TRUE(send(two));
    // A frame in one-byte segments.
    peer.setNoDelay(true);
    for (uint8_t byte : frame(11, pattern(40, 2))) {
        ASSERT_TRUE(peer.sendAll(&byte, 1));
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }

    ASSERT_TRUE(collector.collect(4));
    const std::vector<Received> expected = {{7, {}}, {0xFFFFFFFF, small}, {8, {42}}, {11, pattern(40, 2)}};
    EXPECT_TRUE(collector.received == expected);
}

TEST_F(HubWithRawPeer, SixtyFourMebibyteFramesBothWays) {
    const std::vector<uint8_t> big = pattern(64u << 20, 3);
    std::thread writer([&] { EXPECT_TRUE(send(frame(64, big))); });
    ASSERT_TRUE(collector.collect(1, std::chrono::seconds(60)));
    writer.join();
    EXPECT_EQ(collector.received[0].id, 64u);
    EXPECT_TRUE(collector.received[0].payload == big);

    hub->queueMessage(makeMessage(65, big));
    const std::vector<uint8_t> header = receive(16);
    EXPECT_EQ(header, std::vector<uint8_t>(frame(65, {}, big.size())));
    EXPECT_TRUE(receive(big.size()) == big);
}

TEST_F(HubWithRawPeer, ARefusedLengthDropsTheConnectionAndNothingElse) {
    struct Case {
        uint64_t limit;
        uint64_t length;
        std::string reason;
    };
    const Case cases[] = {
        {0, uint64_t(1) << 62, "more than this machine can hold"},
        {0, ~uint64_t(0), "more than this machine can hold"},
        {100, 101, "the limit is 100 bytes"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        hub->setMaxPayloadSize(c.limit);
        EXPECT_EQ(hub->getMaxPayloadSize(), c.limit);
        if (c.limit != 0) {
            ASSERT_TRUE(send(frame(1, pattern(c.limit, 4)))); // at the limit: accepted
            ASSERT_TRUE(collector.collect(1));
            EXPECT_EQ(collector.received[0].payload, pattern(c.limit, 4));
            collector.received.clear();
        }
        LogCapture capture;
        const std::string socket = std::to_string(static_cast<long long>(hub->getSocket()));
        std::vector<uint8_t> bytes = frame(2, {}, c.length);
        bytes.resize(bytes.size() + 64, 0xAB);
        ASSERT_TRUE(send(bytes));
        EXPECT_TRUE(peer.waitForClose());
        EXPECT_TRUE(waitUntil([&] { return !hub->isConnected(); }));
        EXPECT_TRUE(capture.sawLine("[Warning][Connection] Frame of " + std::to_string(c.length) +
                                    " bytes refused on socket " + socket + ": " + c.reason + "."))
            << testing::PrintToString(capture.lines());
        collector.processMessages(0);
        EXPECT_TRUE(collector.received.empty());

        // The hub and the process go on: connect again.
        ASSERT_TRUE(hub->connect(loopbackAddress(server.port())));
        peer = server.accept();
        ASSERT_TRUE(peer.valid());
        ASSERT_TRUE(send(frame(3, {3})));
        ASSERT_TRUE(collector.collect(1));
        EXPECT_EQ(collector.received[0].id, 3u);
        collector.received.clear();
    }
}

TEST_F(HubWithRawPeer, PeerClosingMidFrameDropsThePartialMessage) {
    // With auto-reconnect the hub reconnects inside the pass that found the close, with the
    // partial frame still in hand: the new stream must start afresh all the same.
    hub->enableAutoReconnect();
    const std::vector<uint8_t> whole = frame(21, pattern(5000, 5));
    for (const size_t cut : {size_t(1), size_t(8), size_t(15), size_t(16), size_t(17), whole.size() - 1}) {
        SCOPED_TRACE(cut);
        ASSERT_TRUE(send(frame(20, {20}))); // a complete frame before the cut arrives
        ASSERT_TRUE(peer.sendAll(whole.data(), cut));
        peer.close();
        peer = server.accept();
        ASSERT_TRUE(peer.valid());
        ASSERT_TRUE(send(whole));
        ASSERT_TRUE(collector.collect(2));
        collector.processMessages(0);
        EXPECT_TRUE(collector.received == (std::vector<Received>{{20, {20}}, {21, pattern(5000, 5)}}));
        collector.received.clear();
    }
    hub->disableAutoReconnect();
}

TEST_F(HubWithRawPeer, AReconnectingHubFindsARestartedListener) {
    const uint16_t port = server.port();
    hub->enableAutoReconnect();
    server.close();
    peer.close();
    // Refused attempts follow one another while nothing listens; then the listener returns.
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    server = LoopbackSocket::listen(port);
    ASSERT_TRUE(server.valid());
    peer = server.accept(std::chrono::seconds(10));
    ASSERT_TRUE(peer.valid());
    hub->queueMessage(makeMessage(30, {3, 0}));
    EXPECT_EQ(receive(18), frame(30, {3, 0}));
    ASSERT_TRUE(send(frame(31, {3, 1})));
    ASSERT_TRUE(collector.collect(1));
    EXPECT_EQ(collector.received[0].id, 31u);
    hub->disableAutoReconnect();
}

TEST(ConnectionHub, MessagesQueuedWithoutAPeerAreDroppedAndAListenerGoesOnListening) {
    const uint16_t port = LoopbackSocket::listen().port(); // nothing listens there any more
    ConnectionHub closed(0x4B0C);
    closed.enableAutoReconnect();
    EXPECT_FALSE(closed.connect(loopbackAddress(port)));
    ConnectionHub listener(0x4B10);
    ASSERT_TRUE(listener.listen(AddrIn(127, 0, 0, 1), 0));
    for (ConnectionHub* hub : {&closed, &listener}) {
        hub->queueMessage(Message::allocate(1));
        hub->queueMessage(Message::allocate(2));
        EXPECT_TRUE(waitUntil([&] { return hub->getNoOfQueuedMessages() == 0; }));
    }
    EXPECT_TRUE(listener.isListening());
    LoopbackSocket client = LoopbackSocket::connect(listener.getLocalPort());
    EXPECT_TRUE(client.waitForClose()); // accepted and refused by the base accept
}

TEST(ConnectionHub, EchoThroughAServedHub) {
    HubServer server; // echoes
    ASSERT_TRUE(server.listen(AddrIn(127, 0, 0, 1), 0));
    Collector collector;
    {
        ConnectionHub client(0x4B0D);
        collector.listenTo(&client);
        ASSERT_TRUE(client.connect(loopbackAddress(server.getLocalPort())));
        std::vector<std::vector<uint8_t>> payloads;
        for (uint32_t i = 0; i < 200; ++i) {
            payloads.push_back(pattern(i % 7 == 0 ? 70000 + i : i * 13, i));
            client.queueMessage(makeMessage(i, payloads.back()));
        }
        ASSERT_TRUE(collector.collect(payloads.size(), std::chrono::seconds(60)));
        for (uint32_t i = 0; i < payloads.size(); ++i) {
            EXPECT_EQ(collector.received[i].id, i);
            EXPECT_TRUE(collector.received[i].payload == payloads[i]) << i;
        }
        EXPECT_EQ(server.accepted(), 1);
    }
    // The client's hub is gone, its socket closed: the registry deletes the served hub.
    EXPECT_TRUE(waitUntil([&] { return server.destroyed() == 1; }));
}

TEST(ConnectionHub, DestroyedWhileTheNetworkThreadWorksOnIt) {
    HubServer server; // echoes
    ASSERT_TRUE(server.listen(AddrIn(127, 0, 0, 1), 0));
    Collector collector;
    for (int round = 0; round < 20; ++round) {
        auto client = std::make_unique<ConnectionHub>(0x4B0E);
        collector.listenTo(client.get());
        ASSERT_TRUE(client->connect(loopbackAddress(server.getLocalPort())));
        for (uint32_t i = 0; i < 300; ++i) {
            client->queueMessage(makeMessage(i, pattern(i * 31, i)));
        }
        if (round % 2) {
            std::this_thread::sleep_for(std::chrono::milliseconds(round));
        }
        client.reset(); // mid-flight in both directions
        collector.processMessages(0);
    }
    EXPECT_TRUE(waitUntil([&] { return server.destroyed() == server.accepted(); }));
    EXPECT_EQ(server.accepted(), 20);
}

// More connections than one wait watches (64): every one must still be served, in both directions.
TEST(ConnectionLoad, OneHundredThirtyConnectionsAreAllServed) {
    constexpr uint32_t kClients = 130;
    HubServer server; // echoes
    ASSERT_TRUE(server.listen(AddrIn(127, 0, 0, 1), 0));
    std::vector<LoopbackSocket> clients;
    for (uint32_t i = 0; i < kClients; ++i) {
        clients.push_back(LoopbackSocket::connect(server.getLocalPort()));
        ASSERT_TRUE(clients.back().valid()) << i;
    }
    ASSERT_TRUE(waitUntil([&] { return server.accepted() == int(kClients); }));
    for (uint32_t i = 0; i < kClients; ++i) {
        const std::vector<uint8_t> bytes = frame(i, pattern(i, i));
        ASSERT_TRUE(clients[i].sendAll(bytes.data(), bytes.size()));
    }
    for (uint32_t i = 0; i < kClients; ++i) {
        std::vector<uint8_t> echoed(16 + i);
        ASSERT_TRUE(clients[i].receiveAll(echoed.data(), echoed.size(), std::chrono::seconds(20))) << i;
        EXPECT_EQ(echoed, frame(i, pattern(i, i))) << i;
    }
    clients.clear();
    EXPECT_TRUE(waitUntil([&] { return server.destroyed() == int(kClients); }));
}

// Into one hub on this thread, then through a pair of connection hubs over TCP.
TEST(ConnectionLoad, FourProducersLoseAndReorderNothing) {
    {
        SequenceChecker hub;
        hub.run(hub, std::chrono::seconds(120));
        EXPECT_EQ(hub.faults, 0u);
        EXPECT_EQ(hub.received, hub.kTotal);
    }
    Message::flush();
    SequenceChecker checker;
    HubServer server(&checker);
    ASSERT_TRUE(server.listen(AddrIn(127, 0, 0, 1), 0));
    ConnectionHub client(0x5E0D);
    ASSERT_TRUE(client.connect(loopbackAddress(server.getLocalPort())));
    checker.run(client, std::chrono::seconds(300));
    EXPECT_EQ(checker.faults, 0u);
    EXPECT_EQ(checker.received, checker.kTotal);
}
