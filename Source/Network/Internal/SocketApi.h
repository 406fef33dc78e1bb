#pragma once

// The little of the socket layer that the shared networking code needs, implemented once per
// platform in Win32/ and Posix/. Declared without platform headers so that the shared code never
// sees them; the backends assert that the offsets below match the real structures.

#include <bit>
#include <cstddef>
#include <cstdint>

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

} // namespace Tarn::Network::Detail
