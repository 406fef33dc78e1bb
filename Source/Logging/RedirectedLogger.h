#pragma once

#include <Tarn/Logging/Consumer.h>

#include <atomic>

namespace Tarn::Logging {

/// Hands log messages to functions supplied by the application. The texts passed are
/// null-terminated copies valid only during the call; the category is passed as its number.
class TARN_API RedirectedLogger : public Consumer {
public:
    /// The callbacks: null-terminated texts valid only during the call, and the category as its
    /// integer value. They run on the thread that logs, one message at a time under the log
    /// manager's lock, so a callback must not log itself.
    ///@{
    using LoggerCallback = void (*)(const char* message, const char* logName, int category);
    using FileLineLoggerCallback = void (*)(const char* file, int line, const char* message,
                                            const char* logName, int category);
    ///@}

    RedirectedLogger();
    ~RedirectedLogger() override;

    /// Receives messages without a file, and all messages when no file-line callback is set.
    ///@{
    void setLoggerCallback(LoggerCallback callback);
    LoggerCallback getLoggerCallback() const;
    ///@}
    /// Receives the messages that carry a file.
    ///@{
    void setFileLineLoggerCallback(FileLineLoggerCallback callback);
    FileLineLoggerCallback getFileLineLoggerCallback() const;
    ///@}

private:
    void consumeMessage(StringView name, Category category, StringView message, const char* file,
                        int line) override;

    std::atomic<LoggerCallback> loggerCallback{nullptr};
    std::atomic<FileLineLoggerCallback> fileLineLoggerCallback{nullptr};
};

} // namespace Tarn::Logging
