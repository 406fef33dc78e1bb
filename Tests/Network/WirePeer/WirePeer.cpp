// One end of the wire test between two builds of the library (scripts/wire-test.sh runs a Linux
// and a Windows build against each other on loopback). Both ends send the same frames in their own
// direction (an empty payload, 16 bytes, 1 MiB) and check that the other's arrive exactly, so the
// frame format is the same on both.
//
//   WirePeer serve      listens on 127.0.0.1, prints "port <n>", serves one client, then exits
//   WirePeer connect N  connects to 127.0.0.1:N
//
// The client confirms with a last frame once it has everything; the server closes on it, and the
// client waits for that close, so neither end exits with frames still in flight. Exit status 0
// when everything arrived intact; every wait has a deadline.

#include <Tarn/Logging/LogManager.h>
#include <Tarn/Network/ConnectionHub.h>
#include <Tarn/Network/ConnectionRegistry.h>

#if defined(_WIN32)
#include <winsock2.h>
#endif

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

using namespace Tarn::Network;

namespace {

constexpr uint32_t kDone = 99;
constexpr size_t kSizes[] = {0, 16, 1u << 20};
constexpr auto kDeadline = std::chrono::seconds(30);

// Payload of frame `index` sent by the server (`fromServer`) or the client.
std::vector<uint8_t> payload(size_t index, bool fromServer) {
    std::vector<uint8_t> bytes(kSizes[index]);
    uint32_t state = static_cast<uint32_t>(index * 2 + (fromServer ? 1 : 0)) * 2654435761u + 7;
    for (uint8_t& byte : bytes) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        byte = static_cast<uint8_t>(state);
    }
    return bytes;
}

uint32_t idOf(size_t index, bool fromServer) {
    return (fromServer ? 0x5E000000u : 0xC1000000u) | static_cast<uint32_t>(index + 1);
}

void sendAll(ConnectionHub& hub, bool fromServer) {
    for (size_t i = 0; i < std::size(kSizes); ++i) {
        MessagePtr message = Message::allocate(idOf(i, fromServer));
        const std::vector<uint8_t> bytes = payload(i, fromServer);
        if (!bytes.empty()) {
            message->write(bytes.data(), bytes.size());
        }
        hub.queueMessage(message);
    }
}

// Checks the frames from the other end as they arrive, in order.
class Checker : public MessageHub {
public:
    explicit Checker(bool fromServer) : MessageHub(0x3C4E), fromServer(fromServer) {}
    ~Checker() override { disconnectFromAllSenders(); }
    size_t good = 0;
    bool bad = false;
    bool done = false;

private:
    void processMessage(Message& message) override {
        if (message.getID() == kDone && message.size() == 0 && good == std::size(kSizes)) {
            done = true;
            return;
        }
        const std::vector<uint8_t> expected =
            good < std::size(kSizes) ? payload(good, fromServer) : std::vector<uint8_t>();
        const bool match =
            good < std::size(kSizes) && message.getID() == idOf(good, fromServer) &&
            message.size() == expected.size() &&
            (expected.empty() || std::memcmp(message.data(), expected.data(), expected.size()) == 0);
        if (!match) {
            std::fprintf(stderr, "frame %zu: id %08x, %llu bytes: not what was sent\n", good, message.getID(),
                         static_cast<unsigned long long>(message.size()));
            bad = true;
            return;
        }
        ++good;
    }
    bool fromServer;
};

template <typename Condition>
bool waitFor(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Accepts one client as a hub that reports to `checker` and sends the server's frames.
class Server : public ConnectionTCP {
public:
    explicit Server(Checker& checker) : checker(checker) {}
    ~Server() override { unregisterForDestruction(); }
    ConnectionTCP* accept(Socket socket, const SockaddrIn& address) override {
        if (served.load()) {
            return nullptr;
        }
        auto* hub = new ConnectionHub(socket, address);
        hub->addListener(&checker, false);
        sendAll(*hub, true);
        served.store(hub);
        return hub;
    }
    std::atomic<ConnectionHub*> served{nullptr};

private:
    Checker& checker;
};

int serve() {
    Checker checker(false);
    Server server(checker);
    if (!server.listen(AddrIn(127, 0, 0, 1), 0)) {
        return 2;
    }
    std::printf("port %u\n", server.getLocalPort());
    std::fflush(stdout);
    const bool arrived = waitFor([&] {
        checker.processMessages(0);
        return checker.bad || checker.done;
    });
    std::unique_ptr<ConnectionHub> hub(server.served.load());
    return arrived && !checker.bad ? 0 : 1;
}

int connect(uint16_t port) {
    Checker checker(true);
    ConnectionHub hub(0xC11E);
    hub.addListener(&checker, false);
    if (!hub.connect(SockaddrIn(AddrIn(127, 0, 0, 1), port))) {
        return 2;
    }
    sendAll(hub, false);
    const bool arrived = waitFor([&] {
        checker.processMessages(0);
        return checker.bad || checker.good == std::size(kSizes);
    });
    if (!arrived || checker.bad) {
        return 1;
    }
    hub.queueMessage(Message::allocate(kDone));
    return waitFor([&] { return !hub.isConnected(); }) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    Tarn::Logging::setLoggerCategory(Tarn::Logging::Category::Warning);
#if defined(_WIN32)
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        return 2;
    }
#endif
    int status = 2;
    if (argc == 2 && std::strcmp(argv[1], "serve") == 0) {
        status = serve();
    } else if (argc == 3 && std::strcmp(argv[1], "connect") == 0) {
        status = connect(static_cast<uint16_t>(std::atoi(argv[2])));
    } else {
        std::fprintf(stderr, "usage: WirePeer serve | WirePeer connect <port>\n");
    }
    closedown();
#if defined(_WIN32)
    WSACleanup();
#endif
    std::printf("%s\n", status == 0 ? "ok" : "failed");
    return status;
}
