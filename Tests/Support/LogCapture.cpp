#include "LogCapture.h"

#include <Tarn/Logging/LogManager.h>

#include <algorithm>

namespace Tarn::Testing {

LogCapture::LogCapture(Logging::Category minimum) {
    setMinimumCategory(minimum);
}

// Background threads (a network thread, say) may still be logging when a test ends.
LogCapture::~LogCapture() {
    Logging::unregisterConsumer(this);
}

std::vector<LogCapture::Entry> LogCapture::entries() const {
    std::lock_guard lock(entriesMutex);
    return received;
}

std::vector<std::string> LogCapture::lines() const {
    std::vector<std::string> result;
    std::lock_guard lock(entriesMutex);
    for (const Entry& entry : received) {
        result.push_back("[" + std::string(getCategoryName(entry.category)) + "][" + entry.logName + "] " +
                         entry.message);
    }
    return result;
}

bool LogCapture::sawLine(const std::string& line) const {
    const std::vector<std::string> all = lines();
    return std::find(all.begin(), all.end(), line) != all.end();
}

std::size_t LogCapture::count() const {
    std::lock_guard lock(entriesMutex);
    return received.size();
}

void LogCapture::clear() {
    std::lock_guard lock(entriesMutex);
    received.clear();
}

void LogCapture::consumeMessage(StringView name, Logging::Category category, StringView message,
                                const char* file, int line) {
    std::lock_guard lock(entriesMutex);
    received.push_back({category, name.to_string(), message.to_string(), file, line});
}

} // namespace Tarn::Testing
