#include <Tarn/Network/ConnectionBase.h>
#include <Tarn/Network/ConnectionTCP.h>
#include <Tarn/Network/ConnectionUDP.h>

#include "Network/Internal/ConnectingTurn.h"
#include "Network/Internal/ConnectionFlags.h"
#include "Network/Internal/NetworkLog.h"
#include "Network/Internal/SocketApi.h"

namespace Tarn::Network {

using namespace Detail;
using Logging::Category;

namespace {
long long printable(ConnectionBase::Socket socket) {
    return static_cast<long long>(socket);
}

} // namespace

// ---- ConnectionBase ----------------------------------------------------------------------------

ConnectionBase::ConnectionBase() : ConnectionBase(0) {}

ConnectionBase::ConnectionBase(uint32_t initialFlags) : flags(initialFlags) {}

ConnectionBase::~ConnectionBase() = default;

bool ConnectionBase::isAutoConnectEnabled() const {
    return false;
}

bool ConnectionBase::reconnect() {
    return false;
}

bool ConnectionBase::processOutgoing() {
    return true;
}

bool ConnectionBase::processIncoming() {
    return true;
}

bool ConnectionBase::connect(const SockaddrIn& /*address*/) {
    return false;
}

ConnectionTCP* ConnectionBase::accept(Socket /*socket*/, const SockaddrIn& /*address*/) {
    return nullptr;
}

uint16_t ConnectionBase::family() const {
    return familyInet();
}

void ConnectionBase::create() {
    if (isConnected()) {
        state.fetch_or(kFlagCreating);
        disconnect();
        state.fetch_and(~kFlagCreating);
    }
    const SocketHandle created = openSocket(familyInet(), type(), proto());
    if (created == kInvalidSocket) {
        connectionLog().log(Category::Error, "Failed to create socket.");
        return;
    }
    socket.store(created, std::memory_order_release);
}

void ConnectionBase::close() {
    const Socket closing = getSocket();
    connectionLog().log(Category::Info, "Closing socket %lld.", printable(closing));
    if (closing != InvalidSocket) {
        closeSocket(closing);
    }
    socket.store(InvalidSocket, std::memory_order_release);
    state.fetch_add(kGenerationUnit);
}

bool ConnectionBase::bind(uint16_t port) {
    return bind(AddrIn(), port);
}

bool ConnectionBase::bind(const AddrIn& ip, uint16_t port) {
    create();
    if (!isConnected()) {
        return false;
    }
    address = SockaddrIn(ip, port);
    if (bindSocket(getSocket(), address.getPtr(), address.size())) {
        if (!(getFlags() & FlagDoNotProcess)) {
            addConnection(this);
        }
        return true;
    }
    // The C runtime's errno rather than the socket error, on purpose: on Windows it does not
    // describe the failure. Read before anything else can change it.
    const int error = lastRuntimeError();
    connectionLog().log(Category::Error, "Failed to bind to %s:%d. Error: %d", ip.string().c_str(), port,
                        error);
    disconnect();
    return false;
}

bool ConnectionBase::send(const void* data, size_t size, size_t& sent) {
    sent = 0;
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (sent < size) {
        const int64_t count = sendSocket(getSocket(), bytes + sent, size - sent);
        if (count > 0) {
            sent += static_cast<size_t>(count);
            continue;
        }
        if (count == 0) {
            return true; // nothing taken, no error: as would-block
        }
        return endFailedSocketCall(__LINE__, "Tarn::Network::ConnectionBase::send");
    }
    return true;
}

bool ConnectionBase::receive(void* data, size_t size, size_t& received) {
    return receiveImpl(data, size, received, false);
}

bool ConnectionBase::receiveAvailable(void* data, size_t size, size_t& received) {
    return receiveImpl(data, size, received, true);
}

bool ConnectionBase::receiveImpl(void* data, size_t size, size_t& received, bool once) {
    received = 0;
    auto* bytes = static_cast<uint8_t*>(data);
    while (received < size) {
        const int64_t count = receiveSocket(getSocket(), bytes + received, size - received);
        if (count > 0) {
            received += static_cast<size_t>(count);
            if (once) {
                break;
            }
            continue;
        }
        if (count == 0) {
            // The peer closed the connection: an ordinary end, not reported.
            disconnect();
            return false;
        }
        return endFailedSocketCall(__LINE__, "Tarn::Network::ConnectionBase::receive");
    }
    return true;
}

bool ConnectionBase::sendTo(const void* data, size_t size, size_t& sent, const SockaddrIn& to) {
    sent = 0;
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (sent < size) {
        const int64_t count = sendToSocket(getSocket(), bytes + sent, size - sent, to.getPtr(), to.size());
        if (count > 0) {
            sent += static_cast<size_t>(count);
            continue;
        }
        if (count == 0) {
            return true;
        }
        return endFailedSocketCall(__LINE__, "Tarn::Network::ConnectionBase::sendTo");
    }
    return true;
}

bool ConnectionBase::recvFrom(void* data, size_t size, size_t& received, SockaddrIn& from) {
    received = 0;
    int32_t fromSize = from.size();
    const int64_t count = receiveFromSocket(getSocket(), data, size, from.getPtr(), &fromSize);
    if (count > 0) {
        received += static_cast<size_t>(count);
        return true;
    }
    if (count == 0) {
        disconnect();
        return false;
    }
    return endFailedSocketCall(__LINE__, "Tarn::Network::ConnectionBase::recvFrom");
}

bool ConnectionBase::setNonblocking(bool on) {
    return isConnected() && setSocketNonBlocking(getSocket(), on);
}

void ConnectionBase::remove() {
    flags.fetch_or(FlagRemove);
}

void ConnectionBase::removeAndDelete() {
    flags.fetch_or(FlagRemove | FlagDelete);
}

void ConnectionBase::setDeleteOnClose() {
    flags.fetch_or(FlagDelete);
}

void ConnectionBase::setDoNotProcess() {
    flags.fetch_or(FlagDoNotProcess);
}

void ConnectionBase::enableAutoReconnect() {
    flags.fetch_or(FlagAutoReconnect);
}

void ConnectionBase::disableAutoReconnect() {
    flags.fetch_and(~FlagAutoReconnect);
}

void ConnectionBase::unregisterForDestruction() {
    flags.fetch_and(~FlagAutoReconnect);
    flags.fetch_or(FlagDoNotProcess);
    removeConnection(this);
}

bool ConnectionBase::endFailedSocketCall(int line, const char* function) {
    const int error = lastSocketError();
    if (isWouldBlock(error)) {
        return true;
    }
    reportSocketError(__FILE__, line, function, error);
    disconnect();
    return false;
}

void ConnectionBase::reportSocketError(const char* file, int line, const char* function, int error) {
    connectionLog().log(Category::Warning, "%s(%d): %s: WSAGetLastError %d (%s)", file, line, function, error,
                        socketErrorText(error).c_str());
}

// ---- ConnectionTCP -----------------------------------------------------------------------------

ConnectionTCP::ConnectionTCP() : ConnectionBase(FlagNoDelayPending) {}

ConnectionTCP::ConnectionTCP(Socket accepted, const SockaddrIn& peer)
    : ConnectionTCP(accepted, peer, Unregistered{}) {
    addConnection(this);
}

ConnectionTCP::ConnectionTCP(Socket accepted, const SockaddrIn& peer, Unregistered)
    : ConnectionBase(FlagNoDelayPending) {
    socket.store(accepted, std::memory_order_release);
    address = peer;
    if (accepted != InvalidSocket) {
        setSocketNonBlocking(accepted, true);
    }
}

ConnectionTCP::~ConnectionTCP() {
    unregisterForDestruction();
    disconnect();
}

int32_t ConnectionTCP::type() const {
    return kSockStream;
}

int32_t ConnectionTCP::proto() const {
    return kProtoTcp;
}

bool ConnectionTCP::isAutoConnectEnabled() const {
    return (getFlags() & FlagAutoReconnect) != 0;
}

bool ConnectionTCP::reconnect() {
    const ConnectingTurn turn(*this);
    if (!turn) {
        return false; // another thread is connecting this connection right now
    }
    create();
    if (!isConnected()) {
        return false;
    }
    const Socket opened = getSocket();
    connectionLog().log(Category::Info, "Reconnecting socket %lld to %s:%d.", printable(opened),
                        address.ip().string().c_str(), address.port());
    if (connectSocket(opened, address.getPtr(), address.size())) {
        // A socket that is new has TCP_NODELAY off, so only a pending "on" needs a call.
        const uint32_t before = flags.fetch_and(~FlagNoDelayPending);
        if (before & FlagNoDelayPending) {
            setSocketNoDelay(opened, true);
        }
        setSocketNonBlocking(opened, true);
        flags.fetch_and(~FlagRemove);
        if (!(getFlags() & FlagDoNotProcess)) {
            addConnection(this);
        }
        return true;
    }
    const int error = lastSocketError();
    if (!isAutoConnectEnabled()) {
        reportSocketError(__FILE__, __LINE__, "Tarn::Network::ConnectionTCP::reconnect", error);
    }
    // Closed before the registry may see it: the network thread would otherwise take the failed
    // socket for a live one and could shut it down after this thread closed it and the number had
    // gone to a new socket (another connection's listener, say).
    close();
    if (isAutoConnectEnabled() && !(getFlags() & FlagDoNotProcess)) {
        // The registry retries it; a peer that is away is no news worth a line per attempt.
        addConnection(this);
    }
    return false;
}

bool ConnectionTCP::disconnect() {
    // Not while the network thread reads or writes the socket (another thread waits for the
    // pass to be done with it); the network thread itself leaves a connection being connected
    // elsewhere to that connect, whose socket is the one that counts.
    const ConnectingTurn turn(*this);
    if (!turn) {
        return true;
    }
    const Socket open = getSocket();
    if (open != InvalidSocket) {
        connectionLog().log(Category::Info, "Disconnecting socket %lld.", printable(open));
        shutdownSocket(open);
        close();
    }
    const uint32_t current = flags.fetch_and(~FlagListening) & ~FlagListening;
    if ((current & FlagAutoReconnect) && !(state.load() & kFlagCreating)) {
        return !reconnect();
    }
    return true;
}

bool ConnectionTCP::processOutgoing() {
    return true;
}

bool ConnectionTCP::processIncoming() {
    if (!isListening()) {
        return true;
    }
    SockaddrIn peer;
    int32_t peerSize = peer.size();
    const SocketHandle accepted = acceptSocket(getSocket(), peer.getPtr(), &peerSize);
    if (accepted == kInvalidSocket) {
        return false;
    }
    ConnectionTCP* connection = accept(accepted, peer);
    if (connection) {
        const bool noDelay = (getFlags() & FlagNoDelayPending) != 0;
        connection->flags.fetch_and(~FlagNoDelayPending);
        if (connection->isConnected()) {
            setSocketNoDelay(connection->getSocket(), noDelay);
        }
        return true;
    }
    shutdownSocket(accepted);
    closeSocket(accepted);
    return false;
}

bool ConnectionTCP::connect(const SockaddrIn& to) {
    const ConnectingTurn turn(*this);
    if (!turn) {
        return false; // called on the network thread while another thread connects it
    }
    address = to;
    return reconnect();
}

ConnectionTCP* ConnectionTCP::accept(Socket /*socket*/, const SockaddrIn& /*address*/) {
    return nullptr;
}

bool ConnectionTCP::listen(uint16_t port) {
    return listen(AddrIn(), port);
}

bool ConnectionTCP::listen(const AddrIn& ip, uint16_t port) {
    create();
    if (!isConnected()) {
        return false;
    }
    const Socket opened = getSocket();
    address = SockaddrIn(ip, port);
    prepareListener(opened);
    if (bindSocket(opened, address.getPtr(), address.size()) && listenSocket(opened, 0x7FFFFFFF)) {
        connectionLog().log(Category::Info, "Socket %lld listening for connections on %s:%d.",
                            printable(opened), ip.string().c_str(), port);
        // Readiness can be stale by the time accept() runs (a client that gave up in between);
        // a non-blocking listener then reports would-block instead of stopping the thread.
        setSocketNonBlocking(opened, true);
        flags.fetch_or(FlagListening);
        if (!(getFlags() & FlagDoNotProcess)) {
            addConnection(this);
        }
        return true;
    }
    reportSocketError(__FILE__, __LINE__, "Tarn::Network::ConnectionTCP::listen", lastSocketError());
    disconnect();
    return false;
}

void ConnectionTCP::setNoDelay(bool on) {
    flags.fetch_and(~FlagNoDelayPending);
    if (isConnected()) {
        setSocketNoDelay(getSocket(), on);
    }
}

void ConnectionTCP::shutdown() {
    shutdownSocket(getSocket());
}

uint16_t ConnectionBase::getLocalPort() const {
    SockaddrIn bound;
    int32_t size = bound.size();
    if (!isConnected() || !localSocketAddress(getSocket(), bound.getPtr(), &size)) {
        return 0;
    }
    return bound.port();
}

// ---- ConnectionUDP -----------------------------------------------------------------------------

ConnectionUDP::ConnectionUDP() = default;

// Unlike TCP's disconnect, UDP's closes (and says so) whether or not a socket is open.
ConnectionUDP::~ConnectionUDP() {
    unregisterForDestruction();
    close();
}

int32_t ConnectionUDP::type() const {
    return kSockDatagram;
}

int32_t ConnectionUDP::proto() const {
    return kProtoUdp;
}

bool ConnectionUDP::disconnect() {
    const ConnectingTurn turn(*this); // as for TCP: not under a pass that reads the socket
    if (turn) {
        close();
    }
    return true;
}

} // namespace Tarn::Network
