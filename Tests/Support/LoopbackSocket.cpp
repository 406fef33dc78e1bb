#include "LoopbackSocket.h"

#if defined(_WIN32)
#include <winsock2.h>
#include <ws2tcpip.h>
using NativeSocket = SOCKET;
using Length = int;
#define TARN_CLOSE_SOCKET closesocket
#else
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
using NativeSocket = int;
using Length = socklen_t;
#define TARN_CLOSE_SOCKET ::close
#endif

#include <algorithm>
#include <thread>
#include <utility>

namespace Tarn::Testing {

namespace {
constexpr uint64_t kNone = ~uint64_t(0);

NativeSocket native(uint64_t socket) {
    return static_cast<NativeSocket>(socket);
}

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

uint64_t wrap(NativeSocket created) {
#if defined(_WIN32)
    return created == INVALID_SOCKET ? kNone : static_cast<uint64_t>(created);
#else
    return created < 0 ? kNone : static_cast<uint64_t>(created);
#endif
}

uint64_t openTcp() {
    return wrap(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
}
} // namespace

LoopbackSocket::~LoopbackSocket() {
    close();
}

LoopbackSocket::LoopbackSocket(LoopbackSocket&& other) noexcept
    : socket(std::exchange(other.socket, kNone)) {}

LoopbackSocket& LoopbackSocket::operator=(LoopbackSocket&& other) noexcept {
    if (this != &other) {
        close();
        socket = std::exchange(other.socket, kNone);
    }
    return *this;
}

LoopbackSocket LoopbackSocket::listen(uint16_t port) {
    LoopbackSocket result(openTcp());
    // A test that listens again on a port it has just served must not wait for TIME_WAIT.
    const int on = 1;
    if (result.valid()) {
        ::setsockopt(native(result.socket), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on),
                     sizeof on);
    }
    const sockaddr_in address = loopback(port);
    if (!result.valid() ||
        ::bind(native(result.socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(native(result.socket), 256) != 0) {
        result.close();
    }
    return result;
}

LoopbackSocket LoopbackSocket::connect(uint16_t port) {
    LoopbackSocket result(openTcp());
    const sockaddr_in address = loopback(port);
    if (!result.valid() ||
        ::connect(native(result.socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        result.close();
    }
    return result;
}

LoopbackSocket LoopbackSocket::accept(std::chrono::milliseconds timeout) {
    if (!waitReadable(timeout)) {
        return LoopbackSocket();
    }
    return LoopbackSocket(wrap(::accept(native(socket), nullptr, nullptr)));
}

bool LoopbackSocket::valid() const {
    return socket != kNone;
}

uint16_t LoopbackSocket::port() const {
    sockaddr_in address{};
    Length length = sizeof address;
    if (!valid() || ::getsockname(native(socket), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

bool LoopbackSocket::sendAll(const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size != 0) {
#if defined(_WIN32)
        const int sent = ::send(native(socket), bytes, static_cast<int>(size), 0);
#else
        const ssize_t sent = ::send(native(socket), bytes, size, MSG_NOSIGNAL);
#endif
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

bool LoopbackSocket::waitReadable(std::chrono::milliseconds timeout) {
    if (!valid()) {
        return false;
    }
#if defined(_WIN32)
    fd_set set;
    FD_ZERO(&set);
    FD_SET(native(socket), &set);
    timeval limit{static_cast<long>(timeout.count() / 1000),
                  static_cast<long>((timeout.count() % 1000) * 1000)};
    return ::select(0, &set, nullptr, nullptr, &limit) == 1;
#else
    pollfd entry{native(socket), POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(timeout.count())) == 1;
#endif
}

// Receives until `size` bytes are in (`discard`: until the peer closes, keeping nothing).
bool LoopbackSocket::receiveAll(void* data, size_t size, std::chrono::milliseconds timeout) {
    return receiveUntil(static_cast<char*>(data), size, false, timeout);
}

bool LoopbackSocket::waitForClose(std::chrono::milliseconds timeout) {
    char discard[4096];
    return receiveUntil(discard, sizeof discard, true, timeout);
}

bool LoopbackSocket::receiveUntil(char* bytes, size_t size, bool discard, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (discard || size != 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !waitReadable(left)) {
            return false;
        }
        const auto received =
            ::recv(native(socket), bytes, static_cast<int>(std::min<size_t>(size, 1 << 30)), 0);
        if (received <= 0) {
            return discard;
        }
        if (!discard) {
            bytes += received;
            size -= static_cast<size_t>(received);
        }
    }
    return true;
}

void LoopbackSocket::setNoDelay(bool on) {
    const int value = on ? 1 : 0;
    ::setsockopt(native(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&value),
                 sizeof value);
}

void LoopbackSocket::close() {
    if (valid()) {
        TARN_CLOSE_SOCKET(native(std::exchange(socket, kNone)));
    }
}

bool LoopbackSocket::noDelay(uint64_t socket) {
    int value = 0;
    Length length = sizeof value;
    ::getsockopt(native(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char*>(&value), &length);
    return value != 0;
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Tarn::Testing
