// One producer thread to one consumer thread: through a message hub, and through ZeroMQ's inproc
// PUSH/PULL pair with the same 16-byte payload. Each iteration sends a batch and waits until the
// consumer has handled all of it, so the rate is end to end.

#include <Tarn/Network/MessageHub.h>

#include "MallocCount.h"

#include <benchmark/benchmark.h>
#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace {
using namespace Tarn::Network;

constexpr int kBatch = 10000;
constexpr uint8_t kPayload[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

// A consumer thread that finds its queue empty goes to sleep at once until the producer queues
// something, as ZeroMQ's receiver does when its pipe is empty; the producer pays one flag test per
// message for it. While the consumer sleeps the producer runs ahead, and the consumer then drains
// what has gathered in one go. (A consumer that instead spins until the next single message
// arrives meets the producer on the same cache lines for every message, which costs two to four
// times the throughput on this machine: see the performance notes.)
class CountingHub : public MessageHub {
public:
    CountingHub() : MessageHub(0x7E570001) {}
    // Written by the consumer for every message: kept off the line of `sleeping`, which the
    // producer reads for every message.
    alignas(64) std::atomic<uint64_t> handled{0};
    uint64_t waits = 0; // the consumer's; read after it has been joined

    void queueMessage(const MessagePtr& message) override {
        MessageHub::queueMessage(message);
        // Only the first message after the consumer fell asleep wakes it.
        if (sleeping.load() && sleeping.exchange(false)) {
            std::lock_guard lock(mutex);
            wake.notify_one();
        }
    }

    void waitForMessages(const std::atomic<bool>& stop) {
        std::unique_lock lock(mutex);
        ++waits;
        sleeping.store(true);
        wake.wait_for(lock, std::chrono::milliseconds(1),
                      [&] { return getNoOfQueuedMessages() != 0 || stop.load(); });
        sleeping.store(false);
    }

private:
    void processMessage(Message& message) override {
        uint8_t payload[16];
        message.read(payload, sizeof payload);
        benchmark::DoNotOptimize(payload);
        handled.store(handled.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    alignas(64) std::atomic<bool> sleeping{false};
    std::mutex mutex;
    std::condition_variable wake;
};

void waitFor(const std::atomic<uint64_t>& counter, uint64_t target) {
    while (counter.load(std::memory_order_acquire) < target) {
        std::this_thread::yield();
    }
}

void BM_MessageHub_OneToOne(benchmark::State& state) {
    CountingHub hub;
    std::atomic<bool> stop{false};
    std::thread consumer([&] {
        while (!stop.load(std::memory_order_relaxed)) {
            if (!hub.processMessages(0)) {
                hub.waitForMessages(stop);
            }
        }
    });

    uint64_t sent = 0;
    auto sendBatch = [&] {
        for (int i = 0; i < kBatch; ++i) {
            MessagePtr message = Message::allocate(1);
            message->write(kPayload, sizeof kPayload);
            hub.queueMessage(message);
        }
        sent += kBatch;
        waitFor(hub.handled, sent);
    };
    sendBatch(); // warm-up: fills the pool and sizes the queue

    const uint64_t mallocsBefore = Tarn::Bench::mallocCalls();
    for (auto _ : state) {
        sendBatch();
    }
    const uint64_t mallocs = Tarn::Bench::mallocCalls() - mallocsBefore;

    stop = true;
    hub.queueMessage(Message::allocate(0)); // wakes the consumer
    consumer.join();
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["allocs/msg"] = double(mallocs) / double(state.iterations() * kBatch);
    state.counters["waits/batch"] = double(hub.waits) / double(state.iterations() + 1);
}
BENCHMARK(BM_MessageHub_OneToOne)->UseRealTime()->MinTime(1.0);

// The same work on one thread: the cost of the path itself, without any handover.
void BM_MessageHub_SameThread(benchmark::State& state) {
    CountingHub hub;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            MessagePtr message = Message::allocate(1);
            message->write(kPayload, sizeof kPayload);
            hub.queueMessage(message);
        }
        hub.processMessages(0);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_MessageHub_SameThread);

void BM_ZeroMQ_InprocPushPull(benchmark::State& state) {
    void* context = zmq_ctx_new();
    void* push = zmq_socket(context, ZMQ_PUSH);
    void* pull = zmq_socket(context, ZMQ_PULL);
    zmq_bind(pull, "inproc://bench");
    zmq_connect(push, "inproc://bench");

    alignas(64) std::atomic<uint64_t> handled{0};
    std::thread consumer([&] {
        uint8_t payload[16];
        for (;;) {
            const int received = zmq_recv(pull, payload, sizeof payload, 0);
            if (received < 0) {
                break; // context terminated
            }
            benchmark::DoNotOptimize(payload);
            handled.store(handled.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        }
        zmq_close(pull);
    });

    uint64_t sent = 0;
    auto sendBatch = [&] {
        for (int i = 0; i < kBatch; ++i) {
            zmq_send(push, kPayload, sizeof kPayload, 0);
        }
        sent += kBatch;
        waitFor(handled, sent);
    };
    sendBatch();

    const uint64_t mallocsBefore = Tarn::Bench::mallocCalls();
    for (auto _ : state) {
        sendBatch();
    }
    const uint64_t mallocs = Tarn::Bench::mallocCalls() - mallocsBefore;

    zmq_close(push);
    zmq_ctx_shutdown(context);
    consumer.join();
    zmq_ctx_term(context);
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["allocs/msg"] = double(mallocs) / double(state.iterations() * kBatch);
}
BENCHMARK(BM_ZeroMQ_InprocPushPull)->UseRealTime()->MinTime(1.0);

} // namespace
