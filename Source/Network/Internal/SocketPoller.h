#pragma once

#include "Network/Internal/SocketApi.h"

#include <memory>

namespace Tarn::Network::Detail {

/// The network thread's wait: a set of sockets watched for input (and, for some, for room to
/// write), plus a wake-up handle that any thread can signal to end the wait early. Linux waits
/// with poll() on an eventfd and the sockets (select() cannot hold descriptors at or above
/// FD_SETSIZE); Windows with select() on the sockets and a loopback datagram socket that sends
/// to itself.
///
/// Only the network thread builds the set and waits; `wake` may be called from any thread once
/// `openWaker` has succeeded, and stays callable for the life of the process.
class SocketPoller {
public:
    SocketPoller();
    ~SocketPoller();
    SocketPoller(const SocketPoller&) = delete;
    SocketPoller& operator=(const SocketPoller&) = delete;

    /// Creates the wake-up handle unless it exists already. False when the platform refuses; the
    /// loop then wakes only at its timeout.
    bool openWaker();
    /// Ends the current or the next wait early. Safe from any thread, any number of times.
    void wake();

    /// Empties the set.
    void clear();
    /// Watches `socket` for input, and with `write` also for room to write.
    void add(SocketHandle socket, bool write);
    /// Whether `socket` is in the set.
    bool contains(SocketHandle socket) const;
    /// Waits until a watched socket is ready, the waker was signalled or `timeoutMilliseconds`
    /// have passed. Returns the number of sockets ready for input (the waker is drained and not
    /// counted); 0 on timeout or error.
    int wait(int timeoutMilliseconds);
    /// After `wait`: whether `socket` has input, an error or a closed peer to read.
    bool readable(SocketHandle socket) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace Tarn::Network::Detail
