#pragma once

/// @file
/// Assertions: TARN_ASSERT and the replaceable handler that reports a failed one.

#include <Tarn/Foundation/Export.h>

/// Tarn.Foundation: the engine's foundation library. The subsystems have namespaces of their own
/// (Memory, Collections, Reflection, ComponentModel, Logging, IO, Threads, Network, Geometry);
/// what every layer uses (assertions, the version, strings and hashes, the intrusive list,
/// application shell, window and input) sits directly in Tarn.
namespace Tarn {

/// Receives a failed assertion: the condition's text exactly as written at the assertion site,
/// the source file and the line. The operation that asserted continues after the handler returns.
using AssertHandler = void (*)(const char* condition, const char* file, int line);

/// Installs a handler for failed assertions and returns the previous one. Passing null restores
/// the default handler, which writes one line to standard error.
TARN_API AssertHandler setAssertHandler(AssertHandler handler);

/// The handler in force (never null).
TARN_API AssertHandler getAssertHandler();

/// Reports a failed assertion through the installed handler.
TARN_API void reportAssertion(const char* condition, const char* file, int line);

/// Whether the library was built with its assertions compiled in. Its CMake package then gives
/// clients `TARN_ENABLE_ASSERTIONS` too, so the assertions in the headers' inline code agree.
TARN_API bool areAssertionsEnabled();

} // namespace Tarn

/// Checks a condition and reports it through the installed handler when it is false; the code
/// after the assertion then runs as usual. The text reported is the stringified condition, so an
/// assertion written as
///
///     TARN_ASSERT(next < roster.size() && "Component pool over capacity.");
///
/// reports exactly: next < roster.size() && "Component pool over capacity."
/// Release builds compile assertions out entirely (without TARN_ENABLE_ASSERTIONS): the condition
/// is not evaluated.
///
/// The library's documented checks report a fixed site instead of where the check happens to sit
/// in this tree: a source unit such as `Source\Memory\Allocator` and, where one is documented, a
/// line number. Handlers and tools can then match a check by its site across versions.
/// TARN_ASSERT_AT gives both; TARN_ASSERT_IN gives the unit with the actual line.
#if defined(TARN_ENABLE_ASSERTIONS)
#define TARN_ASSERT(condition)                                                                               \
    ((condition) ? static_cast<void>(0) : ::Tarn::reportAssertion(#condition, __FILE__, __LINE__))
/// As TARN_ASSERT, reporting the documented site `unit` and `line` (see above).
#define TARN_ASSERT_AT(condition, unit, line)                                                                \
    ((condition) ? static_cast<void>(0) : ::Tarn::reportAssertion(#condition, unit, line))
/// As TARN_ASSERT, reporting the documented source unit `unit` with the actual line.
#define TARN_ASSERT_IN(condition, unit)                                                                      \
    ((condition) ? static_cast<void>(0) : ::Tarn::reportAssertion(#condition, unit, __LINE__))
#else
#define TARN_ASSERT(condition) static_cast<void>(0)
#define TARN_ASSERT_AT(condition, unit, line) static_cast<void>(0)
#define TARN_ASSERT_IN(condition, unit) static_cast<void>(0)
#endif
