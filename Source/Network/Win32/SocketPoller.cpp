#include "Network/Internal/SocketPoller.h"

// Winsock's sets hold 64 sockets by default; the network thread watches up to 64 connections and
// its wake-up socket.
#define FD_SETSIZE 128
#include <winsock2.h>
#include <ws2tcpip.h>

// After the socket headers, which must come first.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <vector>

namespace Tarn::Network::Detail {

static_assert(FD_SETSIZE >= 65, "the set must hold 64 connections and the wake-up socket");

// The wake-up handle is a UDP socket bound to 127.0.0.1 and connected to itself: a datagram sent
// to it makes it readable. It is created once and kept for the life of the process, so that a
// thread that signals it late never sends on a socket that has been closed and reused.
struct SocketPoller::State {
    std::atomic<SOCKET> wakeSocket{INVALID_SOCKET};
    std::vector<SOCKET> watched;
    std::vector<bool> writeInterest;
    fd_set readSet{};
    fd_set writeSet{};
};

SocketPoller::SocketPoller() : state(std::make_unique<State>()) {}

SocketPoller::~SocketPoller() = default;

bool SocketPoller::openWaker() {
    if (state->wakeSocket.load(std::memory_order_acquire) != INVALID_SOCKET) {
        return true;
    }
    const SOCKET created =
        ::WSASocketW(AF_INET, SOCK_DGRAM, IPPROTO_UDP, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    if (created == INVALID_SOCKET) {
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof address;
    u_long nonBlocking = 1;
    if (::bind(created, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(created, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        ::connect(created, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::ioctlsocket(created, FIONBIO, &nonBlocking) != 0) {
        ::closesocket(created);
        return false;
    }
    state->wakeSocket.store(created, std::memory_order_release);
    return true;
}

void SocketPoller::wake() {
    const SOCKET wakeSocket = state->wakeSocket.load(std::memory_order_acquire);
    if (wakeSocket != INVALID_SOCKET) {
        const char signal = 1;
        ::send(wakeSocket, &signal, 1, 0);
    }
}

void SocketPoller::clear() {
    state->watched.clear();
    state->writeInterest.clear();
}

void SocketPoller::add(SocketHandle socket, bool write) {
    state->watched.push_back(static_cast<SOCKET>(socket));
    state->writeInterest.push_back(write);
}

bool SocketPoller::contains(SocketHandle socket) const {
    return std::find(state->watched.begin(), state->watched.end(), static_cast<SOCKET>(socket)) !=
           state->watched.end();
}

int SocketPoller::wait(int timeoutMilliseconds) {
    FD_ZERO(&state->readSet);
    FD_ZERO(&state->writeSet);
    for (size_t i = 0; i < state->watched.size(); ++i) {
        FD_SET(state->watched[i], &state->readSet);
        if (state->writeInterest[i]) {
            FD_SET(state->watched[i], &state->writeSet);
        }
    }
    const SOCKET wakeSocket = state->wakeSocket.load(std::memory_order_relaxed);
    if (wakeSocket != INVALID_SOCKET) {
        FD_SET(wakeSocket, &state->readSet);
    }
    if (state->readSet.fd_count == 0) {
        // select refuses empty sets.
        ::Sleep(static_cast<DWORD>(timeoutMilliseconds));
        return 0;
    }
    timeval timeout{timeoutMilliseconds / 1000, (timeoutMilliseconds % 1000) * 1000};
    // The first argument is ignored by Winsock.
    const int ready = ::select(0, &state->readSet, &state->writeSet, nullptr, &timeout);
    if (ready <= 0) {
        FD_ZERO(&state->readSet);
        return 0;
    }
    if (wakeSocket != INVALID_SOCKET && FD_ISSET(wakeSocket, &state->readSet)) {
        char drained[64];
        while (::recv(wakeSocket, drained, sizeof drained, 0) > 0) {
        }
        FD_CLR(wakeSocket, &state->readSet);
    }
    return static_cast<int>(state->readSet.fd_count);
}

bool SocketPoller::readable(SocketHandle socket) const {
    return FD_ISSET(static_cast<SOCKET>(socket), &state->readSet) != 0;
}

} // namespace Tarn::Network::Detail
