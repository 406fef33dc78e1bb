#pragma once

#include <Tarn/Logging/Consumer.h>

#include <atomic>
#include <cstdio>

namespace Tarn::Logging {

/// Writes log lines to one text file:
///
///     [Error][PlatformIO] Cannot open settings.ini
///     [Error][PlatformIO] Cannot open settings.ini (Source/Files/Files.cpp:120)
///
/// The second form is used when file names are enabled and the message has a file. Lines are not
/// flushed one by one; cleanUp (or the destructor) closes the file. With no file open, messages
/// are ignored.
class TARN_API FileLogger : public Consumer {
public:
    FileLogger();
    ~FileLogger() override;

    /// The process-wide file consumer, with no file open until initialize.
    static FileLogger& instance();

    /// Closes any open file and opens (creates or truncates) `path`. A file that cannot be opened
    /// leaves the logger closed; nothing is reported.
    void initialize(StringView path);
    /// Appends " (file:line)" to messages that carry a file.
    void enableFilenames(bool enabled);
    /// Closes the file if one is open.
    void cleanUp();
    /// Whether a file is open (initialize succeeded and cleanUp has not run since).
    bool isOpen();

    void consumeMessage(StringView name, Category category, StringView message, const char* file,
                        int line) override;

private:
    std::FILE* file = nullptr;
    std::atomic<bool> filenames{false};
};

} // namespace Tarn::Logging
