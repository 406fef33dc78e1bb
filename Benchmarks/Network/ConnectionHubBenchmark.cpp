// Connection hubs over TCP on loopback, beside a raw blocking socket pair doing the same work and
// ZeroMQ over TCP. Everything runs in this one process.
//
// Round trip: a 16-byte message A -> B -> A. Ours: a ConnectionHub connected to a served hub that
// echoes what it receives, both driven by the library's network thread; the benchmark thread
// queues on the client hub and polls the hub that listens to it. Raw: the 32 bytes of a frame
// written and read back on blocking sockets by an echo thread. ZeroMQ: REQ/REP. Each iteration is
// one round trip; the median and 99th percentile of the iterations are reported in microseconds.
//
// Throughput: batches of messages one way, 16-byte and 1 KiB payloads. Ours: queued on a client
// hub (at most 1024 waiting), received by a served hub, delivered to a hub that the benchmark
// thread drains as it goes. Raw: frames
// gathered into 64 KiB writes by the benchmark thread and cut apart by a reader thread. ZeroMQ:
// PUSH/PULL. Bytes per second count payload bytes.
//
// Throughput between two processes (BM_ThroughputTwoProcesses_*): the same one-way traffic, but the
// receiving end runs in a child process (NetworkTransportPeer, next to this program), so each end
// has its own process and, for the hubs, its own network thread, as two applications have. The
// peer acknowledges every batch over the same connection (ZeroMQ: on a second socket pair); each
// iteration sends a batch and waits for its acknowledgement. The raw sender gathers frames into
// 64 KiB writes as above; the raw receiver cuts them apart in the child.

#include <Tarn/Network/ConnectionHub.h>
#include <Tarn/Network/ConnectionRegistry.h>

#include "MallocCount.h"
#include "TransportPeer.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {
using namespace Tarn::Network;
using Clock = std::chrono::steady_clock;

constexpr int kBatch = 10000;
constexpr uint64_t kWindow = 1024;
constexpr auto kDeadline = std::chrono::seconds(10);

// ---- shared helpers ------------------------------------------------------------------------------

class Latencies {
public:
    void add(Clock::duration elapsed) {
        samples.push_back(std::chrono::duration<double, std::micro>(elapsed).count());
    }
    void report(benchmark::State& state) {
        if (samples.empty()) {
            return;
        }
        std::sort(samples.begin(), samples.end());
        state.counters["median_us"] = samples[samples.size() / 2];
        state.counters["p99_us"] = samples[std::min(samples.size() - 1, samples.size() * 99 / 100)];
    }

private:
    std::vector<double> samples;
};

template <typename Condition>
bool spinUntil(Condition condition) {
    const auto end = Clock::now() + kDeadline;
    while (!condition()) {
        if (Clock::now() > end) {
            return false;
        }
    }
    return true;
}

// A hub that counts what it is given, drained by the benchmark thread.
class Inbox : public MessageHub {
public:
    Inbox() : MessageHub(0xB0C5) {}
    ~Inbox() override { disconnectFromAllSenders(); }
    uint64_t count = 0;

private:
    void processMessage(Message& message) override {
        benchmark::DoNotOptimize(message.data());
        ++count;
    }
};

// Serves each client with a ConnectionHub that either echoes (no sink) or delivers to `sink`. The
// served hubs go when their client does; the destructor waits for that.
class Server : public ConnectionTCP {
public:
    explicit Server(MessageHub* sink) : sink(sink) {}
    ~Server() override {
        unregisterForDestruction();
        spinUntil([&] { return live->load() == 0; });
    }
    ConnectionTCP* accept(Socket socket, const SockaddrIn& address) override {
        auto* hub = new Served(socket, address, live);
        hub->setDeleteOnClose();
        hub->addListener(sink ? sink : hub, false);
        return hub;
    }

private:
    class Served : public ConnectionHub {
    public:
        Served(Socket socket, const SockaddrIn& address, std::shared_ptr<std::atomic<int>> live)
            : ConnectionHub(socket, address), live(std::move(live)) {
            this->live->fetch_add(1);
        }
        ~Served() override {
            unregisterForDestruction();
            live->fetch_sub(1);
        }

    private:
        std::shared_ptr<std::atomic<int>> live;
    };

    MessageHub* sink;
    std::shared_ptr<std::atomic<int>> live = std::make_shared<std::atomic<int>>(0);
};

// A connected pair of blocking TCP sockets on loopback, TCP_NODELAY on both.
struct RawPair {
    int a = -1;
    int b = -1;
    RawPair() {
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(listener, 1);
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
        a = ::socket(AF_INET, SOCK_STREAM, 0);
        ::connect(a, reinterpret_cast<sockaddr*>(&address), sizeof address);
        b = ::accept(listener, nullptr, nullptr);
        ::close(listener);
        const int on = 1;
        ::setsockopt(a, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ::setsockopt(b, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~RawPair() {
        ::close(a);
        ::close(b);
    }
};

bool writeAll(int fd, const uint8_t* data, size_t size) {
    while (size != 0) {
        const ssize_t written = ::send(fd, data, size, MSG_NOSIGNAL);
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

bool readAll(int fd, uint8_t* data, size_t size) {
    while (size != 0) {
        const ssize_t got = ::recv(fd, data, size, 0);
        if (got <= 0) {
            return false;
        }
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

void writeFrameHeader(uint8_t* at, uint32_t id, uint64_t length) {
    std::memcpy(at, &id, 4); // little-endian machine
    std::memset(at + 4, 0, 4);
    std::memcpy(at + 8, &length, 8);
}

MessagePtr makeMessage(uint32_t id, size_t size) {
    static const std::vector<uint8_t> bytes(1024, 0x5A);
    MessagePtr message = Message::allocate(id);
    message->write(bytes.data(), size);
    return message;
}

// ---- round trip ----------------------------------------------------------------------------------

void BM_RoundTrip16_ConnectionHub(benchmark::State& state) {
    Server echo(nullptr);
    if (!echo.listen(AddrIn(127, 0, 0, 1), 0)) {
        state.SkipWithError("listen failed");
        return;
    }
    Latencies latencies;
    {
        Inbox inbox;
        ConnectionHub client(0xC1);
        client.addListener(&inbox, false);
        if (!client.connect(SockaddrIn(AddrIn(127, 0, 0, 1), echo.getLocalPort()))) {
            state.SkipWithError("connect failed");
            return;
        }
        auto roundTrip = [&] {
            const uint64_t target = inbox.count + 1;
            client.queueMessage(makeMessage(1, 16));
            return spinUntil([&] {
                inbox.processMessages(0);
                return inbox.count >= target;
            });
        };
        for (int i = 0; i < 100; ++i) {
            roundTrip(); // warm-up: the pool, the connection's buffers
        }
        for (auto _ : state) {
            const auto start = Clock::now();
            if (!roundTrip()) {
                state.SkipWithError("no echo within the deadline");
                break;
            }
            latencies.add(Clock::now() - start);
        }
    }
    latencies.report(state);
}
BENCHMARK(BM_RoundTrip16_ConnectionHub)->UseRealTime()->MinTime(1.0);

void BM_RoundTrip16_RawSockets(benchmark::State& state) {
    RawPair pair;
    std::thread echo([&] {
        uint8_t frame[32];
        while (readAll(pair.b, frame, sizeof frame) && writeAll(pair.b, frame, sizeof frame)) {
        }
    });
    uint8_t frame[32] = {};
    writeFrameHeader(frame, 1, 16);
    Latencies latencies;
    for (int i = 0; i < 100; ++i) {
        writeAll(pair.a, frame, sizeof frame);
        readAll(pair.a, frame, sizeof frame);
    }
    for (auto _ : state) {
        const auto start = Clock::now();
        if (!writeAll(pair.a, frame, sizeof frame) || !readAll(pair.a, frame, sizeof frame)) {
            state.SkipWithError("socket failed");
            break;
        }
        latencies.add(Clock::now() - start);
    }
    ::shutdown(pair.a, SHUT_RDWR);
    echo.join();
    latencies.report(state);
}
BENCHMARK(BM_RoundTrip16_RawSockets)->UseRealTime()->MinTime(1.0);

void BM_RoundTrip16_ZeroMQ(benchmark::State& state) {
    void* context = zmq_ctx_new();
    void* rep = zmq_socket(context, ZMQ_REP);
    void* req = zmq_socket(context, ZMQ_REQ);
    zmq_bind(rep, "tcp://127.0.0.1:*");
    char endpoint[256] = {};
    size_t endpointSize = sizeof endpoint;
    zmq_getsockopt(rep, ZMQ_LAST_ENDPOINT, endpoint, &endpointSize);
    zmq_connect(req, endpoint);
    std::thread echo([&] {
        uint8_t payload[16];
        for (;;) {
            const int got = zmq_recv(rep, payload, sizeof payload, 0);
            if (got < 0 || zmq_send(rep, payload, static_cast<size_t>(got), 0) < 0) {
                break; // context terminated
            }
        }
        zmq_close(rep);
    });
    uint8_t payload[16] = {};
    Latencies latencies;
    for (int i = 0; i < 100; ++i) {
        zmq_send(req, payload, sizeof payload, 0);
        zmq_recv(req, payload, sizeof payload, 0);
    }
    for (auto _ : state) {
        const auto start = Clock::now();
        zmq_send(req, payload, sizeof payload, 0);
        zmq_recv(req, payload, sizeof payload, 0);
        latencies.add(Clock::now() - start);
    }
    zmq_close(req);
    zmq_ctx_shutdown(context);
    echo.join();
    zmq_ctx_term(context);
    latencies.report(state);
}
BENCHMARK(BM_RoundTrip16_ZeroMQ)->UseRealTime()->MinTime(1.0);

// ---- one-way throughput --------------------------------------------------------------------------

// One batch per iteration; a batch that fails ends the run with `failure`.
template <typename Batch>
void timeBatches(benchmark::State& state, Batch& sendBatch, const char* failure) {
    for (auto _ : state) {
        if (!sendBatch()) {
            state.SkipWithError(failure);
            break;
        }
    }
}

void BM_Throughput_ConnectionHub(benchmark::State& state) {
    const auto size = static_cast<size_t>(state.range(0));
    Inbox inbox;
    Server server(&inbox);
    if (!server.listen(AddrIn(127, 0, 0, 1), 0)) {
        state.SkipWithError("listen failed");
        return;
    }
    uint64_t mallocs = 0;
    uint64_t producerMallocs = 0;
    {
        ConnectionHub client(0xC2);
        if (!client.connect(SockaddrIn(AddrIn(127, 0, 0, 1), server.getLocalPort()))) {
            state.SkipWithError("connect failed");
            return;
        }
        uint64_t sent = 0;
        auto sendBatch = [&] {
            for (int i = 0; i < kBatch; ++i) {
                // A window, as a real sender keeps: beyond a few thousand queued messages the
                // queue grows by allocating, and the measure is of steady traffic.
                while (client.getNoOfQueuedMessages() >= kWindow) {
                    if (!inbox.processMessages(0)) {
                        std::this_thread::yield();
                    }
                }
                if (i % 256 == 0) {
                    inbox.processMessages(0);
                }
                client.queueMessage(makeMessage(2, size));
            }
            sent += kBatch;
            return spinUntil([&] {
                if (!inbox.processMessages(0)) {
                    std::this_thread::yield();
                }
                return inbox.count >= sent;
            });
        };
        sendBatch(); // warm-up: fills the pool and sizes the buffers
        const uint64_t before = Tarn::Bench::mallocCalls();
        const uint64_t producerBefore = Tarn::Bench::threadMallocCalls();
        timeBatches(state, sendBatch, "messages lost or stuck");
        mallocs = Tarn::Bench::mallocCalls() - before;
        producerMallocs = Tarn::Bench::threadMallocCalls() - producerBefore;
    }
    const double messages = double(state.iterations()) * kBatch;
    state.SetItemsProcessed(static_cast<int64_t>(messages));
    state.SetBytesProcessed(static_cast<int64_t>(messages * double(size)));
    state.counters["allocs/msg"] = double(mallocs) / messages;
    state.counters["sender_allocs/msg"] = double(producerMallocs) / messages;
}
BENCHMARK(BM_Throughput_ConnectionHub)->Arg(16)->Arg(1024)->UseRealTime()->MinTime(1.0);

void BM_Throughput_RawSockets(benchmark::State& state) {
    const auto size = static_cast<size_t>(state.range(0));
    RawPair pair;
    alignas(64) std::atomic<uint64_t> handled{0};
    std::thread reader([&] {
        std::vector<uint8_t> buffer(64 * 1024);
        size_t begin = 0;
        size_t end = 0;
        uint64_t count = 0;
        for (;;) {
            if (begin != 0) {
                std::memmove(buffer.data(), buffer.data() + begin, end - begin);
                end -= begin;
                begin = 0;
            }
            const ssize_t got = ::recv(pair.b, buffer.data() + end, buffer.size() - end, 0);
            if (got <= 0) {
                break;
            }
            end += static_cast<size_t>(got);
            while (end - begin >= 16) {
                uint64_t length;
                std::memcpy(&length, buffer.data() + begin + 8, 8);
                if (end - begin < 16 + length) {
                    break;
                }
                benchmark::DoNotOptimize(buffer.data() + begin + 16);
                begin += 16 + length;
                ++count;
            }
            handled.store(count, std::memory_order_release);
        }
    });
    std::vector<uint8_t> block(64 * 1024);
    std::vector<uint8_t> payload(size, 0x5A);
    uint64_t sent = 0;
    auto sendBatch = [&] {
        size_t used = 0;
        for (int i = 0; i < kBatch; ++i) {
            if (block.size() - used < 16 + size) {
                writeAll(pair.a, block.data(), used);
                used = 0;
            }
            writeFrameHeader(block.data() + used, 2, size);
            std::memcpy(block.data() + used + 16, payload.data(), size);
            used += 16 + size;
        }
        writeAll(pair.a, block.data(), used);
        sent += kBatch;
        return spinUntil([&] { return handled.load(std::memory_order_acquire) >= sent; });
    };
    sendBatch();
    timeBatches(state, sendBatch, "frames lost");
    ::shutdown(pair.a, SHUT_RDWR);
    reader.join();
    const double messages = double(state.iterations()) * kBatch;
    state.SetItemsProcessed(static_cast<int64_t>(messages));
    state.SetBytesProcessed(static_cast<int64_t>(messages * double(size)));
}
BENCHMARK(BM_Throughput_RawSockets)->Arg(16)->Arg(1024)->UseRealTime()->MinTime(1.0);

void BM_Throughput_ZeroMQ(benchmark::State& state) {
    const auto size = static_cast<size_t>(state.range(0));
    void* context = zmq_ctx_new();
    void* pull = zmq_socket(context, ZMQ_PULL);
    void* push = zmq_socket(context, ZMQ_PUSH);
    zmq_bind(pull, "tcp://127.0.0.1:*");
    char endpoint[256] = {};
    size_t endpointSize = sizeof endpoint;
    zmq_getsockopt(pull, ZMQ_LAST_ENDPOINT, endpoint, &endpointSize);
    zmq_connect(push, endpoint);
    alignas(64) std::atomic<uint64_t> handled{0};
    std::thread consumer([&] {
        std::vector<uint8_t> payload(1024);
        for (;;) {
            if (zmq_recv(pull, payload.data(), payload.size(), 0) < 0) {
                break; // context terminated
            }
            benchmark::DoNotOptimize(payload.data());
            handled.store(handled.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        }
        zmq_close(pull);
    });
    std::vector<uint8_t> payload(size, 0x5A);
    uint64_t sent = 0;
    auto sendBatch = [&] {
        for (int i = 0; i < kBatch; ++i) {
            zmq_send(push, payload.data(), size, 0);
        }
        sent += kBatch;
        return spinUntil([&] { return handled.load(std::memory_order_acquire) >= sent; });
    };
    sendBatch();
    const uint64_t before = Tarn::Bench::mallocCalls();
    timeBatches(state, sendBatch, "messages lost");
    const uint64_t mallocs = Tarn::Bench::mallocCalls() - before;
    zmq_close(push);
    zmq_ctx_shutdown(context);
    consumer.join();
    zmq_ctx_term(context);
    const double messages = double(state.iterations()) * kBatch;
    state.SetItemsProcessed(static_cast<int64_t>(messages));
    state.SetBytesProcessed(static_cast<int64_t>(messages * double(size)));
    state.counters["allocs/msg"] = double(mallocs) / messages;
}
BENCHMARK(BM_Throughput_ZeroMQ)->Arg(16)->Arg(1024)->UseRealTime()->MinTime(1.0);

// ---- one-way throughput between two processes ---------------------------------------------------

static_assert(Tarn::Bench::kPeerBatch == kBatch);
constexpr auto kWindowSleep = std::chrono::microseconds(100);

// The receiving process: NetworkTransportPeer from this program's directory, started with `kind`;
// `where` is the first line it prints (where it listens). Reaped on destruction, killed if it has
// not ended within the deadline.
class PeerProcess {
public:
    explicit PeerProcess(const char* kind) {
        char self[PATH_MAX] = {};
        const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
        if (length <= 0) {
            return;
        }
        std::string path(self, static_cast<size_t>(length));
        path = path.substr(0, path.rfind('/') + 1) + "NetworkTransportPeer";
        int out[2];
        if (::pipe(out) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        char* argv[] = {path.data(), const_cast<char*>(kind), nullptr};
        if (posix_spawn(&pid, path.c_str(), &actions, nullptr, argv, environ) != 0) {
            pid = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        if (pid > 0) {
            FILE* stream = ::fdopen(out[0], "r");
            char line[600] = {};
            if (stream && std::fgets(line, sizeof line, stream)) {
                where.assign(line, std::strcspn(line, "\n"));
            }
            if (stream) {
                std::fclose(stream);
            }
        } else {
            ::close(out[0]);
        }
    }
    ~PeerProcess() {
        if (pid <= 0) {
            return;
        }
        int status = 0;
        const auto end = Clock::now() + kDeadline;
        while (::waitpid(pid, &status, WNOHANG) == 0) {
            if (Clock::now() > end) {
                ::kill(pid, SIGKILL);
                ::waitpid(pid, &status, 0);
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    bool ok() const { return pid > 0 && !where.empty(); }
    std::string where;

private:
    pid_t pid = -1;
};

// The peer's acknowledgement: messages handled so far, and the peer's heap allocations so far.
struct Ack {
    uint64_t handled = 0;
    uint64_t mallocs = 0;
};

void reportTwoProcesses(benchmark::State& state, size_t size, const Ack& first, const Ack& last) {
    const double messages = double(state.iterations()) * kBatch;
    state.SetItemsProcessed(static_cast<int64_t>(messages));
    state.SetBytesProcessed(static_cast<int64_t>(messages * double(size)));
    if (last.handled > first.handled) {
        state.counters["receiver_allocs/msg"] =
            double(last.mallocs - first.mallocs) / double(last.handled - first.handled);
    }
}

class AckInbox : public MessageHub {
public:
    AckInbox() : MessageHub(0xACC) {}
    ~AckInbox() override { disconnectFromAllSenders(); }
    Ack last;

private:
    void processMessage(Message& message) override {
        Ack ack;
        if (message.read(&ack, sizeof ack) == sizeof ack) {
            last = ack;
        }
    }
};

void BM_ThroughputTwoProcesses_ConnectionHub(benchmark::State& state) {
    const auto size = static_cast<size_t>(state.range(0));
    PeerProcess peer("hub");
    if (!peer.ok()) {
        state.SkipWithError("no peer process");
        return;
    }
    AckInbox acks;
    Ack first;
    uint64_t producerMallocs = 0;
    {
        ConnectionHub client(0xC3);
        client.addListener(&acks, false);
        if (!client.connect(SockaddrIn(AddrIn(127, 0, 0, 1), static_cast<uint16_t>(std::stoi(peer.where))))) {
            state.SkipWithError("connect failed");
            return;
        }
        uint64_t sent = 0;
        auto sendBatch = [&] {
            for (int i = 0; i < kBatch; ++i) {
                // The sender sleeps while its window is full, as a blocking send does (and ZeroMQ's
                // at its high-water mark): a spinning sender takes a core from the network threads.
                while (client.getNoOfQueuedMessages() >= kWindow) {
                    std::this_thread::sleep_for(kWindowSleep);
                }
                client.queueMessage(makeMessage(2, size));
            }
            sent += kBatch;
            return spinUntil([&] {
                if (!acks.processMessages(0)) {
                    std::this_thread::sleep_for(kWindowSleep);
                }
                return acks.last.handled >= sent;
            });
        };
        sendBatch();
        first = acks.last;
        const uint64_t producerBefore = Tarn::Bench::threadMallocCalls();
        timeBatches(state, sendBatch, "messages lost or stuck");
        producerMallocs = Tarn::Bench::threadMallocCalls() - producerBefore;
    }
    reportTwoProcesses(state, size, first, acks.last);
    state.counters["sender_allocs/msg"] = double(producerMallocs) / (double(state.iterations()) * kBatch);
}
BENCHMARK(BM_ThroughputTwoProcesses_ConnectionHub)->Arg(16)->Arg(1024)->UseRealTime()->MinTime(1.0);

void BM_ThroughputTwoProcesses_RawSockets(benchmark::State& state) {
    const auto size = static_cast<size_t>(state.range(0));
    PeerProcess peer("raw");
    if (!peer.ok()) {
        state.SkipWithError("no peer process");
        return;
    }
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(peer.where)));
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        state.SkipWithError("connect failed");
        return;
    }
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    std::vector<uint8_t> block(64 * 1024);
    std::vector<uint8_t> payload(size, 0x5A);
    uint64_t sent = 0;
    Ack ack;
    auto sendBatch = [&] {
        size_t used = 0;
        for (int i = 0; i < kBatch; ++i) {
            if (block.size() - used < 16 + size) {
                writeAll(fd, block.data(), used);
                used = 0;
            }
            writeFrameHeader(block.data() + used, 2, size);
            std::memcpy(block.data() + used + 16, payload.data(), size);
            used += 16 + size;
        }
        writeAll(fd, block.data(), used);
        sent += kBatch;
        while (ack.handled < sent) {
            if (!readAll(fd, reinterpret_cast<uint8_t*>(&ack), sizeof ack)) {
                return false;
            }
        }
        return true;
    };
    sendBatch();
    const Ack first = ack;
    timeBatches(state, sendBatch, "frames lost");
    ::close(fd);
    reportTwoProcesses(state, size, first, ack);
}
BENCHMARK(BM_ThroughputTwoProcesses_RawSockets)->Arg(16)->Arg(1024)->UseRealTime()->MinTime(1.0);

void BM_ThroughputTwoProcesses_ZeroMQ(benchmark::State& state) {
    const auto size = static_cast<size_t>(state.range(0));
    PeerProcess peer("zmq");
    const size_t space = peer.where.find(' ');
    if (!peer.ok() || space == std::string::npos) {
        state.SkipWithError("no peer process");
        return;
    }
    void* context = zmq_ctx_new();
    void* push = zmq_socket(context, ZMQ_PUSH);
    void* pull = zmq_socket(context, ZMQ_PULL);
    zmq_connect(push, peer.where.substr(0, space).c_str());
    zmq_connect(pull, peer.where.substr(space + 1).c_str());
    std::vector<uint8_t> payload(size, 0x5A);
    uint64_t sent = 0;
    Ack ack;
    auto sendBatch = [&] {
        for (int i = 0; i < kBatch; ++i) {
            zmq_send(push, payload.data(), size, 0);
        }
        sent += kBatch;
        while (ack.handled < sent) {
            if (zmq_recv(pull, &ack, sizeof ack, 0) != sizeof ack) {
                return false;
            }
        }
        return true;
    };
    sendBatch();
    const Ack first = ack;
    timeBatches(state, sendBatch, "messages lost");
    zmq_send(push, nullptr, 0, 0); // the peer's end mark
    const int linger = 1000;       // a peer that died must not hold up the end
    zmq_setsockopt(push, ZMQ_LINGER, &linger, sizeof linger);
    zmq_close(push);
    zmq_close(pull);
    zmq_ctx_term(context);
    reportTwoProcesses(state, size, first, ack);
}
BENCHMARK(BM_ThroughputTwoProcesses_ZeroMQ)->Arg(16)->Arg(1024)->UseRealTime()->MinTime(1.0);

} // namespace

// The benchmark program is the application: it stops the network thread before it exits.
static const struct NetworkThreadStop {
    ~NetworkThreadStop() { closedown(); }
} networkThreadStop;
