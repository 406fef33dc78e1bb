#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Tarn::Logging {

/// Makes the process log its call stack through the "Crash" log when it dies of an unhandled
/// exception: "Caught unhandled exception." at Fatal with file and line, then one Fatal line per
/// frame (at most 199), innermost first:
///
///     %p - %s (%s:%d)     address, function, source file and line
///     %p - %s             address and function, no line information
///     %p - (Unknown)      no symbol for the address
///
/// Windows: the unhandled-exception filter (dbghelp symbols), which returns so that the normal
/// handling of the crash goes on. Linux: handlers for SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT
/// on an alternate signal stack (elfutils symbols), which then re-raise the signal with its default
/// action, so the process still dies as it would have. On both, handlers or a filter installed
/// earlier are replaced, not chained; file output is flushed after the report. Call it once at
/// start-up, from the main thread; calling it again reinstalls the handlers.
TARN_API void enableUnhandledExceptionLogging();

/// One line describing the operating system for the start of a log, for example
///
///     Logging OS Version: [OS Name]: Windows [OS Version]: Microsoft Windows 7 (build 7601), 64-bit
///     Logging OS Version: [OS Name]: Linux [OS Version]: Debian GNU/Linux 12 (bookworm)
///         (kernel 6.1.0-18-amd64), 64-bit        (one line)
///
/// A system that cannot be described ends in "-" after "[OS Version]: ". Never fails.
TARN_API std::string getOsNameAndVersion();

/// The facts about a Windows installation that its display name depends on, as the system reports
/// them (RtlGetVersion, GetNativeSystemInfo, GetProductInfo, GetSystemMetrics(SM_SERVERR2)).
struct WindowsVersion {
    /// The version numbers, for example 10.0 build 19045.
    ///@{
    uint32_t majorVersion = 0;
    uint32_t minorVersion = 0;
    uint32_t buildNumber = 0;
    ///@}
    /// VER_NT_WORKSTATION 1, VER_NT_DOMAIN_CONTROLLER 2, VER_NT_SERVER 3.
    uint8_t productType = 0;
    /// VER_SUITE_* bits.
    uint16_t suiteMask = 0;
    /// PROCESSOR_ARCHITECTURE_*: 0 x86, 6 IA64, 9 AMD64, 12 ARM64.
    uint16_t processorArchitecture = 0;
    /// GetProductInfo's PRODUCT_* code (0 when unknown).
    uint32_t productInfo = 0;
    /// Windows Server 2003 R2.
    bool serverR2 = false;
};

/// The display text of a Windows installation, "Microsoft " + product + edition + " (build N)" +
/// ", 64-bit" or ", 32-bit"; nothing for a version without a product name (before Windows 2000).
/// This is the text after "[OS Version]: " on Windows.
TARN_API std::optional<std::string> describeWindowsVersion(const WindowsVersion& version);

} // namespace Tarn::Logging
