#pragma once

#include <Tarn/Network/ConnectionBase.h>

#include <atomic>
#include <cstdint>

// Bits of a connection's internal state word. They are kept out of the flags word so that it
// holds exactly the documented bits (0x1, 0x2, 0x4, 0x10000, 0x20000, 0x40000) whatever the
// connection went through.
namespace Tarn::Network::Detail {

// The state word is protected; naming it through a derived class gives a pointer to the member
// that any connection can be reached through.
struct StateAccess : ConnectionBase {
    static std::atomic<uint32_t>& of(ConnectionBase& connection) { return connection.*(&StateAccess::state); }
};
inline std::atomic<uint32_t>& stateOf(ConnectionBase& connection) {
    return StateAccess::of(connection);
}
inline uint32_t stateOf(const ConnectionBase& connection) {
    return StateAccess::of(const_cast<ConnectionBase&>(connection)).load(std::memory_order_acquire);
}

/// A connection hub has output waiting for room in the socket: the registry watches the socket
/// for writing as well.
inline constexpr uint32_t kFlagWantWrite = 0x100000;

/// Set while create() closes an open socket: that disconnect must not reconnect, since create()
/// is about to open the new socket itself.
inline constexpr uint32_t kFlagCreating = 0x200000;

/// Held while a thread connects the socket (connect, or reconnect from anywhere): see
/// ConnectingTurn in the TCP connection.
inline constexpr uint32_t kFlagConnecting = 0x400000;

/// The top eight bits count the sockets closed on this connection, modulo 256. A hub compares it
/// with the value it last saw to notice that its socket was replaced (by a disconnect and
/// reconnect made anywhere), so that no half-sent or half-read frame carries over to the new one.
inline constexpr uint32_t kGenerationShift = 24;
inline constexpr uint32_t kGenerationUnit = 1u << kGenerationShift;

inline uint32_t generationOf(const ConnectionBase& connection) {
    return stateOf(connection) >> kGenerationShift;
}

/// Whether the calling thread is the registry's network thread.
bool isNetworkThread();

/// For ConnectionHub: called after a message was queued on a hub whose queue feeds a socket.
/// Wakes the network thread if it is about to wait or waiting. Lock-free; any thread.
void outputQueued();

} // namespace Tarn::Network::Detail
