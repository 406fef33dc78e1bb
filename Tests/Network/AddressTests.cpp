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
std::vector<uint8_t> bytesOf(const void* p, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(p);
    return {bytes, bytes + size};
}
} // namespace

TEST(AddrIn, OctetsWrapModuloFourAndEveryConstructorAgrees) {
    const AddrIn address(192, 168, 1, 20);
    const uint8_t expected[8] = {192, 168, 1, 20, 192, 168, 1, 20};
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(address[i], expected[i]) << i;
    }
    // Stored in network order: the bytes in memory are the octets.
    const uint32_t word = address.networkOrder();
    EXPECT_EQ(bytesOf(&word, 4), (std::vector<uint8_t>{192, 168, 1, 20}));

    const uint8_t bytes[4] = {127, 0, 0, 1};
    in_addr platform;
    platform.s_addr = htonl(0x7F000001);
    const AddrIn localhost(127, 0, 0, 1);
    // The one-argument forms convert implicitly, as values do.
    const AddrIn fromWord = 0x7F000001u, fromBytes = bytes, fromPlatform = platform;
    const AddrIn fromText = std::string("127.0.0.1");
    EXPECT_EQ(fromWord, localhost);
    EXPECT_EQ(fromBytes, localhost);
    EXPECT_EQ(fromPlatform, localhost);
    EXPECT_EQ(fromText, localhost);
    EXPECT_FALSE(AddrIn(127, 0, 0, 2) == localhost);
    for (const char* text : {"", "localhost", "256.1.1.1", "1.2.3", "::1", "1.2.3.4 "}) {
        EXPECT_EQ(AddrIn(text), AddrIn()) << text;
    }
    EXPECT_EQ(AddrIn(static_cast<const char*>(nullptr)), AddrIn());
}

TEST(Addr, MulticastRangesAndPlatformFamilies) {
    for (const auto& [text, multicast] : {std::pair{"239.255.255.250", true},
                                          {"224.0.0.0", true},
                                          {"223.255.255.255", false},
                                          {"240.0.0.0", false},
                                          {"127.0.0.224", false}}) {
        EXPECT_EQ(AddrIn(text).is_multicast(), multicast) << text;
    }
    for (const auto& [text, multicast] :
         {std::pair{"ff02::1", true}, {"ff00::", true}, {"fe80::1", false}, {"::ff", false}}) {
        EXPECT_EQ(AddrIn6(text).is_multicast(), multicast) << text;
    }
#if defined(_WIN32)
    const uint16_t inet6 = 23;
#else
    const uint16_t inet6 = 10;
#endif
    EXPECT_EQ(AddrIn().family(), 2);
    EXPECT_EQ(SockaddrIn().family(), 2);
    EXPECT_EQ(AddrIn6().family(), inet6);
    EXPECT_EQ(SockaddrIn6().family(), inet6);
}

TEST(AddrIn6, TextRoundTripsAndBadTextGivesZero) {
    for (const char* text : {"::1", "fe80::1:2", "2001:db8::8a2e:370:7334", "ff02::1",
                             "::", "1:2:3:4:5:6:7:8", "::ffff:192.168.1.1"}) {
        EXPECT_EQ(AddrIn6(text).string(), text);
    }
    std::vector<uint8_t> loopback(16, 0);
    loopback[15] = 1;
    EXPECT_EQ(bytesOf(AddrIn6("::1").data(), 16), loopback);
    EXPECT_EQ(AddrIn6("2001:DB8::1").string(), "2001:db8::1");
    for (const char* text : {"", "1.2.3.4", "::1::2", "fe80::g", "1:2:3:4:5:6:7:8:9"}) {
        EXPECT_EQ(AddrIn6(text), AddrIn6()) << text;
    }
    EXPECT_EQ(AddrIn6().string(), "::");
}

TEST(SockaddrIn, HoldsThePlatformStructureByteForByte) {
    std::vector<uint8_t> expected(16, 0);
    const uint16_t family = AF_INET;
    std::memcpy(expected.data(), &family, 2);
    const SockaddrIn empty;
    EXPECT_EQ(bytesOf(empty.getPtr(), empty.size()), expected);
    EXPECT_EQ(empty.port(), 0);

    const SockaddrIn address(AddrIn(10, 0, 0, 7), 8080);
    expected[2] = 0x1F; // port in network order
    expected[3] = 0x90;
    expected[4] = 10;
    expected[7] = 7;
    EXPECT_EQ(bytesOf(address.getPtr(), address.size()), expected);
    EXPECT_EQ(address.port(), 8080);
    EXPECT_EQ(address.ip(), AddrIn(10, 0, 0, 7));
    sockaddr_in platform;
    std::memcpy(&platform, expected.data(), sizeof platform);
    EXPECT_EQ(bytesOf(SockaddrIn(platform).getPtr(), 16), expected);
}

TEST(SockaddrIn6, HoldsThePlatformStructureByteForByte) {
    const SockaddrIn6 empty;
    ASSERT_EQ(empty.size(), 28);
    EXPECT_EQ(empty.port(), 0);
    EXPECT_EQ(bytesOf(reinterpret_cast<const uint8_t*>(empty.getPtr()) + 2, 26), std::vector<uint8_t>(26, 0));

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
    platform.sin6_scope_id = 0;
    EXPECT_EQ(std::memcmp(SockaddrIn6(AddrIn6("fe80::1"), 443).getPtr(), &platform, 28), 0);
}
