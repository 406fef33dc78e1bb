#include <Tarn/Network/Sockaddr.h>

#include "Network/Internal/SocketApi.h"

#include <cstring>

namespace Tarn::Network {

using namespace Detail;

uint16_t Sockaddr::portOf(const uint8_t* storage) {
    uint16_t port;
    std::memcpy(&port, storage + kSockaddrPortOffset, sizeof port);
    return networkToHost16(port);
}

void Sockaddr::initialise(uint8_t* storage, size_t size, uint16_t family, uint16_t port) {
    std::memset(storage, 0, size);
    std::memcpy(storage + kSockaddrFamilyOffset, &family, sizeof family);
    const uint16_t networkPort = hostToNetwork16(port);
    std::memcpy(storage + kSockaddrPortOffset, &networkPort, sizeof networkPort);
}

SockaddrIn::SockaddrIn() {
    initialise(storage, sizeof storage, familyInet(), 0);
}

SockaddrIn::SockaddrIn(const AddrIn& ip, uint16_t port) {
    initialise(storage, sizeof storage, familyInet(), port);
    const uint32_t address = ip.networkOrder();
    std::memcpy(storage + kSockaddrInAddressOffset, &address, sizeof address);
}

SockaddrIn::SockaddrIn(const sockaddr_in& address) {
    std::memcpy(storage, &address, sizeof storage);
}

AddrIn SockaddrIn::ip() const {
    uint8_t octets[4];
    std::memcpy(octets, storage + kSockaddrInAddressOffset, sizeof octets);
    return AddrIn(octets);
}

uint16_t SockaddrIn::family() const {
    return familyInet();
}

uint16_t SockaddrIn::port() const {
    return portOf(storage);
}

const sockaddr* SockaddrIn::getPtr() const {
    return reinterpret_cast<const sockaddr*>(storage);
}

sockaddr* SockaddrIn::getPtr() {
    return reinterpret_cast<sockaddr*>(storage);
}

SockaddrIn6::SockaddrIn6() {
    initialise(storage, sizeof storage, familyInet6(), 0);
}

SockaddrIn6::SockaddrIn6(const AddrIn6& ip, uint16_t port) {
    initialise(storage, sizeof storage, familyInet6(), port);
    std::memcpy(storage + kSockaddrIn6AddressOffset, ip.data(), 16);
}

SockaddrIn6::SockaddrIn6(const sockaddr_in6& address) {
    std::memcpy(storage, &address, sizeof storage);
}

AddrIn6 SockaddrIn6::ip() const {
    return AddrIn6(*reinterpret_cast<const in6_addr*>(storage + kSockaddrIn6AddressOffset));
}

uint16_t SockaddrIn6::family() const {
    return familyInet6();
}

uint16_t SockaddrIn6::port() const {
    return portOf(storage);
}

const sockaddr* SockaddrIn6::getPtr() const {
    return reinterpret_cast<const sockaddr*>(storage);
}

sockaddr* SockaddrIn6::getPtr() {
    return reinterpret_cast<sockaddr*>(storage);
}

} // namespace Tarn::Network
