#pragma once

#include <cstdio>
#include <ctime>
#include <string>

// What the consumers need from the platform, one implementation per backend.
namespace Tarn::Logging::Detail {

/// Lets a real console render the colour escapes (Windows needs them switched on); harmless when
/// the streams are files or pipes.
void enableConsoleEscapes();

/// Thread-safe conversion of seconds since 1970 to local calendar time.
bool localTime(std::time_t seconds, std::tm& result);

/// Opens `path` (UTF-8) for writing in text mode, creating or truncating it; null on failure.
std::FILE* openLogFile(const std::string& path);

} // namespace Tarn::Logging::Detail
