#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Logging/Category.h>
#include <Tarn/Strings/StringView.h>

#include <cstdarg>

// The process-wide log manager: every log call in the library ends here.
//
// A message is first compared with the effective minimum (the lowest minimum category of all
// registered consumers), without a lock; below it the call returns at once. Otherwise the manager
// takes its one mutex, formats the text once (vsnprintf semantics) into a shared 16000-byte buffer
// and hands it to every consumer whose own minimum admits it, in ascending order of the consumers'
// addresses. A text that needs 16000 characters or more, or whose formatting fails, is dropped as
// a whole. No log call reports an error to its caller.
//
// The mutex is not recursive: a consumer must not log, register or unregister from inside its
// consumeMessage.
/// Logging: named Log front ends, one process-wide LogManager that filters and dispatches, and the
/// consumers that write messages out (console, file, redirection, throttling).
namespace Tarn::Logging {

class Consumer;

/// Formats and dispatches a message from the log `name`, with no source location.
///@{
TARN_API void log(StringView name, Category category, const char* format, ...) TARN_PRINTF_FORMAT(3, 4);
TARN_API void logArgs(StringView name, Category category, const char* format, va_list args)
    TARN_PRINTF_FORMAT(3, 0);
///@}
/// As log, with the source file (null is passed on as "") and line.
///@{
TARN_API void logFileLine(const char* file, int line, StringView name, Category category, const char* format,
                          ...) TARN_PRINTF_FORMAT(5, 6);
TARN_API void logFileLineArgs(const char* file, int line, StringView name, Category category,
                              const char* format, va_list args) TARN_PRINTF_FORMAT(5, 0);
///@}

/// Dispatches plain text. The text still goes through the formatter with no arguments, so "%%"
/// arrives as "%"; pass text without other conversions.
TARN_API void log(StringView message, StringView name, Category category);

/// Adds a consumer to the set (once); the effective minimum is left as it is.
TARN_API void registerConsumer(Consumer* consumer);
/// Removes a consumer from the set if present; the effective minimum is left as it is.
TARN_API void unregisterConsumer(Consumer* consumer);
/// Sets the minimum category that consumers constructed from now on start with.
TARN_API void setLoggerCategory(Category category);
/// The category named by `text` ("trace" ... "fatal", any ASCII case); anything else is Debug.
TARN_API Category parseCategoryString(StringView text);

/// True when a message of `category` would pass the lock-free early test; lets callers skip
/// expensive argument preparation.
TARN_API bool isCategoryEnabled(Category category);

namespace Detail {
/// Recomputes the effective minimum from the registered consumers (used by Consumer).
TARN_API void recomputeEffectiveMinimum();
} // namespace Detail

} // namespace Tarn::Logging
