#pragma once

// The platform half of the path and file services. Everything here is implemented once in
// Win32/FileSystemWin32.cpp and once in Posix/FileSystemPosix.cpp; the shared code above it holds
// all the rules (texts, ranges, orderings) so that both platforms behave the same.
//
// Error codes are the platform's own (GetLastError values on Windows, errno values elsewhere) and
// are only ever turned into text by systemMessage().

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace Tarn::IO::Detail {

// ---- Paths ------------------------------------------------------------------------------------

/// The system's path for UTF-8 text in the library's grammar ("\" and "/" both separate).
std::filesystem::path toNativePath(std::string_view utf8);
/// UTF-8 text of a system path, spelt as the system spells it.
std::string fromNativePath(const std::filesystem::path& path);
/// UTF-8 text converted to the active 8-bit code page (the identity where that is UTF-8).
std::string toActiveCodePage(std::string_view utf8);
/// `path` made absolute against the current directory; empty when the system cannot say.
std::string absolutePath(std::string_view path);

// ---- Errors -----------------------------------------------------------------------------------

/// The calling thread's last platform error.
int lastError();
/// The platform's code for an invalid argument (ERROR_INVALID_PARAMETER, EINVAL).
int invalidParameterError();
/// The system's text for `code` without trailing line breaks; false when it has none.
bool systemMessage(int code, std::string& message);

// ---- Environment and folders ------------------------------------------------------------------

/// The platform's expansion of "%name%", bounded to 2048 bytes; false when it fails or overflows.
bool expandVariable(const std::string& name, std::string& value);
/// The per-user local application-data folder. On failure, `error` names the reason.
bool localAppDataFolder(std::string& folder, int& error);
/// The machine-wide program-data folder. On failure, `error` names the reason.
bool programDataFolder(std::string& folder, int& error);
/// Full file name of the running executable.
bool executablePath(std::string& path, int& error);
/// Directory of the module holding `address`, combined with `relative`.
bool pathRelativeToModule(const void* address, const std::string& relative, std::string& result, int& error);

// ---- Files ------------------------------------------------------------------------------------

/// Handle value of a closed file: all bits set, like the system's invalid handle.
inline constexpr std::uintptr_t InvalidFile = ~std::uintptr_t(0);

/// Who else may use a file while it is open. Values follow the access it protects.
enum class Sharing { ReadWrite, Read, None };
/// Creation disposition, in the order of FileHandle::OpenMode.
enum class Disposition : std::uint32_t {
    CreateNew,
    CreateAlways,
    OpenExisting,
    OpenAlways,
    TruncateExisting
};
enum class Access : std::uint32_t { Read, Write };

std::uintptr_t openFile(std::string_view path, Disposition disposition, Access access, Sharing sharing,
                        int& error);
void closeFile(std::uintptr_t file);
/// Reads at most 4294967295 bytes at the current position; `done` < `size` only at the end.
bool readFile(std::uintptr_t file, void* buffer, std::uint32_t size, std::uint32_t& done, int& error);
bool writeFile(std::uintptr_t file, const void* buffer, std::uint32_t size, std::uint32_t& done, int& error);
bool fileSize(std::uintptr_t file, std::uint64_t& size, int& error);
bool seekFile(std::uintptr_t file, std::uint64_t offset, int& error);
/// Tells the system that `size` fresh bytes at `memory` are about to be filled front to back, so
/// that it can back them with as few page faults as it can.
void prepareForFill(void* memory, std::uint64_t size);
/// Lets the system take back the whole pages inside `size` bytes at `memory` whenever it runs short,
/// without a further call: their contents become undefined, and writing to a page keeps it. False
/// when the system has no such call; the caller must then not keep the memory around for later.
bool discardPages(void* memory, std::uint64_t size);

/// Creates the read-only mapping object covering the file up to `maximumSize` bytes (0: all of it).
bool createMapping(std::uintptr_t file, std::uint64_t maximumSize, std::uintptr_t& mapping, int& error);
/// Maps a read-only view of `size` bytes (0: to the end of the mapping) at `offset`.
/// The backend may update `mapping` with what it needs to release the view later.
void* mapView(std::uintptr_t file, std::uintptr_t& mapping, std::uint32_t offset, std::uint64_t size,
              int& error);
void unmapView(void* view, std::uintptr_t mapping);
void closeMapping(std::uintptr_t mapping);

// ---- Whole-file services ----------------------------------------------------------------------

bool copyFile(std::string_view from, std::string_view to, int& error);
/// Creates every missing directory of `path`; true when it is a directory afterwards.
bool createDirectories(std::string_view path);
/// Size from the file's attributes; directories report 0.
bool fileSizeByPath(std::string_view path, std::uint64_t& size, int& error);
/// Last-write time in 100-nanosecond ticks since 1601-01-01 UTC.
bool fileTime(std::string_view path, std::int64_t& ticks);
/// Renames `from` to `to`, replacing a file of that name. Returns the system's error, if any.
std::error_code renameReplacing(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace Tarn::IO::Detail
