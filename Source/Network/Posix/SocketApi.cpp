#include "Network/Internal/SocketApi.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <system_error>

namespace Tarn::Network::Detail {

// The shared code reads and writes these structures by offset through opaque storage.
static_assert(sizeof(in_addr) == 4);
static_assert(sizeof(in6_addr) == 16 && alignof(in6_addr) <= 4);
static_assert(sizeof(sockaddr_in) == 16 && alignof(sockaddr_in) <= 4);
static_assert(sizeof(sockaddr_in6) == 28 && alignof(sockaddr_in6) <= 4);
static_assert(offsetof(sockaddr_in, sin_family) == kSockaddrFamilyOffset && sizeof(sa_family_t) == 2);
static_assert(offsetof(sockaddr_in, sin_port) == kSockaddrPortOffset);
static_assert(offsetof(sockaddr_in, sin_addr) == kSockaddrInAddressOffset);
static_assert(offsetof(sockaddr_in6, sin6_family) == kSockaddrFamilyOffset);
static_assert(offsetof(sockaddr_in6, sin6_port) == kSockaddrPortOffset);
static_assert(offsetof(sockaddr_in6, sin6_addr) == kSockaddrIn6AddressOffset);

static_assert(SOCK_STREAM == kSockStream && SOCK_DGRAM == kSockDatagram);
static_assert(IPPROTO_TCP == kProtoTcp && IPPROTO_UDP == kProtoUdp);

namespace {
int fd(SocketHandle socket) {
    return static_cast<int>(socket);
}

// One call moves at most what a 32-bit length can say, as on Windows.
size_t clampLength(size_t size) {
    return std::min<size_t>(size, INT_MAX);
}

int64_t result(ssize_t count) {
    return count < 0 ? -1 : static_cast<int64_t>(count);
}
} // namespace

uint16_t familyInet() {
    return AF_INET;
}

uint16_t familyInet6() {
    return AF_INET6;
}

bool textToAddress(uint16_t family, const char* text, void* address) {
    return text && inet_pton(family, text, address) == 1;
}

void addressToText(uint16_t family, const void* address, char* buffer, size_t size) {
    inet_ntop(family, address, buffer, static_cast<socklen_t>(size));
}

SocketHandle openSocket(uint16_t family, int32_t type, int32_t protocol) {
    const int created = ::socket(family, type | SOCK_CLOEXEC, protocol);
    return created < 0 ? kInvalidSocket : static_cast<SocketHandle>(created);
}

void closeSocket(SocketHandle socket) {
    ::close(fd(socket));
}

void shutdownSocket(SocketHandle socket) {
    ::shutdown(fd(socket), SHUT_RDWR);
}

bool bindSocket(SocketHandle socket, const sockaddr* address, int32_t size) {
    return ::bind(fd(socket), address, static_cast<socklen_t>(size)) == 0;
}

void prepareListener(SocketHandle socket) {
    const int on = 1;
    ::setsockopt(fd(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

bool listenSocket(SocketHandle socket, int32_t backlog) {
    return ::listen(fd(socket), backlog) == 0;
}

bool connectSocket(SocketHandle socket, const sockaddr* address, int32_t size) {
    if (::connect(fd(socket), address, static_cast<socklen_t>(size)) == 0) {
        return true;
    }
    if (errno != EINTR) {
        return false;
    }
    // An interrupted blocking connect goes on in the background: wait for its outcome.
    pollfd entry{fd(socket), POLLOUT, 0};
    while (::poll(&entry, 1, -1) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(fd(socket), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        return false;
    }
    errno = error;
    return error == 0;
}

SocketHandle acceptSocket(SocketHandle socket, sockaddr* peer, int32_t* size) {
    socklen_t length = static_cast<socklen_t>(*size);
    int accepted;
    do {
        accepted = ::accept4(fd(socket), peer, &length, SOCK_CLOEXEC);
    } while (accepted < 0 && errno == EINTR);
    *size = static_cast<int32_t>(length);
    return accepted < 0 ? kInvalidSocket : static_cast<SocketHandle>(accepted);
}

int64_t sendSocket(SocketHandle socket, const void* data, size_t size) {
    ssize_t sent;
    do {
        sent = ::send(fd(socket), data, clampLength(size), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return result(sent);
}

int64_t receiveSocket(SocketHandle socket, void* data, size_t size) {
    ssize_t received;
    do {
        received = ::recv(fd(socket), data, clampLength(size), 0);
    } while (received < 0 && errno == EINTR);
    return result(received);
}

int64_t sendToSocket(SocketHandle socket, const void* data, size_t size, const sockaddr* to, int32_t toSize) {
    ssize_t sent;
    do {
        sent =
            ::sendto(fd(socket), data, clampLength(size), MSG_NOSIGNAL, to, static_cast<socklen_t>(toSize));
    } while (sent < 0 && errno == EINTR);
    return result(sent);
}

int64_t receiveFromSocket(SocketHandle socket, void* data, size_t size, sockaddr* from, int32_t* fromSize) {
    socklen_t length = static_cast<socklen_t>(*fromSize);
    ssize_t received;
    do {
        received = ::recvfrom(fd(socket), data, clampLength(size), 0, from, &length);
    } while (received < 0 && errno == EINTR);
    *fromSize = static_cast<int32_t>(length);
    return result(received);
}

bool localSocketAddress(SocketHandle socket, sockaddr* address, int32_t* size) {
    socklen_t length = static_cast<socklen_t>(*size);
    const bool named = ::getsockname(fd(socket), address, &length) == 0;
    *size = static_cast<int32_t>(length);
    return named;
}

bool setSocketNonBlocking(SocketHandle socket, bool on) {
    const int flags = ::fcntl(fd(socket), F_GETFL);
    if (flags < 0) {
        return false;
    }
    return ::fcntl(fd(socket), F_SETFL, on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) == 0;
}

bool setSocketNoDelay(SocketHandle socket, bool on) {
    const int value = on ? 1 : 0;
    return ::setsockopt(fd(socket), IPPROTO_TCP, TCP_NODELAY, &value, sizeof value) == 0;
}

int lastSocketError() {
    return errno;
}

int lastRuntimeError() {
    return errno;
}

bool isWouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

std::string socketErrorText(int error) {
    std::string text = std::system_category().message(error);
    return hasText(text) ? text : "unknown error";
}

uint64_t largestPossibleAllocation() {
    struct sysinfo info {};
    if (::sysinfo(&info) != 0) {
        return UINT64_MAX;
    }
    const uint64_t unit = info.mem_unit ? info.mem_unit : 1;
    return (uint64_t(info.totalram) + uint64_t(info.totalswap)) * unit;
}

} // namespace Tarn::Network::Detail
