#pragma once

// The little of the socket layer that the shared networking code needs, implemented once per
// platform in Win32/ and Posix/. Declared without platform headers so that the shared code never
// sees them; the backends assert that the offsets below match the real structures.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

struct sockaddr;

namespace Tarn::Network::Detail {

// Byte offsets inside sockaddr_in / sockaddr_in6, identical on both platforms.
inline constexpr size_t kSockaddrFamilyOffset = 0;
inline constexpr size_t kSockaddrPortOffset = 2;
inline constexpr size_t kSockaddrInAddressOffset = 4;
inline constexpr size_t kSockaddrIn6AddressOffset = 8;

/// AF_INET and AF_INET6 of this platform.
uint16_t familyInet();
uint16_t familyInet6();

/// inet_pton into `address` (4 or 16 bytes). True on success; on failure the bytes may have been
/// written all the same.
bool textToAddress(uint16_t family, const char* text, void* address);
/// inet_ntop into `buffer` of `size` bytes; leaves the buffer as it was on failure.
void addressToText(uint16_t family, const void* address, char* buffer, size_t size);

constexpr uint32_t byteSwap32(uint32_t v) {
    return (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
}
constexpr uint16_t byteSwap16(uint16_t v) {
    return static_cast<uint16_t>((v >> 8) | (v << 8));
}
/// htonl / ntohl and htons / ntohs without the socket headers.
constexpr uint32_t hostToNetwork32(uint32_t v) {
    return std::endian::native == std::endian::little ? byteSwap32(v) : v;
}
constexpr uint16_t hostToNetwork16(uint16_t v) {
    return std::endian::native == std::endian::little ? byteSwap16(v) : v;
}
constexpr uint32_t networkToHost32(uint32_t v) {
    return hostToNetwork32(v);
}
constexpr uint16_t networkToHost16(uint16_t v) {
    return hostToNetwork16(v);
}

// ---- Sockets ------------------------------------------------------------------------------------
// A platform socket widened to 64 bits (SOCKET on Windows, a descriptor elsewhere); all bits set
// is "no socket", Winsock's INVALID_SOCKET. Calls that fail leave their code for lastSocketError().

using SocketHandle = uint64_t;
inline constexpr SocketHandle kInvalidSocket = ~SocketHandle(0);

// Socket types and protocols; the backends assert that the platform's values are these.
inline constexpr int32_t kSockStream = 1;
inline constexpr int32_t kSockDatagram = 2;
inline constexpr int32_t kProtoTcp = 6;
inline constexpr int32_t kProtoUdp = 17;

/// socket(); close-on-exec where the platform has it. kInvalidSocket on failure.
SocketHandle openSocket(uint16_t family, int32_t type, int32_t protocol);
/// closesocket() / close().
void closeSocket(SocketHandle socket);
/// shutdown() of both directions.
void shutdownSocket(SocketHandle socket);
bool bindSocket(SocketHandle socket, const sockaddr* address, int32_t size);
/// Prepares a socket for bind-and-listen. On Linux this allows the port of a listener that has
/// just closed to be taken again while its old connections linger in TIME_WAIT (a live listener
/// still keeps it); Windows needs nothing, and SO_REUSEADDR there would let another socket steal
/// a live listener's port.
void prepareListener(SocketHandle socket);
bool listenSocket(SocketHandle socket, int32_t backlog);
bool connectSocket(SocketHandle socket, const sockaddr* address, int32_t size);
/// accept(); `peer` receives up to `*size` bytes of the peer's address. kInvalidSocket on failure.
SocketHandle acceptSocket(SocketHandle socket, sockaddr* peer, int32_t* size);
/// One send()/recv()/sendto()/recvfrom() call of at most 2^31 - 1 bytes: the count moved, or -1.
/// An interrupted call is repeated. send never raises SIGPIPE.
int64_t sendSocket(SocketHandle socket, const void* data, size_t size);
int64_t receiveSocket(SocketHandle socket, void* data, size_t size);
int64_t sendToSocket(SocketHandle socket, const void* data, size_t size, const sockaddr* to, int32_t toSize);
int64_t receiveFromSocket(SocketHandle socket, void* data, size_t size, sockaddr* from, int32_t* fromSize);
/// getsockname(): the address the socket is bound to.
bool localSocketAddress(SocketHandle socket, sockaddr* address, int32_t* size);
/// FIONBIO.
bool setSocketNonBlocking(SocketHandle socket, bool on);
/// TCP_NODELAY as a 32-bit integer.
bool setSocketNoDelay(SocketHandle socket, bool on);

/// WSAGetLastError() / errno of the last failed socket call on this thread.
int lastSocketError();
/// The C runtime's errno.
int lastRuntimeError();
/// WSAEWOULDBLOCK / EAGAIN, EWOULDBLOCK.
bool isWouldBlock(int error);
/// The platform's text for a socket error code; "unknown error" when it has none.
std::string socketErrorText(int error);
/// Whether the runtime's text for an error code is the platform's own: for a code the platform
/// does not know, the C library says "Unknown error <n>" and the Windows runtime "Unknown error
/// code" (or nothing at all).
inline bool hasText(const std::string& text) {
    return !text.empty() && text.rfind("Unknown error", 0) != 0;
}

/// The largest block this machine could ever provide: physical memory plus swap or page file.
/// Frame lengths above it are refused without asking the heap.
uint64_t largestPossibleAllocation();

} // namespace Tarn::Network::Detail
