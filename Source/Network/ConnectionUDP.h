#pragma once

#include <Tarn/Network/ConnectionBase.h>

namespace Tarn::Network {

/// A UDP socket: bind() opens and registers it, sendTo() and recvFrom() move datagrams. The base
/// processIncoming() reads nothing, so a subclass that is registered reads its datagrams there.
class TARN_API ConnectionUDP : public ConnectionBase {
public:
    ConnectionUDP();
    /// Unregisters the connection (waiting for the network thread), then closes the socket.
    ~ConnectionUDP() override;

    int32_t type() const override;
    int32_t proto() const override;
    /// Closes an open socket ("Closing socket <n>.") and returns true.
    bool disconnect() override;
};

} // namespace Tarn::Network
