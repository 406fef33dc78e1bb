#include <Tarn/Network/Adapter.h>

#include "Network/Internal/Adapters.h"
#include "Network/Internal/NetworkLog.h"

#include <cstring>
#include <vector>

namespace Tarn::Network {

namespace {
// Module-level and unguarded by design (see Adapter.h); never destroyed so that a static object's
// destructor may still read it at unload.
std::vector<NetworkAdapter>& table() {
    static auto* adapters = new std::vector<NetworkAdapter>();
    return *adapters;
}
} // namespace

void Detail::setAdapterAddress(NetworkAdapter& adapter, const AddrIn& ip, const AddrIn& netmask) {
    const uint32_t broadcast = ~netmask.networkOrder() | ip.networkOrder();
    uint8_t octets[4];
    std::memcpy(octets, &broadcast, sizeof octets);
    adapter.ip = ip;
    adapter.netmask = netmask;
    adapter.broadcast = AddrIn(octets);
}

void UpdateAdapters(AdapterFlags flags) {
    auto& adapters = table();
    adapters.clear();
    if ((flags & AddAny) != 0) {
        adapters.push_back({"Any", AddrIn(0, 0, 0, 0), AddrIn(255, 255, 255, 255), AddrIn(0, 0, 0, 0)});
    }
    if ((flags & AddLocalhost) != 0) {
        adapters.push_back(
            {"Localhost", AddrIn(127, 0, 0, 1), AddrIn(255, 0, 0, 0), AddrIn(127, 255, 255, 255)});
    }
    Detail::appendPlatformAdapters(adapters);
}

uint64_t GetAdapterCount() {
    return table().size();
}

NetworkAdapter GetAdapter(size_t index) {
    return table()[index];
}

int32_t FindAdapter(const AddrIn& ip) {
    const auto& adapters = table();
    for (size_t i = 0; i < adapters.size(); ++i) {
        if (adapters[i].ip == ip) {
            return static_cast<int32_t>(i);
        }
    }
    return -1;
}

void PrintAdapters() {
    const auto& adapters = table();
    const auto& log = Detail::connectionLog();
    log.log(Logging::Category::Info, "Adapters(%zu):", adapters.size());
    for (const auto& adapter : adapters) {
        log.log(Logging::Category::Info, "%s: ip %s (mask %s) (broadcast %s)", adapter.name.c_str(),
                adapter.ip.string().c_str(), adapter.netmask.string().c_str(),
                adapter.broadcast.string().c_str());
    }
}

} // namespace Tarn::Network
