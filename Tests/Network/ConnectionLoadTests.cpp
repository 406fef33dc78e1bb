#include <Tarn/Network/ConnectionHub.h>

#include "HubTestKit.h"
#include "LoopbackSocket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace Tarn::Network;
using namespace Tarn::Testing;

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
        const std::vector<uint8_t> expected = frame(i, pattern(i, i));
        std::vector<uint8_t> echoed(expected.size());
        ASSERT_TRUE(clients[i].receiveAll(echoed.data(), echoed.size(), std::chrono::seconds(20))) << i;
        EXPECT_EQ(echoed, expected) << i;
    }
    clients.clear();
    EXPECT_TRUE(waitUntil([&] { return server.destroyed() == int(kClients); }));
}

namespace {
constexpr uint32_t kProducers = 4;
constexpr uint64_t kMessagesPerProducer = 250000;

// Checks, per producer (the message id), that sequence numbers arrive exactly once and in order.
class SequenceChecker : public MessageHub {
public:
    SequenceChecker() : MessageHub(0x5E0C) {}
    ~SequenceChecker() override { disconnectFromAllSenders(); }
    uint64_t received = 0;
    uint64_t faults = 0;
    uint64_t next[kProducers] = {};

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
};
} // namespace

TEST(ConnectionLoad, FourProducersThroughAHubPairLoseAndReorderNothing) {
    SequenceChecker checker;
    HubServer server(&checker);
    ASSERT_TRUE(server.listen(AddrIn(127, 0, 0, 1), 0));
    ConnectionHub client(0x5E0D);
    ASSERT_TRUE(client.connect(loopbackAddress(server.getLocalPort())));

    std::atomic<bool> go{false};
    std::vector<std::thread> producers;
    for (uint32_t p = 0; p < kProducers; ++p) {
        producers.emplace_back([&client, &go, p] {
            // Each wait has its own deadline: a stuck network thread ends the producer, and the
            // count below then fails.
            if (!waitUntil([&] { return go.load(); })) {
                return;
            }
            for (uint64_t i = 0; i < kMessagesPerProducer; ++i) {
                if (client.getNoOfQueuedMessages() > 4096 &&
                    !waitUntil([&] { return client.getNoOfQueuedMessages() <= 4096; })) {
                    return;
                }
                MessagePtr message = Message::allocate(p);
                message->write64(i);
                client.queueMessage(message);
            }
        });
    }
    go = true;
    const uint64_t total = kMessagesPerProducer * kProducers;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(300);
    while (checker.received + checker.faults < total && std::chrono::steady_clock::now() < deadline) {
        if (!checker.processMessages(0)) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    EXPECT_EQ(checker.faults, 0u);
    EXPECT_EQ(checker.received, total);
    for (uint32_t p = 0; p < kProducers; ++p) {
        EXPECT_EQ(checker.next[p], kMessagesPerProducer);
    }
}
