#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Network/Addr.h>

#include <cstdint>

// Declared only; see Addr.h.
struct sockaddr;
struct sockaddr_in;
struct sockaddr_in6;

namespace Tarn::Network {

/// A socket address: the platform structure itself, held in storage of its exact size and
/// alignment, so that `getPtr()` and `size()` go straight to bind, connect, sendto and recvfrom.
class TARN_API Sockaddr {
public:
    virtual ~Sockaddr() = default;

    /// The platform's address-family value.
    virtual uint16_t family() const = 0;
    /// The port in host byte order.
    virtual uint16_t port() const = 0;
    /// The platform structure, for the socket calls; valid for the object's life.
    ///@{
    virtual const sockaddr* getPtr() const = 0;
    virtual sockaddr* getPtr() = 0;
    ///@}
    /// Size in bytes of the platform structure.
    virtual int32_t size() const = 0;

protected:
    /// Only the concrete addresses are made and copied, as whole values.
    ///@{
    Sockaddr() = default;
    Sockaddr(const Sockaddr&) = default;
    Sockaddr& operator=(const Sockaddr&) = default;
    ///@}

    /// The family and the port sit at the same offsets in every platform socket address: portOf
    /// reads the port (to host byte order) from a structure's bytes, initialise zeroes `size` bytes
    /// and writes the family and the port (given in host byte order).
    ///@{
    static uint16_t portOf(const uint8_t* storage);
    static void initialise(uint8_t* storage, size_t size, uint16_t family, uint16_t port);
    ///@}
};

/// An IPv4 socket address (the platform's sockaddr_in, 16 bytes).
class TARN_API SockaddrIn : public Sockaddr {
public:
    /// All zero, family AF_INET.
    SockaddrIn();
    /// `ip`:`port`, the port given in host byte order.
    SockaddrIn(const AddrIn& ip, uint16_t port);
    /// A copy of the platform structure, as a socket call filled it in.
    SockaddrIn(const sockaddr_in& address);
    /// Socket addresses are values: a copy holds its own structure.
    ///@{
    SockaddrIn(const SockaddrIn&) = default;
    SockaddrIn& operator=(const SockaddrIn&) = default;
    ///@}

    /// The stored address.
    AddrIn ip() const;

    uint16_t family() const override;
    uint16_t port() const override;
    const sockaddr* getPtr() const override;
    sockaddr* getPtr() override;
    int32_t size() const override { return 16; }

private:
    alignas(4) uint8_t storage[16];
};

/// An IPv6 socket address (the platform's sockaddr_in6, 28 bytes).
class TARN_API SockaddrIn6 : public Sockaddr {
public:
    /// All zero, family AF_INET6.
    SockaddrIn6();
    /// [`ip`]:`port`, flow information and scope id zero.
    SockaddrIn6(const AddrIn6& ip, uint16_t port);
    /// A copy of the platform structure, as a socket call filled it in.
    SockaddrIn6(const sockaddr_in6& address);
    /// Socket addresses are values: a copy holds its own structure.
    ///@{
    SockaddrIn6(const SockaddrIn6&) = default;
    SockaddrIn6& operator=(const SockaddrIn6&) = default;
    ///@}

    /// The stored sixteen address bytes.
    AddrIn6 ip() const;

    uint16_t family() const override;
    uint16_t port() const override;
    const sockaddr* getPtr() const override;
    sockaddr* getPtr() override;
    int32_t size() const override { return 28; }

private:
    alignas(4) uint8_t storage[28];
};

} // namespace Tarn::Network
