#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Network/Addr.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tarn::Network {

/// One IPv4 network adapter of this machine, copied by value out of the adapter table.
struct TARN_API NetworkAdapter {
    /// Friendly name (UTF-8); "Any" and "Localhost" for the two synthetic entries.
    std::string name;
    /// First IPv4 unicast address; 0.0.0.0 for an adapter that has none.
    AddrIn ip;
    /// Subnet mask of the on-link prefix.
    AddrIn netmask;
    /// Directed broadcast address: (not netmask) or ip.
    AddrIn broadcast;
};

/// What `UpdateAdapters` adds besides the machine's adapters. Other bits are ignored. Unscoped, so
/// that `AddAny` and `AdapterFlags::AddAny` both name a flag; `|` and `&` of two flags stay flags.
enum AdapterFlags : uint32_t {
    AddAny = 1,       ///< "Any": 0.0.0.0, mask 255.255.255.255, broadcast 0.0.0.0.
    AddLocalhost = 2, ///< "Localhost": 127.0.0.1, mask 255.0.0.0, broadcast 127.255.255.255.
};

/// Combining and testing adapter flags as bit sets.
///@{
constexpr AdapterFlags operator|(AdapterFlags a, AdapterFlags b) {
    return AdapterFlags(uint32_t(a) | uint32_t(b));
}
constexpr AdapterFlags operator&(AdapterFlags a, AdapterFlags b) {
    return AdapterFlags(uint32_t(a) & uint32_t(b));
}
///@}

// The adapter table is one process-wide array, empty until the first UpdateAdapters. None of these
// functions lock: UpdateAdapters must not run while another thread reads the table.

/// Rebuilds the table: the synthetic entries asked for by `flags` first ("Any", then "Localhost"),
/// then every Ethernet and wireless adapter in the order the platform lists them.
TARN_API void UpdateAdapters(AdapterFlags flags);
/// Number of entries in the table.
TARN_API uint64_t GetAdapterCount();
/// A copy of entry `index`, which must be below GetAdapterCount().
TARN_API NetworkAdapter GetAdapter(size_t index);
/// Position of the first entry whose ip equals `ip`, or -1.
TARN_API int32_t FindAdapter(const AddrIn& ip);
/// Logs the table in category "Connection" at Info, one line per entry.
TARN_API void PrintAdapters();

} // namespace Tarn::Network
