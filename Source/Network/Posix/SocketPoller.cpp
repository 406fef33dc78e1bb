#include "Network/Internal/SocketPoller.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <vector>

namespace Tarn::Network::Detail {

// The eventfd sits at index 0 of the poll array, the watched sockets follow in the order they
// were added. The eventfd is opened once and kept for the life of the process, so that a thread
// that signals it late (after the network thread has ended) never writes to a descriptor that has
// been closed and reused.
struct SocketPoller::State {
    std::atomic<int> wakeFd{-1};
    std::vector<pollfd> entries{pollfd{-1, 0, 0}};
};

SocketPoller::SocketPoller() : state(std::make_unique<State>()) {}

SocketPoller::~SocketPoller() = default;

bool SocketPoller::openWaker() {
    if (state->wakeFd.load(std::memory_order_acquire) >= 0) {
        return true;
    }
    const int created = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (created < 0) {
        return false;
    }
    state->wakeFd.store(created, std::memory_order_release);
    state->entries[0] = pollfd{created, POLLIN, 0};
    return true;
}

void SocketPoller::wake() {
    const int wakeFd = state->wakeFd.load(std::memory_order_acquire);
    if (wakeFd >= 0) {
        const uint64_t one = 1;
        // A full counter (never, in practice) is as good as a signal: the fd is readable already.
        [[maybe_unused]] const ssize_t written = ::write(wakeFd, &one, sizeof one);
    }
}

void SocketPoller::clear() {
    state->entries.resize(1);
}

void SocketPoller::add(SocketHandle socket, bool write) {
    state->entries.push_back(
        pollfd{static_cast<int>(socket), static_cast<short>(write ? POLLIN | POLLOUT : POLLIN), 0});
}

bool SocketPoller::contains(SocketHandle socket) const {
    return std::any_of(state->entries.begin() + 1, state->entries.end(),
                       [&](const pollfd& entry) { return entry.fd == static_cast<int>(socket); });
}

int SocketPoller::wait(int timeoutMilliseconds) {
    for (pollfd& entry : state->entries) {
        entry.revents = 0;
    }
    // Without a waker the entry at index 0 holds -1, which poll skips.
    const int ready = ::poll(state->entries.data(), state->entries.size(), timeoutMilliseconds);
    if (ready <= 0) {
        return 0;
    }
    if (state->entries[0].revents & POLLIN) {
        uint64_t count;
        [[maybe_unused]] const ssize_t drained = ::read(state->entries[0].fd, &count, sizeof count);
    }
    int readableCount = 0;
    for (size_t i = 1; i < state->entries.size(); ++i) {
        if (state->entries[i].revents & (POLLIN | POLLERR | POLLHUP)) {
            ++readableCount;
        }
    }
    return readableCount;
}

bool SocketPoller::readable(SocketHandle socket) const {
    for (size_t i = 1; i < state->entries.size(); ++i) {
        const pollfd& entry = state->entries[i];
        if (entry.fd == static_cast<int>(socket)) {
            return (entry.revents & (POLLIN | POLLERR | POLLHUP)) != 0;
        }
    }
    return false;
}

} // namespace Tarn::Network::Detail
