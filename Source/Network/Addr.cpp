#include <Tarn/Network/Addr.h>

#include "Network/Internal/SocketApi.h"

#include <cstring>

namespace Tarn::Network {

namespace {
// The text is the buffer up to its first zero byte; a failed conversion leaves it all zero.
std::string toText(uint16_t family, const void* address, size_t bufferSize) {
    char buffer[65] = {};
    Detail::addressToText(family, address, buffer, bufferSize);
    return std::string(buffer, strnlen(buffer, bufferSize));
}
} // namespace

AddrIn::AddrIn(uint8_t a, uint8_t b, uint8_t c, uint8_t d)
    : address(Detail::hostToNetwork32((uint32_t(a) << 24) | (uint32_t(b) << 16) | (uint32_t(c) << 8) | d)) {}

AddrIn::AddrIn(uint32_t host) : address(Detail::hostToNetwork32(host)) {}

AddrIn::AddrIn(const uint8_t bytes[4]) : AddrIn(bytes[0], bytes[1], bytes[2], bytes[3]) {}

AddrIn::AddrIn(const in_addr& platform) {
    std::memcpy(&address, &platform, sizeof address);
}

AddrIn::AddrIn(const char* text) {
    // Parsed aside: some inet_pton implementations write a partial result before they give up on
    // trailing garbage, and unparsable text must leave the address zero.
    uint32_t parsed = 0;
    if (Detail::textToAddress(Detail::familyInet(), text, &parsed)) {
        address = parsed;
    }
}

AddrIn::AddrIn(const std::string& text) : AddrIn(text.c_str()) {}

uint8_t AddrIn::operator[](size_t i) const {
    // The word is in network order, so its bytes in memory are the octets in dotted order.
    uint8_t octets[4];
    std::memcpy(octets, &address, sizeof octets);
    return octets[i & 3];
}

uint16_t AddrIn::family() const {
    return Detail::familyInet();
}

std::string AddrIn::string() const {
    return toText(family(), &address, 22);
}

bool AddrIn::is_multicast() const {
    return ((*this)[0] & 0xF0) == 0xE0;
}

AddrIn6::AddrIn6() : bytes{} {}

AddrIn6::AddrIn6(const in6_addr& platform) {
    std::memcpy(bytes, &platform, sizeof bytes);
}

AddrIn6::AddrIn6(const char* text) : bytes{} {
    alignas(4) uint8_t parsed[16];
    if (Detail::textToAddress(Detail::familyInet6(), text, parsed)) {
        std::memcpy(bytes, parsed, sizeof bytes);
    }
}

bool AddrIn6::operator==(const AddrIn6& other) const {
    return std::memcmp(bytes, other.bytes, sizeof bytes) == 0;
}

uint16_t AddrIn6::family() const {
    return Detail::familyInet6();
}

std::string AddrIn6::string() const {
    return toText(family(), bytes, 65);
}

bool AddrIn6::is_multicast() const {
    return bytes[0] == 0xFF;
}

} // namespace Tarn::Network
