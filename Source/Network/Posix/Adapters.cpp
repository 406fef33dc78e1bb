#include "Network/Internal/Adapters.h"
#include "Network/Internal/NetworkLog.h"

#include <Tarn/Foundation/Assert.h>

#include <ifaddrs.h>
#include <linux/if_arp.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace Tarn::Network::Detail {

namespace {
// Ethernet and wireless interfaces are told apart from loopback, tunnels, PPP and the like by the
// hardware type of their link-layer (AF_PACKET) entry. Wireless interfaces in station mode
// present themselves as Ethernet; the 802.11 types cover monitor-mode interfaces.
bool isEthernetOrWireless(unsigned short hardwareType) {
    switch (hardwareType) {
    case ARPHRD_ETHER:
    case ARPHRD_IEEE80211:
    case ARPHRD_IEEE80211_PRISM:
    case ARPHRD_IEEE80211_RADIOTAP:
        return true;
    default:
        return false;
    }
}
} // namespace

void appendPlatformAdapters(std::vector<NetworkAdapter>& table) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        connectionLog().log(Logging::Category::Debug,
                            "UpdateAdapters(): getifaddrs failed with %08x error code.",
                            static_cast<unsigned>(errno));
        TARN_ASSERT(false);
        return;
    }

    // The link-layer entries come first, one per interface in index order; they decide which
    // interfaces are listed and in what order. The IPv4 entries that follow give the addresses.
    const size_t first = table.size();
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_PACKET) {
            continue;
        }
        const auto* link = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
        if (isEthernetOrWireless(link->sll_hatype)) {
            table.emplace_back().name = entry->ifa_name;
        }
    }
    for (size_t i = first; i < table.size(); ++i) {
        for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
            if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET ||
                std::strcmp(entry->ifa_name, table[i].name.c_str()) != 0) {
                continue;
            }
            const auto* addr = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
            // The kernel keeps the prefix length and reports the mask built from it.
            const auto* mask = reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask);
            setAdapterAddress(table[i], AddrIn(addr->sin_addr), mask ? AddrIn(mask->sin_addr) : AddrIn());
            break;
        }
    }
    freeifaddrs(list);
}

} // namespace Tarn::Network::Detail
