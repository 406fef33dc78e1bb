#pragma once

#include <string>

// The platform halves of crash logging and the OS description.
namespace Tarn::Logging::Detail {

/// "Windows" or "Linux".
extern const char* const osName;

/// The text after "[OS Version]: "; false when the system cannot be described.
bool osDisplayText(std::string& text);

/// Installs the platform's crash handler (the filter, or the signal handlers).
void installCrashHandler();

/// The report's lines, in the same formats on every platform. They go through the normal logging
/// path, so they are not async-signal-safe; the handlers call them once the process is dying.
void logCrashHeader();
void logCrashFrame(const void* address, const char* function, const char* file, int line);

} // namespace Tarn::Logging::Detail
