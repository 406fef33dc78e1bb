#pragma once

#include <Tarn/Network/Adapter.h>

#include <vector>

namespace Tarn::Network::Detail {

/// Appends the machine's Ethernet and wireless adapters to `table`, in platform order. A failed
/// platform query is logged and asserted by the backend; `table` then keeps what it held.
void appendPlatformAdapters(std::vector<NetworkAdapter>& table);

/// Fills in an adapter's addresses from its first IPv4 address and subnet mask.
void setAdapterAddress(NetworkAdapter& adapter, const AddrIn& ip, const AddrIn& netmask);

} // namespace Tarn::Network::Detail
