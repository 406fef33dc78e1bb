#pragma once

#include <Tarn/Network/ConnectionTCP.h>
#include <Tarn/Network/Message.h>
#include <Tarn/Network/MessageHub.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace Tarn::Network {

namespace Detail {
struct HubStreams;
}

/// A TCP connection that is also a message hub: messages queued on it (directly, or sent by hubs
/// it listens to) are written to the socket, and every frame read from the socket becomes a pooled
/// message that it sends on to its listeners.
///
/// Wire format, one frame per message, both directions, integers little-endian:
///
///     offset 0   u32  message id
///     offset 4   4 bytes padding (written as zeros, ignored when read)
///     offset 8   u64  payload length
///     offset 16  the payload
///
/// Everything runs on the network thread. Output: queued messages are framed into a send buffer
/// (small payloads copied, large ones written from the message itself) and written as far as the
/// socket takes them; what it does not take waits for the next pass, and the registry then also
/// waits for room to write. Input: the socket is read in large blocks and cut into frames; frames
/// and headers split across reads resume on the next pass. A closed or failed socket drops the
/// frame in flight in each direction; on a new connection both directions start afresh.
///
/// A frame longer than setMaxPayloadSize() (when set) or than the machine could ever hold, or one
/// whose payload cannot be allocated, is refused: one Warning in "Connection" ("Frame of <n>
/// bytes refused on socket <s>: <reason>.") and disconnect(). A peer cannot make the process
/// allocate more than that limit, crash it or stall the network thread.
///
/// When the socket cannot take anything at the start of a message, the thread retries every
/// millisecond; after 1000 tries (about a second) it drops that message (nothing of it was
/// written, so the stream stays whole) and returns false. A message partly written is always
/// completed.
class TARN_API ConnectionHub : public ConnectionTCP, public MessageHub {
public:
    /// No socket yet: connect() or listen(). `id` is the hub id.
    explicit ConnectionHub(uint32_t id);
    /// An accepted socket; hub id 0. Registered once fully constructed.
    ConnectionHub(Socket socket, const SockaddrIn& address);
    /// Unregisters (waiting for the network thread), unlinks the hub from its senders, drops the
    /// frames in flight, then the hub and the TCP connection go.
    ~ConnectionHub() override;

    bool processOutgoing() override;
    bool processIncoming() override;

    /// The largest payload accepted from the peer, in bytes; 0 (the default) means no limit of
    /// our own. May be changed at any time; applies from the next frame header.
    ///@{
    void setMaxPayloadSize(uint64_t bytes);
    uint64_t getMaxPayloadSize() const;
    ///@}

protected:
    /// Called on the network thread with each complete frame: sends it to this hub's listeners.
    virtual void handleReceivedMessage(const MessagePtr& message);

private:
    void resetOutput();
    void resetInput();
    bool beginFrame(uint32_t messageId, uint64_t length);
    bool deliverBuffered();
    void stageMessages(bool firstOnly);
    void setWantWrite(bool on);

    MessagePtr outgoing;
    uint64_t outgoingSent = 0;
    MessagePtr incoming;
    std::unique_ptr<Detail::HubStreams> streams;
    std::atomic<uint64_t> maxPayloadSize{0};
};

} // namespace Tarn::Network
