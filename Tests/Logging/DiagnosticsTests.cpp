#include <Tarn/Logging/Diagnostics.h>
#include <Tarn/Logging/FileLogger.h>

#include <ChildProcess.h>
#include <TempDir.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <sys/utsname.h>
#endif

using Tarn::Logging::WindowsVersion;

namespace {

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

// A real fault, hidden from the sanitizers so that they do not report it first.
[[gnu::noinline]] __attribute__((no_sanitize("address", "undefined", "thread"))) void crashOnPurpose() {
    int* volatile nowhere = reinterpret_cast<int*>(std::uintptr_t{8});
    *nowhere = 1;
}

[[gnu::noinline]] void abortOnPurpose() {
    std::abort();
}

// Runs out of stack, far deeper than the 199 frames a report holds. The handler then runs on its
// alternate stack.
[[gnu::noinline]] __attribute__((no_sanitize("address", "undefined", "thread"))) int
overflowStack(volatile int* previous) {
    volatile int local[64] = {};
    local[0] = *previous + 1;
    return local[0] > 0 ? overflowStack(local) + local[1] : 0;
}

} // namespace

TEST(OsDescription, WindowsNamesFromVersionRecords) {
    constexpr uint8_t ws = 1, server = 3;
    constexpr uint16_t x86 = 0, ia64 = 6, amd64 = 9;
    struct Case {
        WindowsVersion version;
        const char* expected;
    };
    const Case cases[] = {
        {{10, 0, 19045, ws, 0, amd64, 0x30, false}, "10 Professional (build 19045), 64-bit"},
        {{10, 0, 17763, server, 0, amd64, 0x07, false}, "Server 2016 Standard Edition (build 17763), 64-bit"},
        {{6, 3, 9600, ws, 0, x86, 0x04, false}, "8.1 Enterprise Edition (build 9600), 32-bit"},
        {{6, 3, 9600, server, 0, amd64, 0x0D, false},
         "Server 2012 R2 Standard Edition (core installation) (build 9600), 64-bit"},
        {{6, 2, 9200, ws, 0, amd64, 0x99, false}, "8 (build 9200), 64-bit"},
        {{6, 1, 7601, ws, 0, amd64, 0x01, false}, "7 Ultimate Edition (build 7601), 64-bit"},
        {{6, 1, 7601, server, 0, amd64, 0x11, false},
         "Server 2008 R2 Web Server Edition (build 7601), 64-bit"},
        {{6, 0, 6002, ws, 0, x86, 0x03, false}, "Vista Home Premium Edition (build 6002), 32-bit"},
        {{6, 0, 6002, server, 0, ia64, 0x0F, false},
         "Server 2008 Enterprise Edition for Itanium-based Systems (build 6002), 64-bit"},
        {{5, 2, 3790, server, 0x0080, amd64, 0, false},
         "Server 2003, Datacenter x64 Edition (build 3790), 64-bit"},
        {{5, 2, 3790, server, 0x0002, ia64, 0, false},
         "Server 2003, Enterprise Edition for Itanium-based Systems (build 3790), 64-bit"},
        {{5, 2, 3790, server, 0, ia64, 0, false}, "Server 2003 (build 3790), 64-bit"},
        {{5, 2, 3790, server, 0x0400, x86, 0, true}, "Server 2003 R2, Web Edition (build 3790), 32-bit"},
        {{5, 2, 3790, server, 0x4000, x86, 0, false},
         "Server 2003, Compute Cluster Edition (build 3790), 32-bit"},
        {{5, 2, 3790, server, 0x2000, x86, 0, false},
         "Storage Server 2003 Standard Edition (build 3790), 32-bit"},
        {{5, 2, 3790, ws, 0x8000, x86, 0, false}, "Home Server (build 3790), 32-bit"},
        {{5, 2, 3790, ws, 0, amd64, 0, false}, "XP Professional x64 Edition (build 3790), 64-bit"},
        {{5, 1, 2600, ws, 0x0200, x86, 0, false}, "XP Home Edition (build 2600), 32-bit"},
        {{5, 1, 2600, ws, 0, x86, 0, false}, "XP Professional (build 2600), 32-bit"},
        {{5, 0, 2195, server, 0x0002, x86, 0, false}, "2000 Advanced Server (build 2195), 32-bit"},
        {{5, 0, 2195, server, 0x0080, x86, 0, false}, "2000 Datacenter Server (build 2195), 32-bit"},
        {{5, 0, 2195, ws, 0, x86, 0, false}, "2000 Professional (build 2195), 32-bit"},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(Tarn::Logging::describeWindowsVersion(test.version).value_or("none"),
                  std::string("Microsoft Windows ") + test.expected);
    }
    // Too old for a product name, and the all-zero record of a failed version query.
    EXPECT_FALSE(Tarn::Logging::describeWindowsVersion({4, 0, 1381, ws, 0, x86, 0, false}).has_value());
    EXPECT_FALSE(Tarn::Logging::describeWindowsVersion(WindowsVersion{}).has_value());
}

TEST(OsDescription, DescribesThisSystem) {
    const std::string text = Tarn::Logging::getOsNameAndVersion();
    std::cout << text << "\n"; // what this system prints, for the record
#if defined(_WIN32)
    const std::regex form(
        R"(Logging OS Version: \[OS Name\]: Windows \[OS Version\]: (-|Microsoft Windows .+ \(build \d+\), (64|32)-bit))");
#else
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    EXPECT_NE(text.find(std::string(" (kernel ") + system.release + "), 64-bit"), std::string::npos) << text;
    const std::regex form(
        R"(Logging OS Version: \[OS Name\]: Linux \[OS Version\]: .+ \(kernel .+\), (64|32)-bit)");
#endif
    EXPECT_TRUE(std::regex_match(text, form)) << text;
}

// The report of a crash, read back from a file consumer of the crashed child: the header first,
// then 1 to 199 frame lines in the three forms.
TEST(CrashLogging, ChildCrashIsReportedAndStillDies) {
    struct Case {
        const char* mode;
        const char* function; // a frame that must be named with its file and line
        int linuxSignal;
        bool fullStack; // deeper than a report holds: exactly 199 frame lines
    };
    std::vector<Case> cases = {{"main", "crashOnPurpose", SIGSEGV, false},
                               {"thread", "crashOnPurpose", SIGSEGV, false}};
#if !defined(_WIN32)
    // The runtime's abort bypasses the filter on Windows, and a filter has no stack of its own there
    // to report an overflow with.
    cases.push_back({"abort", "abortOnPurpose", SIGABRT, false});
    cases.push_back({"overflow", "overflowStack", SIGSEGV, true});
#endif
    const std::regex frameLine(R"(\[Fatal\]\[Crash\] (0x)?[0-9A-Fa-f]+ - (\(Unknown\)|.+))");
    for (const Case& test : cases) {
        SCOPED_TRACE(test.mode);
        Tarn::Testing::TempDir folder;
        const std::string logPath = folder.file("crash.log");
        const Tarn::Testing::ChildRun run = Tarn::Testing::runTestInChild(
            "CrashLogging.DISABLED_CrashChild", std::string(test.mode) + "|" + logPath, 60);
        ASSERT_TRUE(run.finished) << run.output;
#if defined(_WIN32)
        EXPECT_EQ(run.exitCode, 0xC0000005u) << run.output;
#else
        EXPECT_EQ(run.signal, test.linuxSignal) << run.output;
#endif
        const std::vector<std::string> lines = splitLines(folder.read("crash.log"));
        ASSERT_GE(lines.size(), 2u) << run.output;
        EXPECT_EQ(lines[0], "[Fatal][Crash] Caught unhandled exception.");
        EXPECT_LE(lines.size() - 1, 199u);
        if (test.fullStack) {
            EXPECT_EQ(lines.size() - 1, 199u);
        }
        bool named = false;
        for (std::size_t i = 1; i < lines.size(); ++i) {
            EXPECT_TRUE(std::regex_match(lines[i], frameLine)) << lines[i];
            named = named || (lines[i].find(test.function) != std::string::npos &&
                              lines[i].find("DiagnosticsTests.cpp:") != std::string::npos);
        }
        EXPECT_TRUE(named) << folder.read("crash.log");
    }
}

TEST(CrashLogging, DISABLED_CrashChild) {
    const char* argument = Tarn::Testing::childArgument();
    ASSERT_NE(argument, nullptr);
    const std::string text(argument);
    const std::string mode = text.substr(0, text.find('|'));
    Tarn::Logging::FileLogger::instance().initialize(text.substr(text.find('|') + 1));
    Tarn::Logging::enableUnhandledExceptionLogging();
    if (mode == "main") {
        crashOnPurpose();
    } else if (mode == "thread") {
        std::thread worker(crashOnPurpose);
        worker.join();
    } else if (mode == "abort") {
        abortOnPurpose();
    } else if (mode == "overflow") {
        volatile int start = 0;
        overflowStack(&start);
    }
    FAIL() << "still alive after " << mode;
}
