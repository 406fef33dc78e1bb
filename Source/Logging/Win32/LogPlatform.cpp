#include "Logging/Internal/LogPlatform.h"

#include <windows.h>

namespace Tarn::Logging::Detail {

namespace {

void enableEscapes(DWORD stream) {
    HANDLE handle = GetStdHandle(stream);
    DWORD mode = 0;
    // Fails for files and pipes, which pass the escapes through untouched anyway.
    if (handle != INVALID_HANDLE_VALUE && handle != nullptr && GetConsoleMode(handle, &mode)) {
        SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
}

} // namespace

void enableConsoleEscapes() {
    enableEscapes(STD_OUTPUT_HANDLE);
    enableEscapes(STD_ERROR_HANDLE);
}

bool localTime(std::time_t seconds, std::tm& result) {
    return localtime_s(&result, &seconds) == 0;
}

std::FILE* openLogFile(const std::string& path) {
    // The runtime's narrow open would read the path in the ANSI code page.
    const int length = MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, nullptr, 0);
    if (length <= 0) {
        return nullptr;
    }
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, wide.data(), length);
    return _wfopen(wide.c_str(), L"w");
}

} // namespace Tarn::Logging::Detail
