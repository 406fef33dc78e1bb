#include <Tarn/Network/Adapter.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Tarn::Network;
using Tarn::Logging::Category;

namespace {
std::vector<NetworkAdapter> snapshot() {
    std::vector<NetworkAdapter> adapters;
    for (uint64_t i = 0; i < GetAdapterCount(); ++i) {
        adapters.push_back(GetAdapter(i));
    }
    return adapters;
}

bool isPrefixMask(const AddrIn& mask) {
    uint32_t host = 0;
    for (size_t i = 0; i < 4; ++i) {
        host = (host << 8) | mask[i];
    }
    return (~host & (~host + 1)) == 0; // the zero bits form one block at the low end
}
} // namespace

TEST(Adapters, SyntheticEntriesComeFirstAndFollowTheFlags) {
    UpdateAdapters(AdapterFlags::None);
    const auto hardware = snapshot();
    for (const auto& adapter : hardware) {
        EXPECT_NE(adapter.name, "Any");
        EXPECT_NE(adapter.name, "Localhost");
        EXPECT_FALSE(adapter.ip == AddrIn(127, 0, 0, 1)) << adapter.name; // loopback is not listed
    }
    EXPECT_EQ(FindAdapter(AddrIn(127, 0, 0, 1)), -1);

    for (uint32_t flags : {1u, 2u, 3u, 7u, 4u}) {
        SCOPED_TRACE(flags);
        UpdateAdapters(AdapterFlags(flags));
        const auto adapters = snapshot();
        const size_t synthetic = (flags & 1) + ((flags >> 1) & 1);
        ASSERT_EQ(adapters.size(), hardware.size() + synthetic);
        size_t row = 0;
        if (flags & 1) {
            EXPECT_EQ(adapters[row].name, "Any");
            EXPECT_EQ(adapters[row].ip, AddrIn(0, 0, 0, 0));
            EXPECT_EQ(adapters[row].netmask, AddrIn(255, 255, 255, 255));
            EXPECT_EQ(adapters[row].broadcast, AddrIn(0, 0, 0, 0));
            EXPECT_EQ(FindAdapter(AddrIn()), 0);
            ++row;
        }
        if (flags & 2) {
            EXPECT_EQ(adapters[row].name, "Localhost");
            EXPECT_EQ(adapters[row].netmask, AddrIn(255, 0, 0, 0));
            EXPECT_EQ(adapters[row].broadcast, AddrIn(127, 255, 255, 255));
            EXPECT_EQ(FindAdapter(AddrIn(127, 0, 0, 1)), static_cast<int32_t>(row));
            ++row;
        } else {
            EXPECT_EQ(FindAdapter(AddrIn(127, 0, 0, 1)), -1);
        }
        for (size_t i = 0; i < hardware.size(); ++i) {
            EXPECT_EQ(adapters[row + i].name, hardware[i].name);
            EXPECT_EQ(adapters[row + i].ip, hardware[i].ip);
        }
    }

    // A later update without flags drops the synthetic entries again.
    UpdateAdapters(AdapterFlags::None);
    EXPECT_EQ(GetAdapterCount(), hardware.size());
}

TEST(Adapters, MaskComesFromAPrefixAndBroadcastFromTheMask) {
    UpdateAdapters(AdapterFlags::None);
    for (const auto& adapter : snapshot()) {
        SCOPED_TRACE(adapter.name);
        EXPECT_FALSE(adapter.name.empty());
        if (adapter.ip == AddrIn()) {
            // No IPv4 address: kept, with every field zero.
            EXPECT_EQ(adapter.netmask, AddrIn());
            EXPECT_EQ(adapter.broadcast, AddrIn());
            continue;
        }
        EXPECT_TRUE(isPrefixMask(adapter.netmask)) << adapter.netmask.string();
        for (size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(adapter.broadcast[i], uint8_t(~adapter.netmask[i] | adapter.ip[i]));
        }
        const int32_t position = FindAdapter(adapter.ip);
        ASSERT_GE(position, 0);
        EXPECT_EQ(GetAdapter(static_cast<size_t>(position)).ip, adapter.ip);
    }
}

TEST(Adapters, PrintAdaptersLogsOneLinePerEntry) {
    UpdateAdapters(AdapterFlags::AddAny | AdapterFlags::AddLocalhost);
    const auto adapters = snapshot();
    Tarn::Testing::LogCapture capture;
    PrintAdapters();
    const auto lines = capture.entries();
    ASSERT_EQ(lines.size(), adapters.size() + 1);
    for (const auto& line : lines) {
        EXPECT_EQ(line.logName, "Connection");
        EXPECT_EQ(line.category, Category::Info);
    }
    EXPECT_EQ(lines[0].message, "Adapters(" + std::to_string(adapters.size()) + "):");
    EXPECT_EQ(lines[1].message, "Any: ip 0.0.0.0 (mask 255.255.255.255) (broadcast 0.0.0.0)");
    EXPECT_EQ(lines[2].message, "Localhost: ip 127.0.0.1 (mask 255.0.0.0) (broadcast 127.255.255.255)");
    for (size_t i = 2; i < adapters.size(); ++i) {
        const auto& a = adapters[i];
        EXPECT_EQ(lines[i + 1].message, a.name + ": ip " + a.ip.string() + " (mask " + a.netmask.string() +
                                            ") (broadcast " + a.broadcast.string() + ")");
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
    UpdateAdapters(AdapterFlags::None);
    const auto adapters = snapshot();
    ASSERT_EQ(adapters.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(adapters[i].name, expected[i].second);
    }
}
#endif
