#pragma once

#include <Tarn/Foundation/Export.h>

// The connection registry: the one "Network" thread of the process and the connections it serves.
//
// Every pass of the thread: connections added since the last pass join the served (active) list;
// each connection's processOutgoing() runs; the thread waits up to 50 ms for input on at most 64
// sockets (with more connections, successive passes take the next 64, so every socket is watched
// at least once every ceil(n / 64) passes), for room to write on those with output waiting, or
// for a wake-up; processIncoming() runs on each connection with input; then the reap: a closed
// connection is deleted (delete flag), reconnected (auto-reconnect) or dropped; an open one with
// the remove flag is disconnected, deleted when it has the delete flag, and dropped. With nothing
// to serve the thread sleeps until the next addConnection.
//
// A message queued on a ConnectionHub (directly, or sent by a hub it listens to) wakes the thread
// at once; the 50 ms timeout only bounds everything else.
//
// processOutgoing, processIncoming, reconnect and the reap run on the network thread with the
// registry's mutex held. Calls made from the network thread itself (from inside those) neither
// take the mutex again nor wait.

namespace Tarn::Network {

class ConnectionBase;

/// Registers `connection` with the network thread, starting the thread if it is not running.
/// A connection that is registered already is left as it is.
TARN_API void addConnection(ConnectionBase* connection);

/// Unregisters `connection`. One added since the last pass is dropped at once; one being served
/// gets its remove flag and the call waits until the thread has dropped it (the reap disconnects
/// it). Called on the network thread, it only sets the flag. Note that the reap keeps a closed
/// connection with auto-reconnect enabled until a reconnect succeeds: disable auto-reconnect
/// first. Destructors of the library's connections do that themselves.
TARN_API void removeConnection(ConnectionBase* connection);

/// Stops the network thread and waits for it. The registered connections are forgotten, neither
/// disconnected nor deleted. Does nothing without a thread; the next addConnection starts a fresh
/// one. Called on the network thread itself it throws std::system_error
/// (resource_deadlock_would_occur), as joining a thread from itself does.
///
/// The thread is not stopped when the library unloads (joining a thread while a module unloads
/// deadlocks on Windows): applications call closedown() before they exit.
TARN_API void closedown();

/// Whether the network thread is running.
TARN_API bool isNetworkThreadRunning();

} // namespace Tarn::Network
