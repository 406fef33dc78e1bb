#include <Tarn/Network/MessageHub.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Tarn::Network;
using Clock = std::chrono::steady_clock;

namespace {
constexpr uint64_t kMessagesPerProducer = 250000;
constexpr uint32_t kProducers = 4;

// Checks, per producer (the message id), that sequence numbers arrive exactly once and in order.
class CheckingHub : public MessageHub {
public:
    CheckingHub() : MessageHub(9001) {}
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

TEST(MessageHubStress, FourProducersIntoOneHubLoseAndReorderNothing) {
    CheckingHub hub;
    std::atomic<bool> go{false};
    std::vector<std::thread> producers;
    for (uint32_t p = 0; p < kProducers; ++p) {
        producers.emplace_back([&hub, &go, p] {
            while (!go.load()) {
                std::this_thread::yield();
            }
            for (uint64_t i = 0; i < kMessagesPerProducer; ++i) {
                // Back-pressure: four producers outrun one consumer, and every message in flight
                // holds a kilobyte.
                while (hub.getNoOfQueuedMessages() > 4096) {
                    std::this_thread::yield();
                }
                MessagePtr message = Message::allocate(p);
                message->write64(i);
                hub.queueMessage(message);
            }
        });
    }
    go = true;
    const uint64_t total = kMessagesPerProducer * kProducers;
    const auto deadline = Clock::now() + std::chrono::seconds(120);
    while (hub.received + hub.faults < total && Clock::now() < deadline) {
        if (!hub.processMessages(0)) {
            std::this_thread::yield();
        }
    }
    for (auto& producer : producers) {
        producer.join();
    }
    hub.processMessages(0);
    EXPECT_EQ(hub.faults, 0u);
    EXPECT_EQ(hub.received, total);
    for (uint64_t count : hub.next) {
        EXPECT_EQ(count, kMessagesPerProducer);
    }
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
