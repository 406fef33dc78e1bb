#pragma once

#include <Tarn/Files/FileContents.h>
#include <Tarn/Files/FileHandle.h>
#include <Tarn/Foundation/Export.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

// Whole-file and range reads, writes and file-system queries. Paths are UTF-8 in the grammar of
// Paths.h. Failures are logged at Error through the log "PlatformIO" and reported as null, false or
// 0; only `remove` and `exists` throw (std::filesystem::filesystem_error).

/// Files and paths: one UTF-8 path grammar on every platform, whole-file reads and writes, file
/// handles and mapped views, standard folders.
namespace Tarn::IO {

/// Last-write time: 100-nanosecond ticks since 1601-01-01 UTC on every platform.
using FileTime = int64_t;
/// getFileTime's answer for a file that cannot be examined.
inline constexpr FileTime InvalidFileTime = INT64_MIN;

/// Called once with the contents, or with null on failure; it may move the pointer out, whatever it
/// leaves is destroyed after it returns.
using ReadCallback = std::function<void(std::unique_ptr<FileContents>&&)>;

/// `size` bytes at `offset`, or the whole file when `size` is 0 (then `offset` must be 0). Null for
/// a missing file or a range beyond the end: never a shorter buffer.
TARN_API std::unique_ptr<FileContents> readFileSync(const std::string& path, uint64_t offset = 0,
                                                    uint64_t size = 0);
/// readFileSync on the calling thread, handing the result to `callback` before returning. An empty
/// callback throws std::bad_function_call.
TARN_API void readFileAsync(const std::string& path, const ReadCallback& callback, uint64_t offset = 0,
                            uint64_t size = 0);
/// Replaces `out` by the file's text (line ends "\r\n" read as "\n").
TARN_API bool readTextFile(std::string& out, const std::string& path);
/// Creates the parent directories, then the file anew with exactly these bytes.
TARN_API bool writeBinaryFile(const std::string& path, const void* data, uint64_t size);
/// Copies a file, replacing `to` if it exists.
TARN_API bool copyFile(StringView from, StringView to);
/// Creates every missing directory of the path; true when it is a directory afterwards. The empty
/// path names the current directory.
TARN_API bool createDirectories(StringView path);
/// Removes a file or an empty directory; false when there was nothing to remove.
TARN_API bool remove(const std::string& path);
/// Whether anything exists at the path.
TARN_API bool exists(const std::string& path);
/// The file's size in bytes (0 for directories, and, logged, on failure).
TARN_API uint64_t getFileSize(StringView path);
/// The file's last-write time; InvalidFileTime (not logged) when it cannot be examined.
TARN_API FileTime getFileTime(StringView path);
/// Every entry below the path, recursively; an empty range when the directory cannot be opened.
/// getPath gives an entry's path.
TARN_API std::filesystem::recursive_directory_iterator directoryIterator(StringView path);

} // namespace Tarn::IO
