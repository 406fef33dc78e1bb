#pragma once

#include <Tarn/Network/ConnectionBase.h>

namespace Tarn::Network {

/// A TCP connection: connects (blocking, then non-blocking once connected), listens and accepts,
/// and reconnects by itself when auto-reconnect is on.
///
/// A server is a subclass whose accept() returns a connection object for each accepted socket
/// (for example `new ConnectionHub(socket, address)`); the base accept() refuses every client,
/// so a plain listener closes what it accepts. The network thread calls accept().
///
/// Life-cycle lines in "Connection" at Info: "Reconnecting socket <n> to <ip>:<port>.",
/// "Socket <n> listening for connections on <ip>:<port>.", "Disconnecting socket <n>.",
/// "Closing socket <n>.".
class TARN_API ConnectionTCP : public ConnectionBase {
public:
    /// No socket; FlagNoDelayPending set, so the first connect or accept turns TCP_NODELAY on.
    ConnectionTCP();
    /// Takes an accepted (or otherwise connected) socket and its peer's address, makes the socket
    /// non-blocking and registers the connection.
    ConnectionTCP(Socket socket, const SockaddrIn& address);
    /// Unregisters the connection (waiting for the network thread), then disconnects it; never
    /// reconnects.
    ~ConnectionTCP() override;

    int32_t type() const override;
    int32_t proto() const override;
    bool isAutoConnectEnabled() const override;
    /// Opens a new socket and connects it to the stored address, blocking. Success: TCP_NODELAY
    /// from FlagNoDelayPending (then cleared), non-blocking, FlagRemove cleared, registered
    /// (unless FlagDoNotProcess). Failure: with auto-reconnect the connection is registered for
    /// the registry to retry, silently; otherwise the error is logged. The socket is closed.
    bool reconnect() override;
    /// Shuts down and closes an open socket and clears FlagListening. With auto-reconnect it then
    /// reconnects at once and returns whether that failed; otherwise true.
    bool disconnect() override;
    bool processOutgoing() override;
    /// On a listening socket accepts one client and hands it to accept(); otherwise nothing.
    bool processIncoming() override;
    /// Stores `address` and reconnects.
    bool connect(const SockaddrIn& address) override;
    ConnectionTCP* accept(Socket socket, const SockaddrIn& address) override;

    /// listen(AddrIn(0), port): every interface.
    bool listen(uint16_t port);
    /// Opens a socket, binds it to `ip`:`port` (0 picks a free port; getAddress() then still says
    /// 0, the socket's own name has the port) and listens with the platform's largest backlog.
    /// Registers the connection unless FlagDoNotProcess. False on failure, after the report.
    bool listen(const AddrIn& ip, uint16_t port);
    /// Clears FlagNoDelayPending (whatever `on` is), then sets TCP_NODELAY on an open socket.
    void setNoDelay(bool on);
    /// shutdown() of both directions, nothing else.
    void shutdown();

protected:
    /// Selects the constructor below.
    struct Unregistered {};
    /// As ConnectionTCP(socket, address) but without registering: for a derived class that
    /// registers (addConnection(this)) at the end of its own constructor, so that the network
    /// thread never meets it half built.
    ConnectionTCP(Socket socket, const SockaddrIn& address, Unregistered);
};

} // namespace Tarn::Network
