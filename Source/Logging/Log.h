#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Logging/Category.h>
#include <Tarn/Strings/StringView.h>

namespace Tarn::Logging {

/// The named front end a subsystem logs through, usually a static object:
///
///     static const Tarn::Logging::Log logger("PlatformIO");
///     logger.log(Category::Error, "Cannot open %s: %s", path, reason);
///
/// It only views its name; the characters must outlive it (string literals do).
class TARN_API Log {
public:
    constexpr Log(const char* name) noexcept : name(name) {}
    constexpr Log(StringView name) noexcept : name(name) {}

    /// Formats printf-style and dispatches through the log manager.
    void log(Category category, const char* format, ...) const TARN_PRINTF_FORMAT(3, 4);
    /// As log, with the source file (null becomes "") and line.
    void logFileLine(const char* file, int line, Category category, const char* format, ...) const
        TARN_PRINTF_FORMAT(5, 6);

    constexpr StringView getName() const noexcept { return name; }

private:
    StringView name;
};

} // namespace Tarn::Logging
