#include <Tarn/Network/MessageHub.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
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
    std::vector<uint64_t> positions;
    MessageHub* requeueTo = nullptr;

private:
    void processMessage(Message& message) override {
        processed.push_back(message.getID());
        sizes.push_back(message.size());
        positions.push_back(message.pos());
        if (requeueTo) {
            MessageHub* target = requeueTo;
            requeueTo = nullptr; // once
            target->queueMessage(Message::allocate(message.getID() + 100));
        }
    }

    std::vector<uint32_t>* arrivals;
};

// Every link appears on both sides exactly once.
void expectSymmetric(std::initializer_list<const MessageHub*> hubs) {
    for (const MessageHub* a : hubs) {
        const auto listeners = a->getListeners();
        const auto senders = a->getSenders();
        for (const MessageHub* b : hubs) {
            const auto listed = std::count(listeners.begin(), listeners.end(), b);
            const auto sending = std::count(senders.begin(), senders.end(), b);
            EXPECT_LE(listed, 1);
            EXPECT_LE(sending, 1);
            const auto bSenders = b->getSenders();
            const auto bListeners = b->getListeners();
            EXPECT_EQ(listed, std::count(bSenders.begin(), bSenders.end(), a))
                << a->getID() << " -> " << b->getID();
            EXPECT_EQ(sending, std::count(bListeners.begin(), bListeners.end(), a))
                << b->getID() << " -> " << a->getID();
        }
    }
}

std::vector<MessageHub*> list(std::initializer_list<MessageHub*> hubs) {
    return hubs;
}
} // namespace

TEST(MessageHub, LinksStaySymmetricThroughEveryOperation) {
    MessageHub a(1001), b(1002), c(1003);

    EXPECT_TRUE(a.addListener(&b, true));
    EXPECT_EQ(a.getListeners(), list({&b}));
    EXPECT_EQ(b.getListeners(), list({&a}));
    expectSymmetric({&a, &b, &c});
    EXPECT_FALSE(a.addListener(&b, true));
    expectSymmetric({&a, &b, &c});

    EXPECT_TRUE(c.listenTo(&a));
    EXPECT_EQ(a.getListeners(), list({&b, &c}));
    EXPECT_TRUE(a.listenTo(1003u));
    EXPECT_TRUE(c.addListener(1002u));
    expectSymmetric({&a, &b, &c});

    EXPECT_TRUE(a.removeListener(&b));
    EXPECT_FALSE(a.removeListener(&b));
    EXPECT_EQ(b.getSenders(), list({&c}));
    expectSymmetric({&a, &b, &c});
    EXPECT_TRUE(a.removeListener(1003u));
    expectSymmetric({&a, &b, &c});

    a.addListener(&b);
    a.addListener(&c);
    b.addListener(&a);
    c.addListener(&a);
    a.removeAllListeners();
    EXPECT_TRUE(a.getListeners().empty());
    EXPECT_EQ(a.getSenders().size(), 2u);
    expectSymmetric({&a, &b, &c});
    a.disconnectFromAllSenders();
    EXPECT_TRUE(a.getSenders().empty());
    expectSymmetric({&a, &b, &c});

    {
        MessageHub d(1004);
        d.addListener(&a, true);
        d.addListener(&b);
        c.addListener(&d);
        expectSymmetric({&a, &b, &c, &d});
    }
    // The destroyed hub is gone from every list.
    expectSymmetric({&a, &b, &c});
    EXPECT_TRUE(a.getListeners().empty());
    EXPECT_TRUE(a.getSenders().empty());
    EXPECT_EQ(b.getSenders().size(), 1u); // c, from above
    EXPECT_EQ(c.getListeners(), list({&b}));
}

TEST(MessageHub, NullAndUnknownPeersChangeNothing) {
    MessageHub a(2001);
    EXPECT_FALSE(a.addListener(nullptr, true));
    EXPECT_FALSE(a.listenTo(nullptr, true));
    EXPECT_FALSE(a.removeListener(nullptr));
    EXPECT_FALSE(a.addListener(2999u, true));
    EXPECT_FALSE(a.listenTo(2999u, true));
    EXPECT_FALSE(a.removeListener(2999u));
    EXPECT_TRUE(a.getListeners().empty());
    EXPECT_TRUE(a.getSenders().empty());
    EXPECT_EQ(MessageHub::findHub(2999u), nullptr);
}

TEST(MessageHub, SameIdBindsTheHubConstructedFirst) {
    MessageHub client(3001);
    auto first = std::make_unique<MessageHub>(3042);
    MessageHub second(3042);
    EXPECT_EQ(MessageHub::findHub(3042), first.get());
    EXPECT_TRUE(client.listenTo(3042u));
    EXPECT_EQ(first->getListeners(), list({&client}));
    EXPECT_TRUE(second.getListeners().empty());
    first.reset();
    EXPECT_TRUE(client.getSenders().empty());
    EXPECT_TRUE(client.listenTo(3042u));
    EXPECT_EQ(second.getListeners(), list({&client}));
}

TEST(MessageHub, SendReachesListenersInOrderSharingOneMessage) {
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
    message->write32(123);
    sender.sendMessage(message);
    EXPECT_EQ(arrivals, (std::vector<uint32_t>{4002, 4003})); // listener order, not construction order
    EXPECT_EQ(message.use_count(), 3);
    EXPECT_EQ(sender.getNoOfQueuedMessages(), 0u);
    a.flushQueuedMessages();
    EXPECT_EQ(message.use_count(), 2);
    EXPECT_EQ(a.getNoOfQueuedMessages(), 0u);
    EXPECT_EQ(b.getNoOfQueuedMessages(), 1u);
}

TEST(MessageHub, BroadcastSkipsTheSenderAndFollowsConstructionOrder) {
    std::vector<uint32_t> arrivals;
    RecordingHub first(5001, &arrivals), second(5002, &arrivals), third(5003, &arrivals);
    second.broadcastMessage(Message::allocate(1));
    EXPECT_EQ(arrivals, (std::vector<uint32_t>{5001, 5003}));
    EXPECT_EQ(second.getNoOfQueuedMessages(), 0u);
    arrivals.clear();
    third.broadcastMessage(Message::allocate(2));
    EXPECT_EQ(arrivals, (std::vector<uint32_t>{5001, 5002}));
}

TEST(MessageHub, ProcessMessagesCountsAsAsked) {
    RecordingHub hub(6001);
    EXPECT_FALSE(hub.processMessages(0));
    EXPECT_FALSE(hub.processMessages(-1));
    for (uint32_t id : {1u, 2u, 3u}) {
        MessagePtr message = Message::allocate(id);
        message->write(std::string(id, 'x').data(), id);
        message->seek(1); // the handler still sees the view from the start
        hub.queueMessage(message);
    }
    EXPECT_TRUE(hub.processMessages(1));
    EXPECT_EQ(hub.processed, (std::vector<uint32_t>{1}));
    EXPECT_EQ(hub.getNoOfQueuedMessages(), 2u);
    EXPECT_TRUE(hub.processMessages(0));
    EXPECT_EQ(hub.processed, (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(hub.sizes, (std::vector<uint64_t>{1, 2, 3}));
    EXPECT_EQ(hub.positions, (std::vector<uint64_t>{0, 0, 0}));
    EXPECT_FALSE(hub.processMessages(0));

    // Negative counts drain too, including what the handler queues meanwhile.
    hub.queueMessage(Message::allocate(4));
    hub.queueMessage(Message::allocate(5));
    hub.requeueTo = &hub;
    EXPECT_TRUE(hub.processMessages(-7));
    EXPECT_EQ(hub.processed, (std::vector<uint32_t>{1, 2, 3, 4, 5, 104}));

    hub.queueMessage(Message::allocate(6));
    hub.queueMessage(Message::allocate(7));
    EXPECT_TRUE(hub.processMessages(5)); // fewer than asked for is fine
    EXPECT_EQ(hub.getNoOfQueuedMessages(), 0u);
}

TEST(MessageHub, QueueKeepsOrderAcrossGrowthAndWrapAround) {
    RecordingHub hub(7001);
    uint32_t next = 0;
    uint32_t expected = 0;
    // Interleave so that the ring wraps before and after it grows.
    for (int round = 0; round < 6; ++round) {
        for (int i = 0; i < 50 + round * 40; ++i) {
            hub.queueMessage(Message::allocate(next++));
        }
        hub.processMessages(30);
    }
    hub.processMessages(0);
    ASSERT_EQ(hub.processed.size(), next);
    for (uint32_t id : hub.processed) {
        EXPECT_EQ(id, expected++);
    }
}
