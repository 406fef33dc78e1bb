#include <Tarn/Logging/Diagnostics.h>

#include "Logging/Internal/Diagnostics.h"

#include <cstdio>
#include <cstring>
#include <windows.h>

#include <dbghelp.h>

// The narrow form: symbol names are ANSI text in the records below.
#undef UnDecorateSymbolName

namespace Tarn::Logging::Detail {

const char* const osName = "Windows";

namespace {

constexpr DWORD symbolOptions = 0x2812; // undecorated names, lines, absolute symbols, 32-bit modules
constexpr USHORT maxFrames = 199;
constexpr DWORD symbolBufferSize = 1024;
constexpr DWORD symbolNameRoom = 992;
constexpr DWORD undecoratedSize = 4096;

// Runs on the crashing thread with the process in an undefined state: stack buffers only, and the
// ordinary logging path.
LONG WINAPI logUnhandledException(EXCEPTION_POINTERS*) {
    void* frames[maxFrames];
    const USHORT count = RtlCaptureStackBackTrace(0, maxFrames, frames, nullptr);
    logCrashHeader();
    const HANDLE process = GetCurrentProcess();
    for (USHORT i = 0; i < count; ++i) {
        // A return address points after the call; the call itself is what belongs to the frame.
        const DWORD64 address = reinterpret_cast<DWORD64>(frames[i]) - 1;
        const void* shown = reinterpret_cast<const void*>(address);
        alignas(IMAGEHLP_SYMBOL64) char buffer[symbolBufferSize] = {};
        auto* symbol = reinterpret_cast<IMAGEHLP_SYMBOL64*>(buffer);
        symbol->SizeOfStruct = sizeof(IMAGEHLP_SYMBOL64);
        symbol->MaxNameLength = symbolNameRoom;
        DWORD64 displacement = 0;
        if (!SymGetSymFromAddr64(process, address, &displacement, symbol)) {
            if (GetLastError() != 0 || symbol->Name[0] == '\0') {
                logCrashFrame(shown, nullptr, nullptr, 0);
                continue;
            }
        }
        char name[undecoratedSize];
        if (UnDecorateSymbolName(symbol->Name, name, undecoratedSize, UNDNAME_COMPLETE) == 0) {
            std::strncpy(name, symbol->Name, undecoratedSize - 1);
            name[undecoratedSize - 1] = '\0';
        }
        IMAGEHLP_LINE64 line{};
        line.SizeOfStruct = sizeof(line);
        DWORD lineDisplacement = 0;
        if (SymGetLineFromAddr64(process, address, &lineDisplacement, &line) && line.FileName != nullptr) {
            logCrashFrame(shown, name, line.FileName, static_cast<int>(line.LineNumber));
        } else {
            logCrashFrame(shown, name, nullptr, 0);
        }
    }
    // File consumers buffer their lines; the process is about to end without flushing them.
    std::fflush(nullptr);
    return EXCEPTION_CONTINUE_SEARCH;
}

// The record RtlGetVersion fills; the export is looked up because the import library does not
// always carry it.
using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOEXW*);
using GetNativeSystemInfoFn = void(WINAPI*)(SYSTEM_INFO*);
using GetProductInfoFn = BOOL(WINAPI*)(DWORD, DWORD, DWORD, DWORD, DWORD*);

template <typename Function>
Function lookUp(const wchar_t* module, const char* name) {
    HMODULE handle = GetModuleHandleW(module);
    FARPROC proc = handle != nullptr ? GetProcAddress(handle, name) : nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(proc));
}

} // namespace

void installCrashHandler() {
    SymSetOptions(symbolOptions);
    SymInitialize(GetCurrentProcess(), nullptr, TRUE);
    SetUnhandledExceptionFilter(logUnhandledException);
}

bool osDisplayText(std::string& text) {
    OSVERSIONINFOEXW record{};
    record.dwOSVersionInfoSize = sizeof(record);
    const auto rtlGetVersion = lookUp<RtlGetVersionFn>(L"ntdll.dll", "RtlGetVersion");
    if (rtlGetVersion == nullptr || rtlGetVersion(&record) != 0) {
        record = OSVERSIONINFOEXW{};
    }
    SYSTEM_INFO system{};
    if (const auto getNativeSystemInfo =
            lookUp<GetNativeSystemInfoFn>(L"kernel32.dll", "GetNativeSystemInfo")) {
        getNativeSystemInfo(&system);
    }
    WindowsVersion version;
    version.majorVersion = record.dwMajorVersion;
    version.minorVersion = record.dwMinorVersion;
    version.buildNumber = record.dwBuildNumber;
    version.productType = record.wProductType;
    version.suiteMask = record.wSuiteMask;
    version.processorArchitecture = system.wProcessorArchitecture;
    version.serverR2 = GetSystemMetrics(SM_SERVERR2) != 0;
    if (record.dwMajorVersion >= 6) {
        if (const auto getProductInfo = lookUp<GetProductInfoFn>(L"kernel32.dll", "GetProductInfo")) {
            DWORD product = 0;
            getProductInfo(record.dwMajorVersion, record.dwMinorVersion, 0, 0, &product);
            version.productInfo = product;
        }
    }
    const std::optional<std::string> description = describeWindowsVersion(version);
    if (!description) {
        std::fputs("This sample does not support this version of Windows.\n", stdout);
        std::fflush(stdout);
        return false;
    }
    text = *description;
    return true;
}

} // namespace Tarn::Logging::Detail
