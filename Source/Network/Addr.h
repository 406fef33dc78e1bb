#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>

// The platform address structures, declared only: callers that hold one have included the socket
// headers already, and this header stays free of them.
struct in_addr;
struct in6_addr;

namespace Tarn::Network {

/// An IP address of some family. Concrete addresses are plain values stored in network byte order
/// exactly as the platform structures hold them, so they go to socket calls without conversion.
class TARN_API Addr {
public:
    virtual ~Addr() = default;

    /// The platform's address-family value (AF_INET or AF_INET6 of the running platform).
    virtual uint16_t family() const = 0;
    /// The address in the platform's presentation form.
    virtual std::string string() const = 0;
    /// True for an address in the family's multicast range.
    virtual bool is_multicast() const = 0;

protected:
    /// Only the concrete addresses are made and copied, as whole values.
    ///@{
    Addr() = default;
    Addr(const Addr&) = default;
    Addr& operator=(const Addr&) = default;
    ///@}
};

/// An IPv4 address: one 32-bit word in network byte order. The one-argument constructors convert
/// implicitly: a host-order word or dotted text goes wherever an address is taken.
class TARN_API AddrIn : public Addr {
public:
    /// 0.0.0.0.
    AddrIn() = default;
    /// a.b.c.d, `a` being the first octet in dotted order.
    AddrIn(uint8_t a, uint8_t b, uint8_t c, uint8_t d);
    /// An address given in host byte order: 0x7F000001 is 127.0.0.1.
    AddrIn(uint32_t host);
    /// The four octets in dotted order.
    AddrIn(const uint8_t bytes[4]);
    /// The platform value, already in network byte order.
    AddrIn(const in_addr& address);
    /// Parses dotted text; text that is not an IPv4 address gives 0.0.0.0 without a report.
    ///@{
    AddrIn(const char* text);
    AddrIn(const std::string& text);
    ///@}

    /// Addresses are values.
    ///@{
    AddrIn(const AddrIn&) = default;
    AddrIn& operator=(const AddrIn&) = default;
    ///@}

    /// The same four octets.
    bool operator==(const AddrIn& other) const { return address == other.address; }

    /// Octet `i` in dotted order. The index wraps modulo 4 on purpose: [4] reads octet 0 again.
    uint8_t operator[](size_t i) const;

    uint16_t family() const override;
    /// Dotted text, for example "127.0.0.1".
    std::string string() const override;
    /// True for 224.0.0.0 to 239.255.255.255.
    bool is_multicast() const override;

    /// The stored word, in network byte order.
    uint32_t networkOrder() const { return address; }

private:
    uint32_t address = 0;
};

/// An IPv6 address: sixteen bytes in network order.
class TARN_API AddrIn6 : public Addr {
public:
    /// ::, sixteen zero bytes.
    AddrIn6();
    /// The platform value, already in network order.
    AddrIn6(const in6_addr& address);
    /// Parses IPv6 text; unparsable text gives :: without a report.
    AddrIn6(const char* text);

    /// Addresses are values.
    ///@{
    AddrIn6(const AddrIn6&) = default;
    AddrIn6& operator=(const AddrIn6&) = default;
    ///@}

    /// The same sixteen bytes.
    bool operator==(const AddrIn6& other) const;

    /// Byte `i` of sixteen; not bounds-checked.
    uint8_t operator[](size_t i) const { return bytes[i]; }

    uint16_t family() const override;
    /// The platform's canonical text, for example "fe80::1".
    std::string string() const override;
    /// True when the first byte is 0xFF.
    bool is_multicast() const override;

    /// The sixteen bytes, laid out as the platform's in6_addr.
    const uint8_t* data() const { return bytes; }

private:
    alignas(4) uint8_t bytes[16];
};

} // namespace Tarn::Network
