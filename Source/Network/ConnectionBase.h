#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Network/ConnectionRegistry.h>
#include <Tarn/Network/Sockaddr.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Tarn::Network {

class ConnectionTCP;

/// One platform socket and the IPv4 address it was bound, connected or accepted with.
///
/// Connections do not run by themselves. Once bound, listening or connected they register with
/// the connection registry (ConnectionRegistry.h), whose "Network" thread calls processOutgoing()
/// and processIncoming() and reaps, deletes or reconnects them; from then on the socket belongs to
/// that thread: send and receive there (in overrides of those two), and ask for removal with
/// remove() or removeConnection() rather than closing the socket from another thread.
///
/// The flags word is changed only with atomic or/and operations: the owner's thread and the
/// network thread both change it. The socket value is atomic, so isConnected() may be polled from
/// any thread.
///
/// Every failed socket call of send, receive, sendTo, recvFrom, listen and reconnect is logged in
/// "Connection" at Warning as "<file>(<line>): <function>: WSAGetLastError <code> (<text>)"; on
/// Linux the code is errno. Would-block is never a failure: it ends the call with success and the
/// count reached so far.
class TARN_API ConnectionBase {
public:
    /// A platform socket widened to 64 bits; InvalidSocket (all bits set) when there is none.
    using Socket = uint64_t;
    // Enumerators rather than static constants: a constant of an exported class would be imported
    // from the DLL when a client binds a reference to it, and the DLL has no such object.
    enum : Socket { InvalidSocket = ~Socket(0) };

    /// Flag bits.
    enum : uint32_t {
        FlagRemove = 0x1,             ///< the registry is to drop the connection
        FlagDelete = 0x2,             ///< ... and to delete it when it does
        FlagDoNotProcess = 0x4,       ///< bind, listen, reconnect do not register
        FlagListening = 0x10000,      ///< listening; processIncoming accepts
        FlagAutoReconnect = 0x20000,  ///< reconnect when the socket closes
        FlagNoDelayPending = 0x40000, ///< TCP_NODELAY to set on connect/accept
    };

    ConnectionBase(const ConnectionBase&) = delete;
    ConnectionBase& operator=(const ConnectionBase&) = delete;

    virtual ~ConnectionBase();

    /// The socket type (1 stream, 2 datagram) and protocol (6 TCP, 17 UDP).
    ///@{
    virtual int32_t type() const = 0;
    virtual int32_t proto() const = 0;
    ///@}
    /// True when a closed socket is to be reopened (the registry retries it); the base never is.
    virtual bool isAutoConnectEnabled() const;
    /// Reopens the connection; the base has nothing to reopen and returns false.
    virtual bool reconnect();
    /// Closes the socket (and may reopen it, see ConnectionTCP).
    virtual bool disconnect() = 0;
    /// Called by the network thread on every pass; the base does nothing and returns true.
    virtual bool processOutgoing();
    /// Called by the network thread when the socket has input; the base does nothing.
    virtual bool processIncoming();
    /// Connects to `address`; the base cannot and returns false.
    virtual bool connect(const SockaddrIn& address);
    /// Makes the connection object for a socket accepted by a listener, or null to refuse the
    /// client. The base refuses.
    virtual ConnectionTCP* accept(Socket socket, const SockaddrIn& address);

    /// AF_INET.
    uint16_t family() const;
    /// True while the socket is open.
    bool isConnected() const { return getSocket() != InvalidSocket; }
    /// The socket, or InvalidSocket; safe to read from any thread, but only the thread that owns
    /// the socket (see above) may use it.
    Socket getSocket() const { return socket.load(std::memory_order_acquire); }
    /// The address given to bind, listen or connect, or the peer's for an accepted socket.
    SockaddrIn getAddress() const { return address; }
    /// Milliseconds since 1970 before which the registry does not try to reconnect (0: at once).
    int64_t getReconnectTime() const { return reconnectTime; }
    /// One flag each: FlagRemove, FlagDelete, FlagListening.
    ///@{
    bool shouldRemove() const { return (getFlags() & FlagRemove) != 0; }
    bool shouldDelete() const { return (getFlags() & FlagDelete) != 0; }
    bool isListening() const { return (getFlags() & FlagListening) != 0; }
    ///@}
    /// The port the socket is bound to (the one a bind or listen on port 0 got); 0 without one.
    uint16_t getLocalPort() const;
    /// The whole flags word: the Flag bits above, nothing else.
    uint32_t getFlags() const { return flags.load(std::memory_order_acquire); }

    /// bind(AddrIn(0), port): every interface.
    bool bind(uint16_t port);
    /// Opens a socket and binds it to `ip`:`port` (0 picks a free port); registers the connection
    /// unless FlagDoNotProcess is set. On failure logs "Failed to bind to <ip>:<port>. Error:
    /// <errno>" at Error and closes the socket.
    bool bind(const AddrIn& ip, uint16_t port);
    /// Sends until all `size` bytes are gone or the socket would block; `sent` says how many went.
    /// False on an error, after logging it and calling disconnect().
    bool send(const void* data, size_t size, size_t& sent);
    /// Receives until `size` bytes are in or the socket would block. False when the peer closed
    /// (not logged) or on an error (logged); both call disconnect().
    bool receive(void* data, size_t size, size_t& received);
    /// As send, to `to`.
    bool sendTo(const void* data, size_t size, size_t& sent, const SockaddrIn& to);
    /// Receives one datagram into `data`, its sender into `from`. Would-block gives true and 0.
    bool recvFrom(void* data, size_t size, size_t& received, SockaddrIn& from);
    /// FIONBIO. False when there is no socket or the platform refuses.
    bool setNonblocking(bool on);

    /// Asks the registry to drop the connection on its next pass (FlagRemove).
    void remove();
    /// ... and to delete it (FlagRemove | FlagDelete): the registry then owns the object.
    void removeAndDelete();
    /// Asks the registry to delete the connection once its socket is closed (FlagDelete alone):
    /// for server-side connections that should go when their client does. The registry then owns
    /// the object; do not use it once it may have closed.
    void setDeleteOnClose();
    /// bind, listen and reconnect will not register the connection (FlagDoNotProcess).
    void setDoNotProcess();
    /// Sets or clears FlagAutoReconnect: whether a closed socket is reopened (see disconnect and
    /// reconnect). Safe from any thread. Only TCP connections act on it (isAutoConnectEnabled).
    ///@{
    void enableAutoReconnect();
    void disableAutoReconnect();
    ///@}

protected:
    /// A connection without a socket, with no flags or with `initialFlags`.
    ///@{
    ConnectionBase();
    explicit ConnectionBase(uint32_t initialFlags);
    ///@}

    /// Opens a socket of type() and proto(), closing an open one first with disconnect(). On
    /// failure logs "Failed to create socket." at Error and leaves the socket invalid.
    void create();
    /// Logs "Closing socket <n>." at Info, closes the socket and forgets it.
    void close();
    /// As receive, but one platform call at most: for readers that come back when the socket has
    /// more input.
    bool receiveAvailable(void* data, size_t size, size_t& received);

    /// The first thing a connection class's destructor does: clears auto-reconnect and sets
    /// FlagDoNotProcess (nothing may reconnect or re-register a connection being destroyed), then
    /// unregisters it, waiting for the network thread when it is served. After this the network
    /// thread no longer calls into the object. A class derived from a library connection whose
    /// overrides use its own members calls this first in its own destructor.
    void unregisterForDestruction();

    /// Logs a failed socket call with the platform's error code and text.
    static void reportSocketError(const char* file, int line, const char* function, int error);
    /// The end of a socket call that returned failure: true when it would only have blocked
    /// (success with what was done so far); otherwise logs it as reportSocketError does, with
    /// `line` of this file, disconnects and returns false.
    bool endFailedSocketCall(int line, const char* function);

    /// The flag bits; change them with fetch_or and fetch_and only (see above).
    std::atomic<uint32_t> flags;
    /// See getReconnectTime().
    int64_t reconnectTime = 0;
    /// The platform socket, InvalidSocket when closed; written only by the thread that owns it.
    std::atomic<Socket> socket{InvalidSocket};
    /// See getAddress().
    SockaddrIn address;
    /// The library's own bookkeeping (connecting turn, pending output, closes counted); not part
    /// of the flags word, which holds only the Flag bits above.
    std::atomic<uint32_t> state{0};

private:
    bool receiveImpl(void* data, size_t size, size_t& received, bool once);
};

} // namespace Tarn::Network
