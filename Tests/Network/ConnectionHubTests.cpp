#include <Tarn/Network/ConnectionHub.h>

#include "HubTestKit.h"
#include "LogCapture.h"
#include "LoopbackSocket.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

using namespace Tarn::Network;
using namespace Tarn::Testing;

namespace {

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
    ASSERT_EQ(collector.received.size(), 4u);
    EXPECT_EQ(collector.received[0].id, 7u);
    EXPECT_TRUE(collector.received[0].payload.empty());
    EXPECT_EQ(collector.received[1].id, 0xFFFFFFFFu);
    EXPECT_EQ(collector.received[1].payload, small);
    EXPECT_EQ(collector.received[2].id, 8u);
    EXPECT_EQ(collector.received[2].payload, std::vector<uint8_t>{42});
    EXPECT_EQ(collector.received[3].id, 11u);
    EXPECT_EQ(collector.received[3].payload, pattern(40, 2));
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

TEST_F(HubWithRawPeer, MessagesSentByAHubItListensToGoOut) {
    MessageHub producer(0x9E0D);
    ASSERT_TRUE(hub->listenTo(&producer));
    producer.sendMessage(makeMessage(5, {1, 2}));
    EXPECT_EQ(receive(18), frame(5, {1, 2}));
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
        ASSERT_EQ(collector.received.size(), 2u);
        EXPECT_EQ(collector.received[0].id, 20u);
        EXPECT_EQ(collector.received[1].id, 21u);
        EXPECT_EQ(collector.received[1].payload, pattern(5000, 5));
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
