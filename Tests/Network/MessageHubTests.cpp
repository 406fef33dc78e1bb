#include <Tarn/Network/MessageHub.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace Tarn::Network;

namespace {
// Records what it processes and, through its queue, the order in which hubs were reached.
class RecordingHub : public MessageHub {
public:
    explicit RecordingHub(uint32_t id, std::vector<uint32_t>* arrivals = nullptr)
        : MessageHub(id), arrivals(arrivals) {}

    void queueMessage(const MessagePtr& message) override {
        if (arrivals) {
            arrivals->push_back(getID());
        }
        MessageHub::queueMessage(message);
    }

    std::vector<uint32_t> processed;
    std::vector<uint64_t> sizes;
    MessageHub* requeueTo = nullptr; // once

private:
    void processMessage(Message& message) override {
        processed.push_back(message.getID());
        sizes.push_back(message.size());
        EXPECT_EQ(message.pos(), 0u); // the handler sees the view from the start
        if (MessageHub* target = std::exchange(requeueTo, nullptr)) {
            target->queueMessage(Message::allocate(message.getID() + 100));
        }
    }

    std::vector<uint32_t>* arrivals;
};

// Each hub as "id:[listeners|senders]" (single-digit ids): one line shows both sides of every link.
std::string links(std::initializer_list<const MessageHub*> hubs) {
    const auto ids = [](const std::vector<MessageHub*>& peers) {
        std::string text;
        for (const MessageHub* peer : peers) {
            text += std::to_string(peer->getID());
        }
        return text;
    };
    std::string text;
    for (const MessageHub* hub : hubs) {
        text += (text.empty() ? "" : " ") + std::to_string(hub->getID()) + ":[" + ids(hub->getListeners()) +
                "|" + ids(hub->getSenders()) + "]";
    }
    return text;
}
} // namespace

TEST(MessageHub, LinksStaySymmetricThroughEveryOperation) {
    MessageHub a(1), b(2), c(3);
    EXPECT_TRUE(a.addListener(&b, true));
    EXPECT_FALSE(a.addListener(&b, true));
    EXPECT_EQ(links({&a, &b, &c}), "1:[2|2] 2:[1|1] 3:[|]");

    EXPECT_TRUE(c.listenTo(&a));
    EXPECT_TRUE(a.listenTo(3u));
    EXPECT_TRUE(c.addListener(2u));
    EXPECT_EQ(links({&a, &b, &c}), "1:[23|23] 2:[1|13] 3:[12|1]");

    EXPECT_TRUE(a.removeListener(&b));
    EXPECT_FALSE(a.removeListener(&b));
    EXPECT_TRUE(a.removeListener(3u));
    EXPECT_EQ(links({&a, &b, &c}), "1:[|23] 2:[1|3] 3:[12|]");

    EXPECT_TRUE(a.addListener(&b));
    EXPECT_TRUE(a.addListener(&c));
    a.removeAllListeners();
    EXPECT_EQ(links({&a, &b, &c}), "1:[|23] 2:[1|3] 3:[12|]");
    a.disconnectFromAllSenders();
    EXPECT_EQ(links({&a, &b, &c}), "1:[|] 2:[|3] 3:[2|]");
    {
        MessageHub d(4);
        d.addListener(&a, true);
        d.addListener(&b);
        c.addListener(&d);
        EXPECT_EQ(links({&a, &b, &c, &d}), "1:[4|4] 2:[|34] 3:[24|] 4:[12|13]");
    }
    EXPECT_EQ(links({&a, &b, &c}), "1:[|] 2:[|3] 3:[2|]"); // the destroyed hub is gone from every list

    // Null and unknown peers change nothing.
    EXPECT_FALSE(a.addListener(nullptr, true));
    EXPECT_FALSE(a.listenTo(nullptr, true));
    EXPECT_FALSE(a.removeListener(nullptr));
    EXPECT_FALSE(a.addListener(99u, true));
    EXPECT_FALSE(a.listenTo(99u, true));
    EXPECT_FALSE(a.removeListener(99u));
    EXPECT_EQ(MessageHub::findHub(99u), nullptr);
    EXPECT_EQ(links({&a, &b, &c}), "1:[|] 2:[|3] 3:[2|]");
}

TEST(MessageHub, SameIdBindsTheHubConstructedFirst) {
    MessageHub client(5);
    auto first = std::make_unique<MessageHub>(6);
    MessageHub second(6);
    EXPECT_EQ(MessageHub::findHub(6), first.get());
    EXPECT_TRUE(client.listenTo(6u));
    EXPECT_EQ(links({first.get(), &second, &client}), "6:[5|] 6:[|] 5:[|6]");
    first.reset();
    EXPECT_EQ(links({&second, &client}), "6:[|] 5:[|]");
    EXPECT_TRUE(client.listenTo(6u));
    EXPECT_EQ(links({&second, &client}), "6:[5|] 5:[|6]");
}

TEST(MessageHub, SendFollowsListenerOrderAndBroadcastSkipsTheSender) {
    std::vector<uint32_t> arrivals;
    MessageHub sender(4001);
    RecordingHub b(4003, &arrivals), a(4002, &arrivals);
    const MessagePtr lonely = Message::allocate(1);
    sender.sendMessage(lonely); // nobody listens
    EXPECT_EQ(lonely.use_count(), 1);
    EXPECT_TRUE(arrivals.empty());

    sender.addListener(&a);
    sender.addListener(&b);
    const MessagePtr message = Message::allocate(5);
    sender.sendMessage(message);
    EXPECT_EQ(arrivals, (std::vector<uint32_t>{4002, 4003})); // listener order, not construction order
    EXPECT_EQ(message.use_count(), 3);                        // one message shared by both queues
    EXPECT_EQ(sender.getNoOfQueuedMessages(), 0u);

    // Broadcast reaches every other hub in construction order.
    arrivals.clear();
    RecordingHub c(4004, &arrivals);
    a.broadcastMessage(Message::allocate(2));
    EXPECT_EQ(arrivals, (std::vector<uint32_t>{4003, 4004}));
    arrivals.clear();
    c.broadcastMessage(Message::allocate(3));
    EXPECT_EQ(arrivals, (std::vector<uint32_t>{4003, 4002}));
}

TEST(MessageHub, ProcessMessagesCountsAsAsked) {
    RecordingHub hub(6001);
    EXPECT_FALSE(hub.processMessages(0));
    EXPECT_FALSE(hub.processMessages(-1));
    for (uint32_t id : {1u, 2u, 3u}) {
        MessagePtr message = Message::allocate(id);
        message->write(std::string(id, 'x').data(), id);
        message->seek(1);
        hub.queueMessage(message);
    }
    EXPECT_TRUE(hub.processMessages(1));
    EXPECT_EQ(hub.processed, (std::vector<uint32_t>{1}));
    EXPECT_EQ(hub.getNoOfQueuedMessages(), 2u);
    EXPECT_TRUE(hub.processMessages(0));
    EXPECT_EQ(hub.processed, (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(hub.sizes, (std::vector<uint64_t>{1, 2, 3}));
    EXPECT_FALSE(hub.processMessages(0));

    // Negative counts drain too, including what the handler queues meanwhile.
    hub.queueMessage(Message::allocate(4));
    hub.queueMessage(Message::allocate(5));
    hub.requeueTo = &hub;
    EXPECT_TRUE(hub.processMessages(-7));
    EXPECT_EQ(hub.processed, (std::vector<uint32_t>{1, 2, 3, 4, 5, 104}));
    hub.queueMessage(Message::allocate(6));
    EXPECT_TRUE(hub.processMessages(5)); // fewer than asked for is fine
    EXPECT_EQ(hub.getNoOfQueuedMessages(), 0u);
}

TEST(MessageHub, FlushAndDestructionReturnEveryQueuedMessageToThePool) {
    // Several chunks' worth, so that the release walks past chunk boundaries; the order across
    // them is the stress test's business.
    Message::flush();
    {
        RecordingHub full(7002);
        for (int i = 0; i < 300; ++i) {
            full.queueMessage(Message::allocate(1));
        }
        EXPECT_EQ(full.getNoOfQueuedMessages(), 300u);
        full.flushQueuedMessages();
        EXPECT_EQ(full.getNoOfQueuedMessages(), 0u);
        EXPECT_EQ(Message::getPooledCount(), 300u);
        for (int i = 0; i < 200; ++i) {
            full.queueMessage(Message::allocate(2));
        }
        EXPECT_EQ(Message::getPooledCount(), 100u);
    }
    EXPECT_EQ(Message::getPooledCount(), 300u);
    Message::flush();
}

// Draining a queue hands the messages back to the pool together, yet the pool stays last in, first
// out: on the draining thread while it drains, and for every thread once the drain is over.
TEST(MessageHub, DrainedMessagesComeBackNewestFirst) {
    class AllocatingHub : public MessageHub {
    public:
        AllocatingHub() : MessageHub(7003) {}
        const Message* allocatedDuringTen = nullptr;

    private:
        void processMessage(Message& message) override {
            if (message.getID() == 10) {
                allocatedDuringTen = Message::allocate(0).get();
            }
        }
    };
    Message::flush();
    AllocatingHub hub;
    std::vector<const Message*> queued;
    for (uint32_t i = 0; i < 100; ++i) {
        MessagePtr message = Message::allocate(i);
        queued.push_back(message.get());
        hub.queueMessage(message);
    }
    EXPECT_TRUE(hub.processMessages(0));
    EXPECT_EQ(hub.allocatedDuringTen, queued[9]);

    std::vector<const Message*> handedOut;
    uint64_t pooled = 0;
    std::thread([&] {
        pooled = Message::getPooledCount();
        std::vector<MessagePtr> held;
        for (int i = 0; i < 100; ++i) {
            held.push_back(Message::allocate(1));
            handedOut.push_back(held.back().get());
        }
    }).join();
    EXPECT_EQ(pooled, 100u);
    EXPECT_EQ(handedOut, std::vector<const Message*>(queued.rbegin(), queued.rend()));
    Message::flush();
}

TEST(MessageHub, TwoHubsLinkingAndUnlinkingEachOtherDoNotDeadlock) {
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
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (finished.load() < 2 && std::chrono::steady_clock::now() < deadline) {
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
