#pragma once

/// @file
/// Log message categories, and the attribute that lets the compiler check printf-style log calls.

#include <cstdint>

namespace Tarn::Logging {

/// Severity of a log message, from least to most severe. Filtering compares the numeric values.
enum class Category : int32_t {
    Trace = 0,
    Debug = 1,
    Info = 2,
    Warning = 3,
    Error = 4,
    Fatal = 5,
};

} // namespace Tarn::Logging

/// Lets the compiler check printf-style log calls against their arguments. MinGW's C++ runtime
/// formats with its own C99-conforming printf, hence gnu_printf there.
#if defined(__MINGW32__)
#define TARN_PRINTF_FORMAT(formatIndex, firstArgument)                                                       \
    __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#elif defined(__GNUC__) || defined(__clang__)
#define TARN_PRINTF_FORMAT(formatIndex, firstArgument)                                                       \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define TARN_PRINTF_FORMAT(formatIndex, firstArgument)
#endif
