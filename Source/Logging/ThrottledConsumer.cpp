#include <Tarn/Application/Timer.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Logging/LogManager.h>
#include <Tarn/Logging/ThrottledConsumer.h>
#include <Tarn/Strings/Hash.h>

#include "Logging/Internal/LogPlatform.h"

#include <atomic>
#include <cstdio>

namespace Tarn::Logging {

namespace {

std::atomic<bool> throttlingEnabled{false};

// FNV-1a over the little-endian bytes of a value.
template <typename T>
uint64_t hashValue(T value) {
    uint8_t bytes[sizeof(T)];
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        bytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i));
    }
    return fnv1a(bytes, sizeof(T));
}

uint64_t combine(uint64_t seed, uint64_t hash) {
    return seed ^ (hash + 0x9E3779B9u + (seed << 6) + (seed >> 2));
}

uint64_t messageKey(StringView name, StringView message, const char* file, int line) {
    uint64_t key = combine(hashValue(name.hash()), hashValue(message.hash()));
    key = combine(key, fnv1a(file));
    return combine(key, hashValue(static_cast<uint32_t>(line)));
}

// "HH:MM:SS:mmm" of a wall-clock time in milliseconds, in local time.
struct TimeStamp {
    char text[80] = {};
};

TimeStamp timeStamp(int64_t milliseconds) {
    const int64_t seconds = milliseconds / 1000;
    char clock[64] = {};
    std::tm local{};
    if (Detail::localTime(static_cast<std::time_t>(seconds), local)) {
        std::strftime(clock, sizeof(clock), "%H:%M:%S", &local);
    }
    TimeStamp stamp;
    std::snprintf(stamp.text, sizeof(stamp.text), "%s:%03d", clock,
                  static_cast<int>(milliseconds - seconds * 1000));
    return stamp;
}

} // namespace

ThrottledConsumer::ThrottledConsumer() = default;

// Unregistered before the members go: a dispatch on another thread may still be running.
ThrottledConsumer::~ThrottledConsumer() {
    unregisterConsumer(this);
}

void ThrottledConsumer::consumeMessage(StringView name, Category category, StringView message,
                                       const char* file, int line) {
    const char* filename = file;
    TARN_ASSERT(filename);
    if (filename == nullptr) {
        filename = "";
    }
    {
        std::lock_guard lock(throttleMutex);
        Message& entry = entries[messageKey(name, message, filename, line)];
        if (entry.nextTime == 0) {
            entry.message.assign(message.data() != nullptr ? message.data() : "", message.size());
            entry.logName.assign(name.data() != nullptr ? name.data() : "", name.size());
            entry.file = filename;
            entry.line = line;
            entry.category = category;
        }
        ++entry.count;
    }
    flush(!throttlingEnabled.load(std::memory_order_relaxed));
}

void ThrottledConsumer::flush(bool force) {
    const int64_t now = Timer::currentTimeMicroseconds() / 1000;
    const TimeStamp stamp = timeStamp(now);
    std::string prefix;
    char text[128];
    std::lock_guard lock(throttleMutex);
    for (auto it = entries.begin(); it != entries.end();) {
        Message& entry = it->second;
        if (!force && entry.nextTime >= now) {
            ++it;
            continue;
        }
        if (entry.count == 0) {
            it = entries.erase(it); // quiet for a whole hold-back
            continue;
        }
        if (entry.count > 1) {
            std::snprintf(text, sizeof(text), "[%s *%u]", stamp.text, static_cast<unsigned>(entry.count));
        } else {
            std::snprintf(text, sizeof(text), "[%s]", stamp.text);
        }
        prefix.assign(text);
        outputMessage(prefix, entry);
        entry.nextTime = force ? 0 : now + static_cast<int64_t>(entry.count) * 100;
        entry.count = 0;
        ++it;
    }
}

void ThrottledConsumer::setEnabled(bool enabled) {
    throttlingEnabled.store(enabled, std::memory_order_relaxed);
}

bool ThrottledConsumer::isEnabled() {
    return throttlingEnabled.load(std::memory_order_relaxed);
}

} // namespace Tarn::Logging
