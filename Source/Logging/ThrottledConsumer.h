#pragma once

#include <Tarn/Logging/Consumer.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace Tarn::Logging {

/// A consumer that collapses repeated messages.
///
/// Messages are keyed by log name, text, file and line. With throttling enabled, the first
/// occurrence is written at once and then held back for 100 ms; repeats meanwhile are only counted.
/// Once the hold-back has expired, the next message reaching this consumer (or a flush) writes the
/// repeats as one line whose prefix carries " *N", and holds the entry back for N x 100 ms; an
/// entry that stays quiet for a whole hold-back is dropped. With throttling disabled (the default)
/// every message is written at once.
///
/// Lock order: the throttle mutex, then the consumer mutex (taken by outputMessage).
class TARN_API ThrottledConsumer : public Consumer {
public:
    /// One entry of the table.
    struct Message {
        /// The message's text and the name of the log it came from, as first received.
        ///@{
        std::string message;
        std::string logName;
        ///@}
        /// Messages with this key received since the entry was last written out.
        uint32_t count = 0;
        /// Milliseconds on the Timer::currentTimeMilliseconds clock before which the entry is not
        /// written out; 0 when it is not held back.
        int64_t nextTime = 0;
        /// Not copied: source file names passed to log calls are static texts.
        const char* file = nullptr;
        /// The source line and the category of the first message with this key.
        ///@{
        int32_t line = 0;
        Category category = Category::Trace;
        ///@}
    };

    ThrottledConsumer();
    ~ThrottledConsumer() override;

    void consumeMessage(StringView name, Category category, StringView message, const char* file,
                        int line) override;

    /// Writes every entry that is due (all counting entries when `force`), drops quiet ones.
    /// Any thread may call it.
    void flush(bool force);

    /// Turns throttling on or off for every throttled consumer (off initially).
    ///@{
    static void setEnabled(bool enabled);
    static bool isEnabled();
    ///@}

private:
    /// Writes one line: `prefix` is "[HH:MM:SS:mmm]" or "[HH:MM:SS:mmm *N]".
    virtual void outputMessage(const std::string& prefix, const Message& message) = 0;

    std::map<uint64_t, Message> entries;
    std::mutex throttleMutex;
};

} // namespace Tarn::Logging
