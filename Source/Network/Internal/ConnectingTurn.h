#pragma once

#include <Tarn/Network/ConnectionBase.h>

#include "Network/Internal/ConnectionFlags.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace Tarn::Network::Detail {

// One thread at a time works a connection's socket while another may connect it. The network
// thread reconnects a closed auto-reconnecting connection in its reap, and serves its socket every
// pass, while the application may call connect() or disconnect() on it. Two connects at once
// would each open a socket (one of them then lost) and connect() would change the address the
// other is connecting to; a pass that read from a socket number just closed and reused by a
// connect in progress would block on the new, still blocking socket.
//
// The network thread never waits for the turn: it holds the registry's mutex, which the other
// thread's connect needs to register the connection; it leaves the connection alone for that
// pass (and a connect in progress elsewhere does the reconnect's job). Other threads wait;
// connecting may block for as long as the system's connect does, so the wait sleeps rather than
// spins. A thread that holds the turn (connect() calling reconnect(), a pass whose
// processIncoming disconnects and reconnects) goes on without taking it again.
class ConnectingTurn {
public:
    explicit ConnectingTurn(ConnectionBase& connection) : state(stateOf(connection)) {
        if (holder == &connection) {
            acquired = true;
            return;
        }
        const bool mayWait = !isNetworkThread();
        for (unsigned attempt = 0;
             state.fetch_or(kFlagConnecting, std::memory_order_acquire) & kFlagConnecting; ++attempt) {
            if (!mayWait) {
                return;
            }
            if (attempt < 16) {
                std::this_thread::yield();
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        acquired = true;
        previous = holder;
        holder = &connection;
        owner = true;
    }
    ~ConnectingTurn() {
        if (owner) {
            holder = previous;
            state.fetch_and(~kFlagConnecting, std::memory_order_release);
        }
    }
    ConnectingTurn(const ConnectingTurn&) = delete;
    ConnectingTurn& operator=(const ConnectingTurn&) = delete;

    explicit operator bool() const { return acquired; }

private:
    static inline thread_local const ConnectionBase* holder = nullptr;
    std::atomic<uint32_t>& state;
    const ConnectionBase* previous = nullptr;
    bool acquired = false;
    bool owner = false;
};

} // namespace Tarn::Network::Detail
