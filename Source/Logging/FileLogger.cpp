#include <Tarn/Logging/FileLogger.h>
#include <Tarn/Logging/LogManager.h>

#include "Logging/Internal/LogPlatform.h"

#include <charconv>
#include <cstring>
#include <string>

namespace Tarn::Logging {

FileLogger::FileLogger() = default;

FileLogger::~FileLogger() {
    // Unregistered first: a dispatch on another thread may still be running.
    unregisterConsumer(this);
    cleanUp();
}

FileLogger& FileLogger::instance() {
    static FileLogger logger;
    return logger;
}

void FileLogger::initialize(StringView path) {
    {
        std::lock_guard lock(mutex);
        if (file != nullptr) {
            std::fclose(file);
            file = nullptr;
        }
    }
    const std::string name(path.data() != nullptr ? path.data() : "", path.size());
    std::lock_guard lock(mutex);
    file = Detail::openLogFile(name);
}

void FileLogger::enableFilenames(bool enabled) {
    filenames.store(enabled, std::memory_order_relaxed);
}

void FileLogger::cleanUp() {
    std::lock_guard lock(mutex);
    if (file != nullptr) {
        std::fclose(file);
        file = nullptr;
    }
}

bool FileLogger::isOpen() {
    std::lock_guard lock(mutex);
    return file != nullptr;
}

namespace {

// A line put together in a fixed buffer; `fits` goes false, for good, at the first piece that
// does not fit.
class LineBuilder {
public:
    void add(const char* text, std::size_t length) {
        if (length == 0) {
            return;
        }
        if (fits && length <= sizeof(bytes) - used) {
            std::memcpy(bytes + used, text, length);
            used += length;
        } else {
            fits = false;
        }
    }
    // What "%.*s" prints of a view: the characters before its first zero byte.
    void add(StringView text) {
        const void* zero = text.size() != 0 ? std::memchr(text.data(), 0, text.size()) : nullptr;
        add(text.data(),
            zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - text.data()) : text.size());
    }
    void add(const char* text) { add(text, std::strlen(text)); }
    void add(int number) {
        char digits[16];
        const auto end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
        add(digits, static_cast<std::size_t>(end - digits));
    }

    char bytes[1024];
    std::size_t used = 0;
    bool fits = true;
};

} // namespace

void FileLogger::consumeMessage(StringView name, Category category, StringView message,
                                const char* sourceFile, int line) {
    std::lock_guard lock(mutex);
    if (file == nullptr) {
        return;
    }
    const bool withSource =
        filenames.load(std::memory_order_relaxed) && sourceFile != nullptr && sourceFile[0] != '\0';
    // The line is put together here and handed to stdio in one call: its shape never changes, and
    // fprintf would parse the same format string again for every message.
    LineBuilder text;
    text.add("[");
    text.add(getCategoryName(category));
    text.add("][");
    text.add(name);
    text.add("] ");
    text.add(message);
    if (withSource) {
        text.add(" (");
        text.add(sourceFile);
        text.add(":");
        text.add(line);
        text.add(")");
    }
    text.add("\n");
    if (text.fits) {
        std::fwrite(text.bytes, 1, text.used, file);
        return;
    }
    const int nameLength = static_cast<int>(name.size());
    const int messageLength = static_cast<int>(message.size());
    if (withSource) {
        std::fprintf(file, "[%s][%.*s] %.*s (%s:%d)\n", getCategoryName(category), nameLength, name.data(),
                     messageLength, message.data(), sourceFile, line);
    } else {
        std::fprintf(file, "[%s][%.*s] %.*s\n", getCategoryName(category), nameLength, name.data(),
                     messageLength, message.data());
    }
}

} // namespace Tarn::Logging
