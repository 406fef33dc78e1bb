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

TEST(ConnectionLoad, FourProducersThroughAHubPairLoseAndReorderNothing) {
    SequenceChecker checker;
    HubServer server(&checker);
    ASSERT_TRUE(server.listen(AddrIn(127, 0, 0, 1), 0));
    ConnectionHub client(0x5E0D);
    ASSERT_TRUE(client.connect(loopbackAddress(server.getLocalPort())));
    checker.run(client, std::chrono::seconds(300));
    EXPECT_EQ(checker.faults, 0u);
    EXPECT_EQ(checker.received, checker.kTotal);
}
