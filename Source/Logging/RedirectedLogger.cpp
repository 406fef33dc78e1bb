#include <Tarn/Logging/LogManager.h>
#include <Tarn/Logging/RedirectedLogger.h>

#include <string>

namespace Tarn::Logging {

RedirectedLogger::RedirectedLogger() = default;

// Unregistered before the members go: a dispatch on another thread may still be running.
RedirectedLogger::~RedirectedLogger() {
    unregisterConsumer(this);
}

void RedirectedLogger::setLoggerCallback(LoggerCallback callback) {
    loggerCallback.store(callback);
}

RedirectedLogger::LoggerCallback RedirectedLogger::getLoggerCallback() const {
    return loggerCallback.load();
}

void RedirectedLogger::setFileLineLoggerCallback(FileLineLoggerCallback callback) {
    fileLineLoggerCallback.store(callback);
}

RedirectedLogger::FileLineLoggerCallback RedirectedLogger::getFileLineLoggerCallback() const {
    return fileLineLoggerCallback.load();
}

void RedirectedLogger::consumeMessage(StringView name, Category category, StringView message,
                                      const char* file, int line) {
    const FileLineLoggerCallback fileLine = fileLineLoggerCallback.load();
    const LoggerCallback plain = loggerCallback.load();
    const bool hasFile = file != nullptr && file[0] != '\0';
    if (!(hasFile && fileLine != nullptr) && plain == nullptr) {
        return;
    }
    const std::string text = message.to_string();
    const std::string logName = name.to_string();
    if (hasFile && fileLine != nullptr) {
        fileLine(file, line, text.c_str(), logName.c_str(), static_cast<int>(category));
    } else {
        plain(text.c_str(), logName.c_str(), static_cast<int>(category));
    }
}

} // namespace Tarn::Logging
