#include <Tarn/Application/Threads.h>
#include <Tarn/Application/Timer.h>
#include <Tarn/Network/ConnectionBase.h>
#include <Tarn/Network/ConnectionRegistry.h>

#include "Network/Internal/ConnectingTurn.h"
#include "Network/Internal/ConnectionFlags.h"
#include "Network/Internal/NetworkLog.h"
#include "Network/Internal/ReleaseBatch.h"
#include "Network/Internal/SocketPoller.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace Tarn::Network {

using namespace Detail;

namespace {

constexpr size_t kSocketsPerPass = 64;
constexpr uint32_t kArmed = 1;
constexpr uint32_t kSignalled = 2;
constexpr int kWaitMilliseconds = 50;

// Is the calling thread the network thread? Registry calls made from it (from inside
// processOutgoing, processIncoming, reconnect, disconnect and destructors run by the loop) find
// the mutex held already and must not wait for the loop.
thread_local bool onNetworkThread = false;

enum class ThreadState { Stopped, Running, Stopping };

struct Registry {
    std::mutex mutex;
    std::vector<ConnectionBase*> pending; // added since the last pass
    std::vector<ConnectionBase*> active;  // served
    ThreadState state = ThreadState::Stopped;
    // Touched only while starting (state Stopped, under the mutex) and by closedown (state
    // Stopping, serialised by closedownMutex).
    std::thread thread;
    std::mutex closedownMutex;
    std::condition_variable wake;    // an idle thread waits here for connections or quit
    std::condition_variable changed; // the lists changed; removeConnection waits here
    std::atomic<bool> quit{false};
    size_t roundRobin = 0;
    SocketPoller poller;

    // Wake-on-send (see outputQueued): kArmed from before the thread reads the hubs' queues until
    // its wait has ended; kSignalled makes one wake-up per wait enough. Changed only by
    // read-modify-write operations, on both sides.
    alignas(64) std::atomic<uint32_t> wakeState{0};
};

// Never destroyed: connections that are static objects of other modules unregister at unload.
Registry& registry() {
    static auto* instance = new Registry();
    return *instance;
}

bool contains(const std::vector<ConnectionBase*>& list, const ConnectionBase* connection) {
    return std::find(list.begin(), list.end(), connection) != list.end();
}

// A lock on the registry mutex for the caller, or none for the network thread, which holds it.
std::unique_lock<std::mutex> lockUnlessNetworkThread(Registry& shared) {
    return onNetworkThread ? std::unique_lock<std::mutex>() : std::unique_lock<std::mutex>(shared.mutex);
}

void emptyLists(Registry& shared) {
    shared.pending.clear();
    shared.active.clear();
    shared.roundRobin = 0;
}

// The read set: every open socket when there are fewer than 64 connections; otherwise the next 64
// of the list from the round-robin index on, so that successive passes cover every connection.
void buildWaitSet(Registry& shared) {
    SocketPoller& poller = shared.poller;
    poller.clear();
    const std::vector<ConnectionBase*>& active = shared.active;
    const size_t count = active.size();
    auto watch = [&](ConnectionBase* connection) {
        const ConnectionBase::Socket socket = connection->getSocket();
        // Not one that another thread is connecting: its socket may be replaced during the wait.
        if (socket != ConnectionBase::InvalidSocket && !(stateOf(*connection) & kFlagConnecting) &&
            !poller.contains(socket)) {
            poller.add(socket, (stateOf(*connection) & kFlagWantWrite) != 0);
            return true;
        }
        return false;
    };
    if (count < kSocketsPerPass) {
        for (ConnectionBase* connection : active) {
            watch(connection);
        }
        return;
    }
    if (shared.roundRobin >= count) {
        shared.roundRobin = 0;
    }
    size_t watched = 0;
    for (size_t i = 0; i < kSocketsPerPass && watched < kSocketsPerPass; ++i) {
        watched += watch(active[(shared.roundRobin + i) % count]) ? 1 : 0;
    }
    shared.roundRobin = (shared.roundRobin + kSocketsPerPass) % count;
}

// Drops, deletes or reconnects connections, in list order. Runs with the mutex held; deleting a
// connection runs its destructor here, whose removeConnection (on this thread) only sets a flag.
void reap(Registry& shared) {
    const int64_t nowMilliseconds = Timer::currentTimeMilliseconds();
    std::vector<ConnectionBase*>& active = shared.active;
    for (size_t i = 0; i < active.size();) {
        ConnectionBase* connection = active[i];
        if (!connection->isConnected()) {
            if (connection->shouldDelete()) {
                active.erase(active.begin() + static_cast<ptrdiff_t>(i));
                delete connection;
            } else if (connection->isAutoConnectEnabled()) {
                if (connection->getReconnectTime() < nowMilliseconds) {
                    connection->reconnect();
                }
                ++i;
            } else {
                active.erase(active.begin() + static_cast<ptrdiff_t>(i));
            }
        } else if (connection->shouldRemove()) {
            connection->disconnect();
            active.erase(active.begin() + static_cast<ptrdiff_t>(i));
            if (connection->shouldDelete()) {
                delete connection;
            }
        } else {
            ++i;
        }
    }
}

void networkLoop() {
    onNetworkThread = true;
    Registry& shared = registry();
    if (!shared.poller.openWaker()) {
        connectionLog().log(Logging::Category::Warning,
                            "Network thread: no wake-up socket; queued messages wait up to %d ms.",
                            kWaitMilliseconds);
    }
    std::unique_lock lock(shared.mutex);
    while (!shared.quit.load()) {
        // Newcomers join the served list; removeConnection waiters look again.
        shared.active.insert(shared.active.end(), shared.pending.begin(), shared.pending.end());
        shared.pending.clear();
        lock.unlock();
        shared.changed.notify_all();
        lock.lock();

        if (shared.active.empty()) {
            shared.wake.wait(lock, [&] { return shared.quit.load() || !shared.pending.empty(); });
            continue;
        }

        // Armed before any queue is read: a message queued after its hub's queue was read below
        // finds kArmed and wakes the wait (see outputQueued).
        shared.wakeState.exchange(kArmed, std::memory_order_acq_rel);

        {
            // The messages sent in this pass go back to the pool together, before the wait.
            const Detail::MessageReleaseBatch batch;
            for (ConnectionBase* connection : shared.active) {
                if (const ConnectingTurn turn(*connection); turn) {
                    connection->processOutgoing();
                }
            }
        }
        buildWaitSet(shared);

        lock.unlock();
        const int ready = shared.poller.wait(kWaitMilliseconds);
        // A read-modify-write, not a store, so that the chain of them stays unbroken.
        shared.wakeState.exchange(0, std::memory_order_acq_rel);
        lock.lock();

        if (ready > 0) {
            const Detail::MessageReleaseBatch batch;
            for (size_t i = 0; i < shared.active.size(); ++i) {
                ConnectionBase* connection = shared.active[i];
                const ConnectionBase::Socket socket = connection->getSocket();
                if (socket == ConnectionBase::InvalidSocket || !shared.poller.readable(socket)) {
                    continue;
                }
                // The turn only for the readable ones; the socket must still be the one watched.
                const ConnectingTurn turn(*connection);
                if (turn && connection->getSocket() == socket) {
                    connection->processIncoming();
                }
            }
        }
        reap(shared);
    }
    emptyLists(shared);
    lock.unlock();
    shared.changed.notify_all();
}

// Call with the mutex held and the state Stopped.
void startThread(Registry& shared) {
    try {
        shared.thread = std::thread(networkLoop);
    } catch (const std::system_error& error) {
        connectionLog().log(Logging::Category::Error, "Failed to start the network thread: %s", error.what());
        return;
    }
    Threads::setName(shared.thread, "Network");
    shared.state = ThreadState::Running;
}

} // namespace

void addConnection(ConnectionBase* connection) {
    if (!connection) {
        return;
    }
    Registry& shared = registry();
    std::unique_lock lock = lockUnlessNetworkThread(shared);
    if (contains(shared.pending, connection) || contains(shared.active, connection)) {
        return;
    }
    shared.pending.push_back(connection);
    if (shared.state == ThreadState::Stopped) {
        startThread(shared);
    } else if (!onNetworkThread) {
        // A thread that is stopping takes the newcomer along when it empties the lists; closedown
        // then starts a fresh one for connections added after that.
        lock.unlock();
        shared.wake.notify_all();
        shared.poller.wake();
    }
}

void removeConnection(ConnectionBase* connection) {
    if (!connection) {
        return;
    }
    Registry& shared = registry();
    std::unique_lock lock = lockUnlessNetworkThread(shared);
    const auto pending = std::find(shared.pending.begin(), shared.pending.end(), connection);
    if (pending != shared.pending.end()) {
        shared.pending.erase(pending);
        return;
    }
    if (!contains(shared.active, connection)) {
        return;
    }
    connection->remove();
    if (onNetworkThread) {
        return; // the reap of this pass drops it
    }
    shared.poller.wake();
    shared.changed.wait(lock, [&] { return !contains(shared.active, connection); });
}

void closedown() {
    if (onNetworkThread) {
        // It holds the registry mutex and would join itself.
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                "closedown() on the network thread");
    }
    Registry& shared = registry();
    std::lock_guard serial(shared.closedownMutex);
    std::unique_lock lock(shared.mutex);
    if (shared.state != ThreadState::Running) {
        return;
    }
    shared.state = ThreadState::Stopping;
    shared.quit.store(true);
    lock.unlock();
    shared.wake.notify_all();
    shared.poller.wake();
    shared.thread.join();
    lock.lock();
    shared.thread = std::thread();
    shared.quit.store(false);
    shared.state = ThreadState::Stopped;
    if (!shared.pending.empty()) {
        startThread(shared);
    }
}

bool isNetworkThreadRunning() {
    Registry& shared = registry();
    std::unique_lock lock = lockUnlessNetworkThread(shared);
    return shared.state == ThreadState::Running;
}

namespace Detail {

bool isNetworkThread() {
    return onNetworkThread;
}

// The producer's half of the wake-up (the network thread's is in networkLoop). The message was
// published by the queue before this call. Every change of wakeState is a read-modify-write, so
// they form one chain: if this one comes after the thread's arming, it finds kArmed and signals
// (once per wait: kSignalled); if it comes before, the thread's arming reads from it (or from a
// later link of the chain) and so sees the message when it reads the queues. No fences, which
// ThreadSanitizer cannot follow.
void outputQueued() {
    Registry& shared = registry();
    if (shared.wakeState.fetch_or(kSignalled, std::memory_order_acq_rel) == kArmed) {
        shared.poller.wake();
    }
}

} // namespace Detail

} // namespace Tarn::Network
