#include "Network/Internal/Adapters.h"
#include "Network/Internal/NetworkLog.h"

#include <Tarn/Foundation/Assert.h>
#include <Tarn/Strings/TextConversion.h>

// The IP helper headers need the socket headers before them.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <netioapi.h>

#include <vector>

namespace Tarn::Network::Detail {

void appendPlatformAdapters(std::vector<NetworkAdapter>& table) {
    // One retry with the size the first call asks for: the list can grow between the two calls,
    // but a third attempt would only chase a machine that is reconfiguring itself.
    std::vector<uint8_t> buffer(16384, 0);
    ULONG size = static_cast<ULONG>(buffer.size());
    auto* list = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
    ULONG result = GetAdaptersAddresses(AF_INET, 0, nullptr, list, &size);
    if (result == ERROR_BUFFER_OVERFLOW) {
        buffer.resize(size, 0);
        list = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
        result = GetAdaptersAddresses(AF_INET, 0, nullptr, list, &size);
    }
    if (result != NO_ERROR) {
        connectionLog().log(Logging::Category::Debug,
                            "UpdateAdapters(): GetAdaptersAddresses failed with %08x error code.",
                            static_cast<unsigned>(result));
        TARN_ASSERT(false);
        return;
    }

    for (const IP_ADAPTER_ADDRESSES* adapter = list; adapter; adapter = adapter->Next) {
        if (adapter->IfType != IF_TYPE_ETHERNET_CSMACD && adapter->IfType != IF_TYPE_IEEE80211) {
            continue;
        }
        NetworkAdapter& entry = table.emplace_back();
        entry.name = narrow(adapter->FriendlyName ? adapter->FriendlyName : L"");
        if (const IP_ADAPTER_UNICAST_ADDRESS* unicast = adapter->FirstUnicastAddress) {
            const auto* addr = reinterpret_cast<const sockaddr_in*>(unicast->Address.lpSockaddr);
            TARN_ASSERT(addr->sin_family == AF_INET);
            ULONG mask = 0;
            ConvertLengthToIpv4Mask(unicast->OnLinkPrefixLength, &mask);
            in_addr netmask;
            netmask.s_addr = mask;
            setAdapterAddress(entry, AddrIn(addr->sin_addr), AddrIn(netmask));
        }
    }
}

} // namespace Tarn::Network::Detail
