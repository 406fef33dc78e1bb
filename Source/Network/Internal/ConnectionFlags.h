#pragma once

#include <cstdint>

// Bits of a connection's flags word that the library uses internally, beside the public ones of
// ConnectionBase (0x1, 0x2, 0x4, 0x10000, 0x20000, 0x40000).
namespace Tarn::Network::Detail {

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

inline constexpr uint32_t generationOf(uint32_t flags) {
    return flags >> kGenerationShift;
}

/// Whether the calling thread is the registry's network thread.
bool isNetworkThread();

/// For ConnectionHub: called after a message was queued on a hub whose queue feeds a socket.
/// Wakes the network thread if it is about to wait or waiting. Lock-free; any thread.
void outputQueued();

} // namespace Tarn::Network::Detail
