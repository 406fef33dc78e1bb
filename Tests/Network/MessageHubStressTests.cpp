#include <Tarn/Network/MessageHub.h>

#include "HubTestKit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Tarn::Network;
using Clock = std::chrono::steady_clock;

TEST(MessageHubStress, FourProducersIntoOneHubLoseAndReorderNothing) {
    Tarn::Testing::SequenceChecker hub;
    hub.run(hub, std::chrono::seconds(120));
    EXPECT_EQ(hub.faults, 0u);
    EXPECT_EQ(hub.received, hub.kTotal);
    Message::flush();
}

TEST(MessageHubStress, TwoHubsLinkingAndUnlinkingEachOtherDoNotDeadlock) {
    // Heap-allocated and deliberately leaked on a timeout, when the threads can be neither joined
    // nor safely left with destroyed hubs.
    auto* a = new MessageHub(9101);
    auto* b = new MessageHub(9102);
    std::atomic<int> finished{0};
    auto churn = [&finished](MessageHub* self, MessageHub* other) {
        for (int i = 0; i < 10000; ++i) {
            self->addListener(other, true);
            self->sendMessage(Message::allocate(1));
            if (i % 3 == 0) {
                self->removeAllListeners();
            } else {
                self->removeListener(other);
            }
            other->listenTo(self);
            self->disconnectFromAllSenders();
            self->flushQueuedMessages();
        }
        finished.fetch_add(1);
    };
    std::thread first(churn, a, b);
    std::thread second(churn, b, a);
    const auto deadline = Clock::now() + std::chrono::seconds(60);
    while (finished.load() < 2 && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (finished.load() < 2) {
        first.detach();
        second.detach();
        FAIL() << "the hubs deadlocked";
    }
    first.join();
    second.join();
    EXPECT_EQ(a->getListeners().size(), b->getSenders().size());
    EXPECT_EQ(b->getListeners().size(), a->getSenders().size());
    delete a;
    delete b;
}
