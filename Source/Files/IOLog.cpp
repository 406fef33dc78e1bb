#include "Files/Internal/IOLog.h"

#include "Files/Internal/FileSystem.h"

namespace Tarn::IO::Detail {

const Logging::Log& ioLog() {
    static const Logging::Log log("PlatformIO");
    return log;
}

void logPlatformError(const Logging::Log& log, const char* file, int line, const std::string& context,
                      int code) {
    std::string message;
    if (systemMessage(code, message)) {
        log.logFileLine(file, line, Logging::Category::Error, "%s: %s", context.c_str(), message.c_str());
    } else {
        log.logFileLine(file, line, Logging::Category::Error,
                        "%s: Failed to retrieve error message for error code %08x.", context.c_str(),
                        static_cast<unsigned>(code));
    }
}

} // namespace Tarn::IO::Detail
