// This unit defines the out-of-line Log functions that other compilers and address-taking use.
#define TARN_LOG_OUT_OF_LINE 1
#include <Tarn/Logging/Consumer.h>
#include <Tarn/Logging/Log.h>
#include <Tarn/Logging/LogManager.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

namespace Tarn::Logging {

// Constant-initialised, so the early test is valid at any time, before and after the manager.
std::atomic<Category> Detail::effectiveMinimum{Category::Trace};

namespace {

using Detail::effectiveMinimum;

constexpr std::size_t formatBufferSize = 16000;

// Above every real category: once the manager has been torn down at unload, every message fails
// the early test instead of reaching a destroyed mutex.
constexpr Category closedCategory = static_cast<Category>(static_cast<int32_t>(Category::Fatal) + 1);

std::atomic<bool> managerClosed{false};

struct Manager {
    std::mutex mutex;
    std::set<Consumer*> consumers; // ordered by address: the delivery order
    char buffer[formatBufferSize];

    ~Manager() {
        managerClosed.store(true);
        effectiveMinimum.store(closedCategory);
    }
};

Manager& manager() {
    static Manager instance;
    return instance;
}

void dispatch(const char* file, int line, StringView name, Category category, const char* format,
              va_list args) {
    if (managerClosed.load(std::memory_order_acquire)) {
        return;
    }
    Manager& state = manager();
    std::lock_guard lock(state.mutex);
    // A null format is a caller's mistake that must not end the process: an empty message.
    const int written = std::vsnprintf(state.buffer, formatBufferSize, format != nullptr ? format : "", args);
    if (written < 0 || static_cast<std::size_t>(written) >= formatBufferSize) {
        return; // never a truncated copy
    }
    // A %c of 0 may end the text early; consumers see it up to the terminator.
    const void* terminator = std::memchr(state.buffer, 0, static_cast<std::size_t>(written));
    const std::size_t length =
        terminator != nullptr ? static_cast<std::size_t>(static_cast<const char*>(terminator) - state.buffer)
                              : static_cast<std::size_t>(written);
    const StringView message(state.buffer, length);
    const char* const sourceFile = file != nullptr ? file : "";
    for (Consumer* consumer : state.consumers) {
        if (consumer->getMinimumCategory() <= category) {
            consumer->consumeMessage(name, category, message, sourceFile, line);
        }
    }
}

bool passesEarlyTest(Category category) {
    return category >= effectiveMinimum.load(std::memory_order_relaxed);
}

} // namespace

void logArgs(StringView name, Category category, const char* format, va_list args) {
    if (passesEarlyTest(category)) {
        dispatch("", 0, name, category, format, args);
    }
}

void log(StringView name, Category category, const char* format, ...) {
    if (!passesEarlyTest(category)) {
        return;
    }
    va_list args;
    va_start(args, format);
    dispatch("", 0, name, category, format, args);
    va_end(args);
}

void logFileLineArgs(const char* file, int line, StringView name, Category category, const char* format,
                     va_list args) {
    if (passesEarlyTest(category)) {
        dispatch(file, line, name, category, format, args);
    }
}

void logFileLine(const char* file, int line, StringView name, Category category, const char* format, ...) {
    if (!passesEarlyTest(category)) {
        return;
    }
    va_list args;
    va_start(args, format);
    dispatch(file, line, name, category, format, args);
    va_end(args);
}

namespace {
// Forwards a non-literal format without tripping the format-security warning.
void dispatchText(StringView name, Category category, const char* text, ...) {
    va_list args;
    va_start(args, text);
    dispatch("", 0, name, category, text, args);
    va_end(args);
}
} // namespace

void log(StringView message, StringView name, Category category) {
    if (!passesEarlyTest(category)) {
        return;
    }
    const std::string text(message.data() != nullptr ? message.data() : "", message.size());
    dispatchText(name, category, text.c_str());
}

void Detail::dispatchPassed(const char* file, int line, StringView name, Category category,
                            const char* format, ...) {
    va_list args;
    va_start(args, format);
    dispatch(file, line, name, category, format, args);
    va_end(args);
}

void Log::log(Category category, const char* format, ...) const {
    if (!passesEarlyTest(category)) {
        return;
    }
    va_list args;
    va_start(args, format);
    dispatch("", 0, name, category, format, args);
    va_end(args);
}

void Log::logFileLine(const char* file, int line, Category category, const char* format, ...) const {
    if (!passesEarlyTest(category)) {
        return;
    }
    va_list args;
    va_start(args, format);
    dispatch(file, line, name, category, format, args);
    va_end(args);
}

bool isCategoryEnabled(Category category) {
    return passesEarlyTest(category);
}

void registerConsumer(Consumer* consumer) {
    if (consumer == nullptr || managerClosed.load()) {
        return;
    }
    Manager& state = manager();
    std::lock_guard lock(state.mutex);
    state.consumers.insert(consumer);
}

void unregisterConsumer(Consumer* consumer) {
    if (managerClosed.load()) {
        return;
    }
    Manager& state = manager();
    std::lock_guard lock(state.mutex);
    state.consumers.erase(consumer);
}

void Detail::recomputeEffectiveMinimum() {
    if (managerClosed.load()) {
        return;
    }
    Manager& state = manager();
    std::lock_guard lock(state.mutex);
    Category lowest = Category::Fatal;
    for (const Consumer* consumer : state.consumers) {
        const Category minimum = consumer->getMinimumCategory();
        if (minimum < lowest) {
            lowest = minimum;
        }
    }
    effectiveMinimum.exchange(lowest);
}

void setLoggerCategory(Category category) {
    Consumer::setDefaultMinimumCategory(category);
}

namespace {

// `text` with ASCII capitals lowered equals `lower`, which is lower case already.
bool equalsLowercase(StringView text, StringView lower) {
    if (text.size() != lower.size()) {
        return false;
    }
    for (uint64_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c) != lower[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

Category parseCategoryString(StringView text) {
    struct Word {
        StringView text;
        Category category;
    };
    static const Word words[] = {
        {"trace", Category::Trace},     {"debug", Category::Debug}, {"info", Category::Info},
        {"warning", Category::Warning}, {"error", Category::Error}, {"fatal", Category::Fatal},
    };
    const uint64_t hash = text.hashLowercase();
    for (const Word& word : words) {
        // The hash picks the word and the text confirms it: sign-extended bytes can cancel each
        // other in FNV-1a (bits above the eighth only carry upwards), so a few non-ASCII texts
        // share a word's hash without being that word.
        if (word.text.hashLowercase() == hash && equalsLowercase(text, word.text)) {
            return word.category;
        }
    }
    return Category::Debug;
}

} // namespace Tarn::Logging
