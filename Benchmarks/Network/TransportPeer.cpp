// The receiving end of the two-process throughput benchmarks (ConnectionHubBenchmark.cpp), run by
// them as a child process so that each end has its own process and, for the hubs, its own network
// thread, as two applications talking over TCP have.
//
//   NetworkTransportPeer hub|raw|zmq
//
// It listens on 127.0.0.1, prints where on its first line of output ("<port>" or, for ZeroMQ,
// "<frames endpoint> <acknowledgement endpoint>"), serves one sender and exits when that sender
// is gone. After every batch of messages it answers with an acknowledgement of 16 bytes: the
// number of messages handled so far and this process's heap allocations so far.
//
// hub: a ConnectionHub accepted by a listener delivers to a hub that the main thread drains
// (sleeping while it is empty); the acknowledgement is a message queued on the same hub.
// raw: a blocking socket read in 64 KiB blocks and cut into frames. zmq: PULL, acknowledged on a
// PUSH socket; an empty message ends it.

#include <Tarn/Network/ConnectionHub.h>
#include <Tarn/Network/ConnectionRegistry.h>

#include "MallocCount.h"
#include "TransportPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {
using namespace Tarn::Network;
using Tarn::Bench::kPeerBatch;

constexpr auto kNoSenderDeadline = std::chrono::seconds(10);

void announce(const std::string& where) {
    std::printf("%s\n", where.c_str());
    std::fflush(stdout);
}

void fillAck(uint8_t* ack, uint64_t handled) {
    const uint64_t words[2] = {handled, Tarn::Bench::mallocCalls()};
    std::memcpy(ack, words, sizeof words);
}

// ---- hub -----------------------------------------------------------------------------------------

// Drained by the main thread, which sleeps while the queue is empty (the network thread wakes it).
class Sink : public MessageHub {
public:
    Sink() : MessageHub(0x5157) {}
    ~Sink() override { disconnectFromAllSenders(); }
    uint64_t handled = 0;

    void queueMessage(const MessagePtr& message) override {
        MessageHub::queueMessage(message);
        if (sleeping.load() && sleeping.exchange(false)) {
            std::lock_guard lock(mutex);
            wake.notify_one();
        }
    }
    void waitForMessages() {
        std::unique_lock lock(mutex);
        sleeping.store(true);
        wake.wait_for(lock, std::chrono::milliseconds(1), [&] { return getNoOfQueuedMessages() != 0; });
        sleeping.store(false);
    }

private:
    void processMessage(Message& message) override {
        uint8_t first = 0;
        message.read(&first, message.size() != 0 ? 1 : 0);
        ++handled;
    }

    alignas(64) std::atomic<bool> sleeping{false};
    std::mutex mutex;
    std::condition_variable wake;
};

class Listener : public ConnectionTCP {
public:
    explicit Listener(Sink& sink) : sink(sink) {}
    ~Listener() override { unregisterForDestruction(); }
    ConnectionTCP* accept(Socket socket, const SockaddrIn& address) override {
        if (served.load()) {
            return nullptr; // one sender only
        }
        auto* hub = new ConnectionHub(socket, address);
        hub->addListener(&sink, false);
        served.store(hub);
        return hub;
    }
    std::atomic<ConnectionHub*> served{nullptr};

private:
    Sink& sink;
};

int runHub() {
    Sink sink;
    Listener listener(sink);
    if (!listener.listen(AddrIn(127, 0, 0, 1), 0)) {
        return 1;
    }
    announce(std::to_string(listener.getLocalPort()));
    const auto start = std::chrono::steady_clock::now();
    ConnectionHub* served = nullptr;
    while (!(served = listener.served.load())) {
        if (std::chrono::steady_clock::now() - start > kNoSenderDeadline) {
            closedown();
            return 1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    uint64_t nextAck = kPeerBatch;
    while (served->isConnected()) {
        if (!sink.processMessages(0)) {
            sink.waitForMessages();
        }
        while (sink.handled >= nextAck) {
            MessagePtr ack = Message::allocate(3);
            uint8_t bytes[16];
            fillAck(bytes, sink.handled);
            ack->write(bytes, sizeof bytes);
            served->queueMessage(ack);
            nextAck += kPeerBatch;
        }
    }
    delete served; // unregisters first, waiting for the network thread
    closedown();
    return 0;
}

// ---- raw sockets ---------------------------------------------------------------------------------

int runRaw() {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 1) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return 1;
    }
    announce(std::to_string(ntohs(address.sin_port)));
    const int fd = ::accept(listener, nullptr, nullptr);
    ::close(listener);
    if (fd < 0) {
        return 1;
    }
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    std::vector<uint8_t> buffer(64 * 1024);
    size_t begin = 0;
    size_t end = 0;
    uint64_t handled = 0;
    uint64_t nextAck = kPeerBatch;
    for (;;) {
        if (begin != 0) {
            std::memmove(buffer.data(), buffer.data() + begin, end - begin);
            end -= begin;
            begin = 0;
        }
        const ssize_t got = ::recv(fd, buffer.data() + end, buffer.size() - end, 0);
        if (got <= 0) {
            break;
        }
        end += static_cast<size_t>(got);
        while (end - begin >= 16) {
            uint64_t frameLength;
            std::memcpy(&frameLength, buffer.data() + begin + 8, 8);
            if (end - begin < 16 + frameLength) {
                break;
            }
            begin += 16 + frameLength;
            ++handled;
        }
        while (handled >= nextAck) {
            uint8_t ack[16];
            fillAck(ack, handled);
            if (::send(fd, ack, sizeof ack, MSG_NOSIGNAL) != sizeof ack) {
                break;
            }
            nextAck += kPeerBatch;
        }
    }
    ::close(fd);
    return 0;
}

// ---- ZeroMQ --------------------------------------------------------------------------------------

int runZeroMQ() {
    void* context = zmq_ctx_new();
    void* pull = zmq_socket(context, ZMQ_PULL);
    void* push = zmq_socket(context, ZMQ_PUSH);
    char frames[256] = {};
    char acks[256] = {};
    size_t size = sizeof frames;
    if (zmq_bind(pull, "tcp://127.0.0.1:*") != 0 ||
        zmq_getsockopt(pull, ZMQ_LAST_ENDPOINT, frames, &size) != 0) {
        return 1;
    }
    size = sizeof acks;
    if (zmq_bind(push, "tcp://127.0.0.1:*") != 0 ||
        zmq_getsockopt(push, ZMQ_LAST_ENDPOINT, acks, &size) != 0) {
        return 1;
    }
    announce(std::string(frames) + " " + acks);
    std::vector<uint8_t> payload(64 * 1024);
    uint64_t handled = 0;
    uint64_t nextAck = kPeerBatch;
    for (;;) {
        const int got = zmq_recv(pull, payload.data(), payload.size(), 0);
        if (got <= 0) {
            break; // the sender's end mark, or a failure
        }
        ++handled;
        while (handled >= nextAck) {
            uint8_t ack[16];
            fillAck(ack, handled);
            zmq_send(push, ack, sizeof ack, 0);
            nextAck += kPeerBatch;
        }
    }
    const int linger = 0;
    zmq_setsockopt(push, ZMQ_LINGER, &linger, sizeof linger);
    zmq_close(pull);
    zmq_close(push);
    zmq_ctx_term(context);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string kind = argc > 1 ? argv[1] : "";
    if (kind == "hub") {
        return runHub();
    }
    if (kind == "raw") {
        return runRaw();
    }
    if (kind == "zmq") {
        return runZeroMQ();
    }
    std::fprintf(stderr, "usage: %s hub|raw|zmq\n", argv[0]);
    return 2;
}
