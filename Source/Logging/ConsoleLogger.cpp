#include <Tarn/Logging/ConsoleLogger.h>
#include <Tarn/Logging/LogManager.h>

#include "Logging/Internal/LogPlatform.h"

#include <cstdio>

namespace Tarn::Logging {

ConsoleLogger::ConsoleLogger() {
    Detail::enableConsoleEscapes();
}

// Unregistered before the members go: a dispatch on another thread may still be running.
ConsoleLogger::~ConsoleLogger() {
    unregisterConsumer(this);
}

ConsoleLogger& ConsoleLogger::instance() {
    static ConsoleLogger console;
    return console;
}

void ConsoleLogger::initialize() {
    instance();
}

void ConsoleLogger::setStderrThreshold(Category category) {
    stderrThreshold.store(category, std::memory_order_relaxed);
}

void ConsoleLogger::setUseColor(bool enabled) {
    useColor.store(enabled, std::memory_order_relaxed);
}

void ConsoleLogger::outputMessage(const std::string& prefix, const Message& entry) {
    const char* categoryText =
        getUseColor() ? getCategoryNameColor(entry.category) : getCategoryName(entry.category);
    // Per thread because flush may run on any thread; a longer head is cut at the bound.
    constexpr std::size_t headSize = 499;
    thread_local char head[headSize];
    int length =
        std::snprintf(head, headSize, "[%s][%s]%s ", categoryText, entry.logName.c_str(), prefix.c_str());
    if (length < 0) {
        return;
    }
    if (static_cast<std::size_t>(length) >= headSize) {
        length = static_cast<int>(headSize - 1);
    }
    const bool toStdout = entry.category < getStderrThreshold();
    std::FILE* stream = toStdout ? stdout : stderr;
    std::lock_guard lock(mutex);
    std::fwrite(head, 1, static_cast<std::size_t>(length), stream);
    std::fwrite(entry.message.data(), 1, entry.message.size(), stream);
    std::fwrite("\n", 1, 1, stream);
    if (toStdout) {
        // Standard output is buffered when redirected; keep it in step with standard error.
        std::fflush(stream);
    }
}

} // namespace Tarn::Logging
