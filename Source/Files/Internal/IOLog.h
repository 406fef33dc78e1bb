#pragma once

#include <Tarn/Logging/Log.h>

#include <string>

namespace Tarn::IO::Detail {

/// The log that every free function of the path and file services reports through.
const Logging::Log& ioLog();

/// Logs a platform error at Error as "<context>: <system text>", or, when the system has no text
/// for the code, "<context>: Failed to retrieve error message for error code <code as %08x>.".
void logPlatformError(const Logging::Log& log, const char* file, int line, const std::string& context,
                      int code);

} // namespace Tarn::IO::Detail

#define TARN_LOG_PLATFORM_ERROR(log, context, code)                                                          \
    ::Tarn::IO::Detail::logPlatformError((log), __FILE__, __LINE__, (context), (code))
