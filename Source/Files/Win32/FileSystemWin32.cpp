#include "Files/Internal/FileSystem.h"

#include <Tarn/Files/Paths.h>
#include <Tarn/Strings/TextConversion.h>

#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>
#include <shlwapi.h>

// Windows backend: every call takes UTF-16 paths. Paths of MAX_PATH characters or more are passed
// in their "\\?\" form so that they work without the process opting into long paths.

namespace Tarn::IO::Detail {
namespace {

std::wstring wide(std::string_view utf8) {
    return widen(std::string(utf8));
}

/// The form of `path` that the file calls accept at any length.
std::wstring systemPath(std::string_view utf8) {
    std::wstring path = wide(utf8);
    if (path.size() < MAX_PATH - 12) { // CreateDirectoryW keeps room for an 8.3 name
        return path;
    }
    const DWORD needed = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (needed == 0) {
        return path;
    }
    std::wstring full(needed, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
    if (length == 0 || length >= needed) {
        return path;
    }
    full.resize(length);
    if (full.rfind(L"\\\\?\\", 0) == 0) {
        return full;
    }
    if (full.rfind(L"\\\\", 0) == 0) {
        return L"\\\\?\\UNC\\" + full.substr(2);
    }
    return L"\\\\?\\" + full;
}

std::uintptr_t toValue(HANDLE handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}
HANDLE toHandle(std::uintptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}

} // namespace

static_assert(sizeof(HANDLE) == sizeof(std::uintptr_t));

// ---- Paths ------------------------------------------------------------------------------------

std::filesystem::path toNativePath(std::string_view utf8) {
    return std::filesystem::path(wide(utf8));
}

std::string fromNativePath(const std::filesystem::path& path) {
    return narrow(path.native());
}

std::string toActiveCodePage(std::string_view utf8) {
    const std::wstring text = wide(utf8);
    if (text.empty()) {
        return {};
    }
    const int length = WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0,
                                           nullptr, nullptr);
    std::string result(static_cast<std::size_t>(length > 0 ? length : 0), '\0');
    if (length > 0) {
        WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), result.data(), length,
                            nullptr, nullptr);
    }
    return result;
}

std::string absolutePath(std::string_view path) {
    const std::wstring text = path.empty() ? std::wstring(L".") : wide(path);
    const DWORD needed = GetFullPathNameW(text.c_str(), 0, nullptr, nullptr);
    if (needed == 0) {
        return {};
    }
    std::wstring full(needed, L'\0');
    const DWORD length = GetFullPathNameW(text.c_str(), needed, full.data(), nullptr);
    if (length == 0 || length >= needed) {
        return {};
    }
    full.resize(length);
    return narrow(full);
}

// ---- Errors -----------------------------------------------------------------------------------

int lastError() {
    return static_cast<int>(GetLastError());
}

int invalidParameterError() {
    return ERROR_INVALID_PARAMETER;
}

bool systemMessage(int code, std::string& message) {
    char buffer[2000];
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        buffer, sizeof buffer, nullptr);
    if (length == 0) {
        return false;
    }
    message.assign(buffer, length);
    while (!message.empty() && (message.back() == '\r' || message.back() == '\n')) {
        message.pop_back();
    }
    return true;
}

// ---- Environment and folders ------------------------------------------------------------------

bool expandVariable(const std::string& name, std::string& value) {
    char buffer[2048];
    const std::string pattern = "%" + name + "%";
    const DWORD length = ExpandEnvironmentStringsA(pattern.c_str(), buffer, sizeof buffer);
    if (length == 0 || length > sizeof buffer) {
        return false;
    }
    value = buffer;
    return true;
}

namespace {

bool knownFolder(REFKNOWNFOLDERID id, std::string& folder, int& error) {
    PWSTR path = nullptr;
    const HRESULT result = SHGetKnownFolderPath(id, 0, nullptr, &path);
    if (FAILED(result)) {
        CoTaskMemFree(path);
        error = static_cast<int>(result);
        return false;
    }
    char buffer[MAX_PATH];
    const int length = WideCharToMultiByte(CP_UTF8, 0, path, -1, buffer, sizeof buffer, nullptr, nullptr);
    CoTaskMemFree(path);
    if (length == 0) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    folder = buffer;
    return true;
}

} // namespace

bool localAppDataFolder(std::string& folder, int& error) {
    return knownFolder(FOLDERID_LocalAppData, folder, error);
}

bool programDataFolder(std::string& folder, int& error) {
    return knownFolder(FOLDERID_ProgramData, folder, error);
}

bool executablePath(std::string& path, int& error) {
    char buffer[MAX_PATH];
    const DWORD length = GetModuleFileNameA(nullptr, buffer, sizeof buffer);
    if (length == 0 || length >= sizeof buffer) {
        error = length == 0 ? static_cast<int>(GetLastError()) : ERROR_INSUFFICIENT_BUFFER;
        return false;
    }
    path.assign(buffer, length);
    return true;
}

bool pathRelativeToModule(const void* address, const std::string& relative, std::string& result, int& error) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCSTR>(address), &module)) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    wchar_t folder[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        error = length == 0 ? static_cast<int>(GetLastError()) : ERROR_INSUFFICIENT_BUFFER;
        return false;
    }
    PathRemoveFileSpecW(folder);
    wchar_t combined[MAX_PATH];
    if (!PathCombineW(combined, folder, wide(relative).c_str())) {
        error = ERROR_BUFFER_OVERFLOW;
        return false;
    }
    result = narrow(combined);
    return true;
}

// ---- Files ------------------------------------------------------------------------------------

std::uintptr_t openFile(std::string_view path, Disposition disposition, Access access, Sharing sharing,
                        int& error) {
    static constexpr DWORD Dispositions[] = {CREATE_NEW, CREATE_ALWAYS, OPEN_EXISTING, OPEN_ALWAYS,
                                             TRUNCATE_EXISTING};
    const DWORD desired = access == Access::Write ? GENERIC_WRITE : GENERIC_READ;
    const DWORD share = sharing == Sharing::ReadWrite ? FILE_SHARE_READ | FILE_SHARE_WRITE
                        : sharing == Sharing::Read    ? FILE_SHARE_READ
                                                      : 0;
    const HANDLE file =
        CreateFileW(systemPath(path).c_str(), desired, share, nullptr,
                    Dispositions[static_cast<std::uint32_t>(disposition)], FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        error = static_cast<int>(GetLastError());
        return InvalidFile;
    }
    return toValue(file);
}

void closeFile(std::uintptr_t file) {
    if (file != InvalidFile) {
        CloseHandle(toHandle(file));
    }
}

bool readFile(std::uintptr_t file, void* buffer, std::uint32_t size, std::uint32_t& done, int& error) {
    DWORD count = 0;
    const BOOL ok = ReadFile(toHandle(file), buffer, size, &count, nullptr);
    done = count;
    if (!ok) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    return true;
}

bool writeFile(std::uintptr_t file, const void* buffer, std::uint32_t size, std::uint32_t& done, int& error) {
    DWORD count = 0;
    const BOOL ok = WriteFile(toHandle(file), buffer, size, &count, nullptr);
    done = count;
    if (!ok) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    return true;
}

bool fileSize(std::uintptr_t file, std::uint64_t& size, int& error) {
    LARGE_INTEGER value{};
    if (!GetFileSizeEx(toHandle(file), &value)) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    size = static_cast<std::uint64_t>(value.QuadPart);
    return true;
}

bool seekFile(std::uintptr_t file, std::uint64_t offset, int& error) {
    LARGE_INTEGER distance{};
    distance.QuadPart = static_cast<LONGLONG>(offset);
    if (!SetFilePointerEx(toHandle(file), distance, nullptr, FILE_BEGIN)) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    return true;
}

void prepareForFill(void*, std::uint64_t) {}

// The heap's large blocks could be reset with DiscardVirtualMemory, but only whole regions the heap
// reserved itself are safe to touch that way; released read buffers go straight back to it instead.
bool discardPages(void*, std::uint64_t) {
    return false;
}

bool createMapping(std::uintptr_t file, std::uint64_t maximumSize, std::uintptr_t& mapping, int& error) {
    const HANDLE handle =
        CreateFileMappingW(toHandle(file), nullptr, PAGE_READONLY, static_cast<DWORD>(maximumSize >> 32),
                           static_cast<DWORD>(maximumSize & 0xFFFFFFFFu), nullptr);
    if (!handle) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    mapping = toValue(handle);
    return true;
}

void* mapView(std::uintptr_t, std::uintptr_t& mapping, std::uint32_t offset, std::uint64_t size, int& error) {
    void* view = MapViewOfFile(toHandle(mapping), FILE_MAP_READ, 0, offset, static_cast<SIZE_T>(size));
    if (!view) {
        error = static_cast<int>(GetLastError());
    }
    return view;
}

void unmapView(void* view, std::uintptr_t) {
    UnmapViewOfFile(view);
}

void closeMapping(std::uintptr_t mapping) {
    if (mapping) {
        CloseHandle(toHandle(mapping));
    }
}

// ---- Whole-file services ----------------------------------------------------------------------

bool copyFile(std::string_view from, std::string_view to, int& error) {
    if (!CopyFileW(systemPath(from).c_str(), systemPath(to).c_str(), FALSE)) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    return true;
}

bool createDirectories(std::string_view path) {
    // Built element by element with CreateDirectoryW so that long paths work as well. Nothing is
    // created inside the root: the drive, or the server and share of a network path.
    const std::wstring full = systemPath(path);
    auto isSeparator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    auto skipElement = [&](std::size_t at) {
        while (at < full.size() && isSeparator(full[at])) {
            ++at;
        }
        while (at < full.size() && !isSeparator(full[at])) {
            ++at;
        }
        return at;
    };
    std::size_t position = 0;
    if (full.rfind(L"\\\\?\\UNC\\", 0) == 0) {
        position = skipElement(skipElement(7));
    } else if (full.rfind(L"\\\\?\\", 0) == 0) {
        position = 6;
    } else if (full.size() >= 2 && full[1] == L':') {
        position = 2;
    } else if (full.size() >= 2 && isSeparator(full[0]) && isSeparator(full[1])) {
        position = skipElement(skipElement(2));
    }
    for (;;) {
        position = skipElement(position);
        if (position == 0 || position > full.size() || full.substr(0, position).empty()) {
            break;
        }
        const std::wstring prefix = full.substr(0, position);
        if (GetFileAttributesW(prefix.c_str()) == INVALID_FILE_ATTRIBUTES &&
            !CreateDirectoryW(prefix.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
            return false;
        }
        if (position >= full.size()) {
            break;
        }
    }
    const DWORD attributes = GetFileAttributesW(full.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool fileSizeByPath(std::string_view path, std::uint64_t& size, int& error) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(systemPath(path).c_str(), GetFileExInfoStandard, &data)) {
        error = static_cast<int>(GetLastError());
        return false;
    }
    size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    return true;
}

bool fileTime(std::string_view path, std::int64_t& ticks) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(systemPath(path).c_str(), GetFileExInfoStandard, &data)) {
        return false;
    }
    ticks =
        static_cast<std::int64_t>((static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
                                  data.ftLastWriteTime.dwLowDateTime);
    return true;
}

std::error_code renameReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING)) {
        return std::error_code(static_cast<int>(GetLastError()), std::system_category());
    }
    return {};
}

} // namespace Tarn::IO::Detail
