#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace Tarn::Testing {

/// A plain blocking TCP socket on 127.0.0.1, for tests that play the other end of a connection
/// byte by byte. Every wait has a deadline. Closed by its destructor.
class LoopbackSocket {
public:
    LoopbackSocket() = default;
    ~LoopbackSocket();
    LoopbackSocket(LoopbackSocket&& other) noexcept;
    LoopbackSocket& operator=(LoopbackSocket&& other) noexcept;
    LoopbackSocket(const LoopbackSocket&) = delete;
    LoopbackSocket& operator=(const LoopbackSocket&) = delete;

    /// A socket listening on 127.0.0.1:`port` (0: any free port); invalid on failure.
    static LoopbackSocket listen(uint16_t port = 0);
    /// A socket connected to 127.0.0.1:`port`; invalid on failure.
    static LoopbackSocket connect(uint16_t port);

    /// Accepts one client within the deadline; invalid on timeout.
    LoopbackSocket accept(std::chrono::milliseconds timeout = std::chrono::seconds(5));

    bool valid() const;
    /// The local port.
    uint16_t port() const;

    bool sendAll(const void* data, size_t size);
    /// Receives exactly `size` bytes; false on a close, an error or the deadline.
    bool receiveAll(void* data, size_t size, std::chrono::milliseconds timeout = std::chrono::seconds(5));
    /// True when the peer closed the connection (or reset it) within the deadline; bytes that
    /// arrive before the close are discarded.
    bool waitForClose(std::chrono::milliseconds timeout = std::chrono::seconds(5));
    void setNoDelay(bool on);
    void close();

    /// TCP_NODELAY of any TCP socket.
    static bool noDelay(uint64_t socket);

private:
    explicit LoopbackSocket(uint64_t socket) : socket(socket) {}
    /// Waits until the socket is readable; false on the deadline.
    bool waitReadable(std::chrono::milliseconds timeout);
    bool receiveUntil(char* bytes, size_t size, bool discard, std::chrono::milliseconds timeout);

    uint64_t socket = ~uint64_t(0);
};

/// Polls `condition` until it holds or `timeout` passes; returns its last value.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds timeout = std::chrono::seconds(10));

} // namespace Tarn::Testing
