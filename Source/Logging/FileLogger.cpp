#include <Tarn/Logging/FileLogger.h>
#include <Tarn/Logging/LogManager.h>

#include "Logging/Internal/LogPlatform.h"

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

void FileLogger::consumeMessage(StringView name, Category category, StringView message,
                                const char* sourceFile, int line) {
    std::lock_guard lock(mutex);
    if (file == nullptr) {
        return;
    }
    const int nameLength = static_cast<int>(name.size());
    const int messageLength = static_cast<int>(message.size());
    if (filenames.load(std::memory_order_relaxed) && sourceFile != nullptr && sourceFile[0] != '\0') {
        std::fprintf(file, "[%s][%.*s] %.*s (%s:%d)\n", getCategoryName(category), nameLength, name.data(),
                     messageLength, message.data(), sourceFile, line);
    } else {
        std::fprintf(file, "[%s][%.*s] %.*s\n", getCategoryName(category), nameLength, name.data(),
                     messageLength, message.data());
    }
}

} // namespace Tarn::Logging
