#include <Tarn/Network/Adapter.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Tarn::Network;

namespace {
std::string printed(const NetworkAdapter& a) {
    return "[Info][Connection] " + a.name + ": ip " + a.ip.string() + " (mask " + a.netmask.string() +
           ") (broadcast " + a.broadcast.string() + ")";
}
} // namespace

// The flags name themselves with or without the enumeration's name, and combine into flags.
static_assert((AddAny | AdapterFlags::AddLocalhost) == AdapterFlags(3));

TEST(Adapters, TableFollowsTheFlagsAndIsPrintedExactly) {
    const AddrIn localhost(127, 0, 0, 1);
    UpdateAdapters(AdapterFlags(0));
    std::vector<std::string> hardware;
    for (uint64_t index = 0; index < GetAdapterCount(); ++index) {
        const NetworkAdapter adapter = GetAdapter(index);
        hardware.push_back(printed(adapter));
        SCOPED_TRACE(hardware.back());
        EXPECT_FALSE(adapter.name.empty());
        if (adapter.ip == AddrIn()) {
            // No IPv4 address: kept, with every field zero.
            EXPECT_EQ(adapter.netmask, AddrIn());
            EXPECT_EQ(adapter.broadcast, AddrIn());
            continue;
        }
        // The mask comes from a prefix (ones, then only zeros) and the broadcast from the mask.
        const uint32_t inverted = ~((uint32_t(adapter.netmask[0]) << 24) | (adapter.netmask[1] << 16) |
                                    (adapter.netmask[2] << 8) | adapter.netmask[3]);
        EXPECT_EQ(inverted & (inverted + 1), 0u);
        for (size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(adapter.broadcast[i], uint8_t(~adapter.netmask[i] | adapter.ip[i]));
        }
        const int32_t position = FindAdapter(adapter.ip);
        ASSERT_GE(position, 0);
        EXPECT_EQ(GetAdapter(static_cast<size_t>(position)).ip, adapter.ip);
    }

    // Ends on an unknown bit alone: the synthetic rows go again and loopback is never listed.
    for (uint32_t flags : {1u, 2u, 3u, 7u, 4u}) {
        SCOPED_TRACE(flags);
        UpdateAdapters(AdapterFlags(flags));
        std::vector<std::string> expected;
        if (flags & 1) {
            expected.push_back(
                "[Info][Connection] Any: ip 0.0.0.0 (mask 255.255.255.255) (broadcast 0.0.0.0)");
            EXPECT_EQ(FindAdapter(AddrIn()), 0);
        }
        if (flags & 2) {
            expected.push_back(
                "[Info][Connection] Localhost: ip 127.0.0.1 (mask 255.0.0.0) (broadcast 127.255.255.255)");
        }
        EXPECT_EQ(FindAdapter(localhost), (flags & 2) ? static_cast<int32_t>(expected.size()) - 1 : -1);
        expected.insert(expected.end(), hardware.begin(), hardware.end());
        ASSERT_EQ(GetAdapterCount(), expected.size());
        for (size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(printed(GetAdapter(i)), expected[i]);
        }
        expected.insert(expected.begin(),
                        "[Info][Connection] Adapters(" + std::to_string(GetAdapterCount()) + "):");
        Tarn::Testing::LogCapture capture;
        PrintAdapters();
        EXPECT_EQ(capture.lines(), expected);
    }
}

#if !defined(_WIN32)
#include <algorithm>
#include <filesystem>
#include <fstream>

// The filter, checked against the kernel's own description of each interface: its hardware type
// (Ethernet 1, 802.11 801..803) and its index, which orders the list.
TEST(Adapters, ListsExactlyTheEthernetAndWirelessInterfacesInIndexOrder) {
    std::vector<std::pair<int, std::string>> expected;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net")) {
        int type = 0;
        int index = 0;
        std::ifstream(entry.path() / "type") >> type;
        std::ifstream(entry.path() / "ifindex") >> index;
        if (type == 1 || (type >= 801 && type <= 803)) {
            expected.emplace_back(index, entry.path().filename().string());
        }
    }
    std::sort(expected.begin(), expected.end());
    UpdateAdapters(AdapterFlags(0));
    ASSERT_EQ(GetAdapterCount(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(GetAdapter(i).name, expected[i].second);
    }
}
#endif
