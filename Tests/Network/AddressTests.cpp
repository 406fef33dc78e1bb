#include <Tarn/Network/Addr.h>
#include <Tarn/Network/Sockaddr.h>

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#endif

#include <cstring>
#include <vector>

using namespace Tarn::Network;

namespace {
std::vector<uint8_t> bytesOf(const Sockaddr& address) {
    const auto* p = reinterpret_cast<const uint8_t*>(address.getPtr());
    return {p, p + address.size()};
}
} // namespace

TEST(AddrIn, OctetsAreInDottedOrderAndTheIndexWrapsModuloFour) {
    const AddrIn address(192, 168, 1, 20);
    EXPECT_EQ(address[0], 192);
    EXPECT_EQ(address[1], 168);
    EXPECT_EQ(address[3], 20);
    EXPECT_EQ(address[4], 192);
    EXPECT_EQ(address[7], 20);
    // Stored in network order: the bytes in memory are the octets.
    const uint32_t word = address.networkOrder();
    uint8_t memory[4];
    std::memcpy(memory, &word, 4);
    EXPECT_EQ(std::vector<uint8_t>(memory, memory + 4), (std::vector<uint8_t>{192, 168, 1, 20}));
}

TEST(AddrIn, EveryConstructorAgreesOnTheSameAddress) {
    const uint8_t bytes[4] = {127, 0, 0, 1};
    in_addr platform;
    platform.s_addr = htonl(0x7F000001);
    const AddrIn expected(127, 0, 0, 1);
    EXPECT_EQ(AddrIn(0x7F000001u), expected);
    EXPECT_EQ(AddrIn(bytes), expected);
    EXPECT_EQ(AddrIn(platform), expected);
    EXPECT_EQ(AddrIn("127.0.0.1"), expected);
    EXPECT_EQ(AddrIn(std::string("127.0.0.1")), expected);
    EXPECT_EQ(AddrIn(0x7F000001u).string(), "127.0.0.1");
    EXPECT_EQ(AddrIn(255, 255, 255, 255).string(), "255.255.255.255");
    EXPECT_EQ(AddrIn().string(), "0.0.0.0");
    EXPECT_FALSE(AddrIn(127, 0, 0, 2) == expected);
}

TEST(AddrIn, TextThatIsNotAnIpv4AddressGivesZero) {
    for (const char* text : {"", "localhost", "256.1.1.1", "1.2.3", "::1", "1.2.3.4 "}) {
        EXPECT_EQ(AddrIn(text), AddrIn()) << text;
    }
    EXPECT_EQ(AddrIn(static_cast<const char*>(nullptr)), AddrIn());
}

TEST(AddrIn, MulticastIsExactly224To239) {
    EXPECT_TRUE(AddrIn(239, 255, 255, 250).is_multicast());
    EXPECT_TRUE(AddrIn(224, 0, 0, 0).is_multicast());
    EXPECT_FALSE(AddrIn(223, 255, 255, 255).is_multicast());
    EXPECT_FALSE(AddrIn(240, 0, 0, 0).is_multicast());
    EXPECT_FALSE(AddrIn(0x7F0000E0u).is_multicast()); // 224 in the last octet only
}

TEST(Addr, FamilyIsThePlatformValue) {
    EXPECT_EQ(AddrIn().family(), AF_INET);
    EXPECT_EQ(AddrIn6().family(), AF_INET6);
    EXPECT_EQ(SockaddrIn().family(), AF_INET);
    EXPECT_EQ(SockaddrIn6().family(), AF_INET6);
#if defined(_WIN32)
    EXPECT_EQ(AddrIn6().family(), 23);
#else
    EXPECT_EQ(AddrIn6().family(), 10);
#endif
    EXPECT_EQ(AddrIn().family(), 2);
}

TEST(AddrIn6, TextRoundTripsAndBadTextGivesZero) {
    for (const char* text : {"::1", "fe80::1:2", "2001:db8::8a2e:370:7334", "ff02::1",
                             "::", "1:2:3:4:5:6:7:8", "::ffff:192.168.1.1"}) {
        EXPECT_EQ(AddrIn6(text).string(), text);
    }
    const AddrIn6 loopback("::1");
    for (size_t i = 0; i < 15; ++i) {
        EXPECT_EQ(loopback[i], 0);
    }
    EXPECT_EQ(loopback[15], 1);
    EXPECT_EQ(AddrIn6("2001:DB8::1").string(), "2001:db8::1");
    for (const char* text : {"", "1.2.3.4", "::1::2", "fe80::g", "1:2:3:4:5:6:7:8:9"}) {
        EXPECT_EQ(AddrIn6(text), AddrIn6()) << text;
    }
    EXPECT_EQ(AddrIn6().string(), "::");
}

TEST(AddrIn6, MulticastIsTheFirstByteAllOnes) {
    EXPECT_TRUE(AddrIn6("ff02::1").is_multicast());
    EXPECT_TRUE(AddrIn6("ff00::").is_multicast());
    EXPECT_FALSE(AddrIn6("fe80::1").is_multicast());
    EXPECT_FALSE(AddrIn6("::ff").is_multicast());
}

TEST(SockaddrIn, HoldsThePlatformStructureByteForByte) {
    const SockaddrIn empty;
    std::vector<uint8_t> expected(16, 0);
    const uint16_t family = AF_INET;
    std::memcpy(expected.data(), &family, 2);
    EXPECT_EQ(bytesOf(empty), expected);
    EXPECT_EQ(empty.port(), 0);
    EXPECT_EQ(empty.ip(), AddrIn());
    EXPECT_EQ(empty.size(), 16);

    const SockaddrIn address(AddrIn(10, 0, 0, 7), 8080);
    expected[2] = 0x1F; // port in network order
    expected[3] = 0x90;
    expected[4] = 10;
    expected[7] = 7;
    EXPECT_EQ(bytesOf(address), expected);
    EXPECT_EQ(address.port(), 8080);
    EXPECT_EQ(address.ip(), AddrIn(10, 0, 0, 7));

    const auto* platform = reinterpret_cast<const sockaddr_in*>(address.getPtr());
    EXPECT_EQ(platform->sin_family, AF_INET);
    EXPECT_EQ(ntohs(platform->sin_port), 8080);
    EXPECT_EQ(platform->sin_addr.s_addr, htonl(0x0A000007));

    const SockaddrIn fromPlatform(*platform);
    EXPECT_EQ(bytesOf(fromPlatform), expected);
    SockaddrIn copy;
    copy = fromPlatform;
    EXPECT_EQ(bytesOf(copy), expected);
}

TEST(SockaddrIn6, HoldsThePlatformStructureByteForByte) {
    const SockaddrIn6 empty;
    EXPECT_EQ(empty.size(), 28);
    EXPECT_EQ(empty.port(), 0);
    EXPECT_EQ(empty.ip(), AddrIn6());
    const auto emptyBytes = bytesOf(empty);
    EXPECT_EQ(std::vector<uint8_t>(emptyBytes.begin() + 2, emptyBytes.end()), std::vector<uint8_t>(26, 0));

    sockaddr_in6 platform;
    std::memset(&platform, 0, sizeof platform);
    platform.sin6_family = AF_INET6;
    platform.sin6_port = htons(443);
    platform.sin6_scope_id = 3;
    inet_pton(AF_INET6, "fe80::1", &platform.sin6_addr);
    const SockaddrIn6 address(platform);
    EXPECT_EQ(address.port(), 443);
    EXPECT_EQ(address.ip().string(), "fe80::1");
    EXPECT_EQ(std::memcmp(address.getPtr(), &platform, 28), 0);

    const SockaddrIn6 built(AddrIn6("fe80::1"), 443);
    platform.sin6_scope_id = 0;
    EXPECT_EQ(std::memcmp(built.getPtr(), &platform, 28), 0);
    SockaddrIn6 copy;
    copy = built;
    EXPECT_EQ(bytesOf(copy), bytesOf(built));
}
