#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Logging/Category.h>
#include <Tarn/Strings/StringView.h>

#include <atomic>

// GCC can forward a variadic call from an always-inlined wrapper, which puts the early severity
// test in the caller: a filtered message then costs one load and one comparison, not a call.
// Other compilers (and taking the address) use the exported out-of-line functions, which make
// the same test first.
#if defined(__GNUC__) && !defined(__clang__) && !defined(TARN_LOG_OUT_OF_LINE)
#define TARN_LOG_INLINE_EARLY_TEST 1
#endif

namespace Tarn::Logging {

namespace Detail {
/// The lowest minimum category of all registered consumers; below it, messages are dropped
/// before any lock is taken.
TARN_API extern std::atomic<Category> effectiveMinimum;
/// Formats and delivers a message that has already passed the early test.
TARN_API void dispatchPassed(const char* file, int line, StringView name, Category category,
                             const char* format, ...) TARN_PRINTF_FORMAT(5, 6);
} // namespace Detail

/// The named front end a subsystem logs through, usually a static object:
///
///     static const Tarn::Logging::Log logger("PlatformIO");
///     logger.log(Category::Error, "Cannot open %s: %s", path, reason);
///
/// It only views its name; the characters must outlive it (string literals do).
class TARN_API Log {
public:
    /// A log named `name`, viewed (not copied); constant-initialised, so a static Log is usable
    /// from any other static's constructor.
    ///@{
    constexpr Log(const char* name) noexcept : name(name) {}
    constexpr Log(StringView name) noexcept : name(name) {}
    ///@}

#if defined(TARN_LOG_INLINE_EARLY_TEST)
    /// Formats printf-style and dispatches through the log manager; the severity test is made
    /// here, in the caller.
    inline __attribute__((gnu_inline, always_inline, artificial)) void log(Category category,
                                                                           const char* format, ...) const
        TARN_PRINTF_FORMAT(3, 4) {
        if (category >= Detail::effectiveMinimum.load(std::memory_order_relaxed)) {
            Detail::dispatchPassed("", 0, name, category, format, __builtin_va_arg_pack());
        }
    }
    /// As log, with the source file and line.
    inline __attribute__((gnu_inline, always_inline, artificial)) void
    logFileLine(const char* file, int line, Category category, const char* format, ...) const
        TARN_PRINTF_FORMAT(5, 6) {
        if (category >= Detail::effectiveMinimum.load(std::memory_order_relaxed)) {
            Detail::dispatchPassed(file, line, name, category, format, __builtin_va_arg_pack());
        }
    }
#else
    /// Formats printf-style and dispatches through the log manager.
    void log(Category category, const char* format, ...) const TARN_PRINTF_FORMAT(3, 4);
    /// As log, with the source file (null becomes "") and line.
    void logFileLine(const char* file, int line, Category category, const char* format, ...) const
        TARN_PRINTF_FORMAT(5, 6);
#endif

    /// The name messages are logged under.
    constexpr StringView getName() const noexcept {
        return name;
    }

private:
    StringView name;
};

} // namespace Tarn::Logging
