#pragma once

#include <Tarn/Logging/Consumer.h>

#include <mutex>
#include <string>
#include <vector>

namespace Tarn::Testing {

/// A log consumer that records every message it receives, for checking exact log lines:
///
///     Tarn::Testing::LogCapture capture;
///     ... code under test ...
///     EXPECT_TRUE(capture.sawLine("[Error][PlatformIO] Cannot open x.txt"));
///
/// It registers itself for its lifetime at the given minimum. Safe to use while other threads log.
class LogCapture : public Logging::Consumer {
public:
    struct Entry {
        Logging::Category category;
        std::string logName;
        std::string message;
        std::string file;
        int line;
    };

    explicit LogCapture(Logging::Category minimum = Logging::Category::Trace);
    ~LogCapture() override;

    std::vector<Entry> entries() const;
    /// Every message as "[Category][LogName] message" (the file consumer's short form).
    std::vector<std::string> lines() const;
    bool sawLine(const std::string& line) const;
    std::size_t count() const;
    void clear();

    void consumeMessage(StringView name, Logging::Category category, StringView message, const char* file,
                        int line) override;

private:
    mutable std::mutex entriesMutex;
    std::vector<Entry> received;
};

} // namespace Tarn::Testing
