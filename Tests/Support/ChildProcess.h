#pragma once

#include <string>

namespace Tarn::Testing {

/// How a child run of this test program ended.
struct ChildRun {
    /// False when the child could not be started or was killed at the deadline.
    bool finished = false;
    /// The exit status; on Windows a crash leaves the exception code here (0xC0000005 ...).
    unsigned exitCode = 0;
    /// Linux: the signal that ended the child, 0 when it exited.
    int signal = 0;
    /// Standard output and error of the child, together.
    std::string output;
};

/// Runs this test program again with only the test `testName` selected (disabled tests included,
/// so children are written as DISABLED_ tests that never run on their own) and the environment
/// variable TARN_TEST_CHILD set to `argument`. Waits at most `timeoutSeconds`, then kills it.
///
///     TEST(Crash, Child) { ChildRun run = runTestInChild("Crash.DISABLED_Child", "main", 20); ... }
///     TEST(Crash, DISABLED_Child) { const char* mode = childArgument(); ... crash ... }
ChildRun runTestInChild(const std::string& testName, const std::string& argument, int timeoutSeconds);

/// TARN_TEST_CHILD in a child started by runTestInChild; null in a program started otherwise.
const char* childArgument();

} // namespace Tarn::Testing
