#include "Network/Internal/SocketApi.h"

#include <winsock2.h>
#include <ws2tcpip.h>

// After the socket headers, which must come first.
#include <windows.h>

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
static_assert(offsetof(sockaddr_in, sin_family) == kSockaddrFamilyOffset && sizeof(ADDRESS_FAMILY) == 2);
static_assert(offsetof(sockaddr_in, sin_port) == kSockaddrPortOffset);
static_assert(offsetof(sockaddr_in, sin_addr) == kSockaddrInAddressOffset);
static_assert(offsetof(sockaddr_in6, sin6_family) == kSockaddrFamilyOffset);
static_assert(offsetof(sockaddr_in6, sin6_port) == kSockaddrPortOffset);
static_assert(offsetof(sockaddr_in6, sin6_addr) == kSockaddrIn6AddressOffset);
static_assert(AF_INET == 2 && AF_INET6 == 23);

static_assert(SOCK_STREAM == kSockStream && SOCK_DGRAM == kSockDatagram);
static_assert(IPPROTO_TCP == kProtoTcp && IPPROTO_UDP == kProtoUdp);
static_assert(sizeof(SOCKET) == sizeof(SocketHandle) && INVALID_SOCKET == kInvalidSocket);

namespace {
SOCKET native(SocketHandle socket) {
    return static_cast<SOCKET>(socket);
}

// Winsock takes lengths as int.
int clampLength(size_t size) {
    return static_cast<int>(std::min<size_t>(size, INT_MAX));
}

int64_t result(int count) {
    return count == SOCKET_ERROR ? -1 : static_cast<int64_t>(count);
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
    inet_ntop(family, address, buffer, size);
}

SocketHandle openSocket(uint16_t family, int32_t type, int32_t protocol) {
    // Not inherited by child processes, as close-on-exec does on Linux.
    const SOCKET created = ::WSASocketW(family, type, protocol, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    return created == INVALID_SOCKET ? kInvalidSocket : static_cast<SocketHandle>(created);
}

void closeSocket(SocketHandle socket) {
    ::closesocket(native(socket));
}

void shutdownSocket(SocketHandle socket) {
    ::shutdown(native(socket), SD_BOTH);
}

bool bindSocket(SocketHandle socket, const sockaddr* address, int32_t size) {
    return ::bind(native(socket), address, size) == 0;
}

void prepareListener(SocketHandle) {}

bool listenSocket(SocketHandle socket, int32_t backlog) {
    return ::listen(native(socket), backlog) == 0;
}

bool connectSocket(SocketHandle socket, const sockaddr* address, int32_t size) {
    return ::connect(native(socket), address, size) == 0;
}

SocketHandle acceptSocket(SocketHandle socket, sockaddr* peer, int32_t* size) {
    int length = *size;
    const SOCKET accepted = ::accept(native(socket), peer, &length);
    *size = length;
    return accepted == INVALID_SOCKET ? kInvalidSocket : static_cast<SocketHandle>(accepted);
}

int64_t sendSocket(SocketHandle socket, const void* data, size_t size) {
    return result(::send(native(socket), static_cast<const char*>(data), clampLength(size), 0));
}

int64_t receiveSocket(SocketHandle socket, void* data, size_t size) {
    return result(::recv(native(socket), static_cast<char*>(data), clampLength(size), 0));
}

int64_t sendToSocket(SocketHandle socket, const void* data, size_t size, const sockaddr* to, int32_t toSize) {
    return result(::sendto(native(socket), static_cast<const char*>(data), clampLength(size), 0, to, toSize));
}

int64_t receiveFromSocket(SocketHandle socket, void* data, size_t size, sockaddr* from, int32_t* fromSize) {
    int length = *fromSize;
    const int received =
        ::recvfrom(native(socket), static_cast<char*>(data), clampLength(size), 0, from, &length);
    *fromSize = length;
    return result(received);
}

bool localSocketAddress(SocketHandle socket, sockaddr* address, int32_t* size) {
    int length = *size;
    const bool named = ::getsockname(native(socket), address, &length) == 0;
    *size = length;
    return named;
}

bool setSocketNonBlocking(SocketHandle socket, bool on) {
    u_long value = on ? 1 : 0;
    return ::ioctlsocket(native(socket), FIONBIO, &value) == 0;
}

bool setSocketNoDelay(SocketHandle socket, bool on) {
    const int value = on ? 1 : 0;
    return ::setsockopt(native(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&value),
                        sizeof value) == 0;
}

int lastSocketError() {
    return ::WSAGetLastError();
}

int lastRuntimeError() {
    return errno;
}

bool isWouldBlock(int error) {
    return error == WSAEWOULDBLOCK;
}

std::string socketErrorText(int error) {
    std::string text = std::system_category().message(error);
    // FormatMessage ends its texts with a line break.
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.pop_back();
    }
    return hasText(text) ? text : "unknown error";
}

uint64_t largestPossibleAllocation() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!::GlobalMemoryStatusEx(&status)) {
        return UINT64_MAX;
    }
    // The commit limit: physical memory plus the page files.
    return status.ullTotalPageFile;
}

} // namespace Tarn::Network::Detail
