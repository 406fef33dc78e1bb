// Byte streams from a peer into a receiving ConnectionHub, cut at arbitrary points. The hub is
// served by the library's network thread over a local stream socket pair; this program plays the
// peer. Every cut is a real read boundary: the next piece is written only once the hub has taken
// everything before it from the socket.
//
// Input: one byte choosing the hub's maximum payload size, then pieces, each a length byte and
// that many stream bytes (the last piece may be short).
//
// Properties: the hub delivers exactly the complete frames of the stream, in order, with their ids
// and payloads, and nothing else; a frame announcing more than the maximum payload size ends the
// stream there (the hub closes the connection at once, and nothing after it is delivered); a
// healthy stream leaves the connection open and the hub silent towards the peer; a final partial
// frame is dropped when the peer closes. The process survives every stream, and no wait lasts
// longer than its deadline.
//
// A limit is always set: without one, a hub accepts any length the machine could hold, and the
// fuzzer's own allocation limit would report the hub's honest attempt to allocate it. The unit
// tests cover lengths beyond any machine without a limit.

#include "FuzzCheck.h"

#include <Tarn/Logging/LogManager.h>
#include <Tarn/Network/ConnectionHub.h>
#include <Tarn/Network/MessageHub.h>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

using namespace Tarn::Network;

namespace {

constexpr uint64_t kLimits[] = {1, 16, 255, 4096, 65536, 1u << 20};
constexpr auto kDeadline = std::chrono::seconds(5);

struct Frame {
    uint32_t id;
    std::vector<uint8_t> payload;
    bool operator==(const Frame&) const = default;
};

class Collector : public MessageHub {
public:
    Collector() : MessageHub(0xF022) {}
    ~Collector() override { disconnectFromAllSenders(); }
    std::vector<Frame> frames;

private:
    void processMessage(Message& message) override {
        frames.push_back(
            {message.getID(), std::vector<uint8_t>(message.data(), message.data() + message.size())});
    }
};

uint64_t readLittleEndian(const uint8_t* bytes, int count) {
    uint64_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = (value << 8) | bytes[i];
    }
    return value;
}

// What the stream means: its complete frames, and whether it announces a refused length.
void decode(const std::vector<uint8_t>& stream, uint64_t limit, std::vector<Frame>& frames, bool& refused) {
    size_t at = 0;
    refused = false;
    while (stream.size() - at >= 16) {
        const auto id = static_cast<uint32_t>(readLittleEndian(&stream[at], 4));
        const uint64_t length = readLittleEndian(&stream[at + 8], 8);
        at += 16;
        if (length > limit) {
            refused = true;
            return;
        }
        if (stream.size() - at < length) {
            return;
        }
        frames.push_back({id, std::vector<uint8_t>(stream.begin() + static_cast<ptrdiff_t>(at),
                                                   stream.begin() + static_cast<ptrdiff_t>(at + length))});
        at += length;
    }
}

template <typename Condition>
bool waitFor(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

// Until the hub has read everything written to it, or has closed its socket.
bool waitUntilTaken(ConnectionHub& hub, int hubEnd) {
    return waitFor([&] {
        int unread = 0;
        return !hub.isConnected() || ::ioctl(hubEnd, FIONREAD, &unread) != 0 || unread == 0;
    });
}

bool writeAll(int fd, const uint8_t* data, size_t size) {
    while (size != 0) {
        const ssize_t written = ::send(fd, data, size, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// What the peer end reads now without waiting: 1 data, 0 a close, -1 nothing yet. A local
// socket closed with input unread reports a reset rather than an end of stream.
int peek(int fd) {
    uint8_t byte;
    const ssize_t got = ::recv(fd, &byte, 1, MSG_DONTWAIT);
    if (got < 0) {
        return errno == ECONNRESET ? 0 : -1;
    }
    return got > 0 ? 1 : 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Refused frames and the connection's life cycle are logged.
    Tarn::Fuzz::failOnAssertionQuietly();
    if (size == 0) {
        return 0;
    }
    const uint64_t limit = kLimits[data[0] % std::size(kLimits)];

    std::vector<std::vector<uint8_t>> pieces;
    std::vector<uint8_t> stream;
    for (size_t at = 1; at < size;) {
        const size_t length = std::min<size_t>(data[at], size - at - 1);
        pieces.emplace_back(data + at + 1, data + at + 1 + length);
        stream.insert(stream.end(), data + at + 1, data + at + 1 + length);
        at += 1 + length;
    }
    std::vector<Frame> expected;
    bool refused = false;
    decode(stream, limit, expected, refused);

    int ends[2];
    TARN_FUZZ_CHECK(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    const int peer = ends[0];
    const int hubEnd = ends[1];

    Collector collector;
    auto* hub = new ConnectionHub(static_cast<ConnectionBase::Socket>(hubEnd), SockaddrIn());
    hub->setMaxPayloadSize(limit);
    hub->addListener(&collector, false);

    for (const std::vector<uint8_t>& piece : pieces) {
        if (piece.empty()) {
            continue;
        }
        if (!writeAll(peer, piece.data(), piece.size())) {
            TARN_FUZZ_CHECK(refused); // only a refusing hub closes its end
            break;
        }
        TARN_FUZZ_CHECK(waitUntilTaken(*hub, hubEnd));
    }

    if (refused) {
        // The hub closes the connection by itself, and says nothing before it does.
        TARN_FUZZ_CHECK(waitFor([&] { return !hub->isConnected(); }));
        TARN_FUZZ_CHECK(peek(peer) == 0);
    } else {
        TARN_FUZZ_CHECK(hub->isConnected());
        TARN_FUZZ_CHECK(peek(peer) == -1);
        ::shutdown(peer, SHUT_WR);
        TARN_FUZZ_CHECK(waitFor([&] { return !hub->isConnected(); }));
    }
    ::close(peer);
    delete hub; // waits until the network thread has let go of it

    collector.processMessages(0);
    TARN_FUZZ_CHECK(collector.frames == expected);
    return 0;
}
