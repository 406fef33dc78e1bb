#include "Network/Internal/SocketApi.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>

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

} // namespace Tarn::Network::Detail
