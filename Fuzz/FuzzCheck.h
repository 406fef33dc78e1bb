#pragma once

#include <Tarn/Foundation/Assert.h>
#include <Tarn/Logging/LogManager.h>

#include <cstdio>
#include <cstdlib>

// A property that does not hold is a finding like a crash: print what failed and abort, so that
// libFuzzer stops and writes the input that broke it as a crash-* file.
#define TARN_FUZZ_CHECK(condition)                                                                           \
    ((condition) ? static_cast<void>(0) : ::Tarn::Fuzz::fail(#condition, __FILE__, __LINE__))

namespace Tarn::Fuzz {

[[noreturn]] inline void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s(%d): property failed: %s\n", file, line, condition);
    std::fflush(stderr);
    std::abort();
}

// For surfaces that promise to take any bytes without complaint: a library assertion is then as
// much a finding as a broken property.
inline void failOnAssertion() {
    setAssertHandler([](const char* condition, const char* file, int line) {
        std::fprintf(stderr, "assertion raised on fuzzed input: ");
        fail(condition, file, line);
    });
}

// For surfaces whose assertions report misuse that fuzzed input is allowed to commit: keep them
// quiet so that the log is readable, while the code after them still runs.
inline void ignoreAssertions() {
    setAssertHandler([](const char*, const char*, int) {});
}

// Once per process, for surfaces that log what fuzzed input may legitimately cause (refused
// frames, unknown pointers, short payloads): assertions are findings, and those log lines stay out
// of the run's output.
inline void failOnAssertionQuietly() {
    static const bool once = (failOnAssertion(), Logging::setLoggerCategory(Logging::Category::Fatal), true);
    (void)once;
}

} // namespace Tarn::Fuzz
