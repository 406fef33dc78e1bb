#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <filesystem>
#include <string>

// Path text, standard folders, environment expansion and backup rotation.
//
// Paths are UTF-8 text in one grammar on every platform: "\" and "/" both separate elements, "\"
// is the separator the library inserts, "X:" at the start is a drive (root name) and a leading
// "\\server" is a network root name. The text functions work on that grammar alone and never touch
// the file system, never log and never throw. Functions that ask the system turn its failures into
// an empty result and log them through the log "PlatformIO"; only `canonical`, the two-argument
// `relativePath` and `backupFile` throw (std::filesystem::filesystem_error).

namespace Tarn::IO {

/// The type of `pathSeparator`: the character '\\' as a value and as a call.
struct PathSeparator {
    /// The character.
    constexpr operator char() const noexcept { return '\\'; }
    /// The character, for code that calls `pathSeparator()`.
    constexpr char operator()() const noexcept { return '\\'; }
};
/// The separator the library inserts between elements, '\\'. Usable both as the character
/// (`pathSeparator`) and as a call (`pathSeparator()`), the two ways the name is met.
inline constexpr PathSeparator pathSeparator{};

/// `a` joined with `b` by the append rule: the result is `b` when `b` is absolute or names another
/// drive; a rooted `b` keeps `a`'s drive; otherwise "\" is inserted unless `a` is empty, ends in a
/// separator or is a bare drive ("C:" + "x" is "C:x").
TARN_API std::string combine(const std::string& a, const std::string& b);
/// The path without its last element:
///
///     "a\b\" gives "a\b", "C:\a" gives "C:\", "a" gives "".
TARN_API std::string parentPath(StringView path);
/// The last element: the text after the last separator (not part of the root name); empty when the
/// path ends in a separator.
TARN_API std::string fileName(const std::string& path);
/// The file name without its extension.
TARN_API std::string stem(StringView path);
/// The file name's extension with its leading "." (from the last "."); empty when the file name has
/// no ".", is "." or "..", or starts with its only ".".
TARN_API std::string extension(const std::string& path);
/// The path made absolute against the current directory; empty when the system cannot tell.
TARN_API std::string absolute(const std::string& path);
/// The absolute path with "." and ".." resolved and links followed. Throws
/// std::filesystem::filesystem_error when the path does not exist.
TARN_API std::string canonical(const std::string& path);
/// `path` relative to `base`, both resolved as `canonical` does first (and throwing as it does);
/// elements joined with "\".
TARN_API std::string relativePath(const std::string& path, const std::string& base);
/// The path without its root name and root directory ("C:\a\b" gives "a\b").
TARN_API std::string relativePath(const std::string& path);
/// The UTF-8 path of an entry produced by `directoryIterator`.
TARN_API std::string getPath(const std::filesystem::directory_entry& entry);
/// True when the text is not empty and starts with "/" or "\", or has ":" as its second character.
TARN_API bool isAbsolute(StringView path);
/// Exactly !isAbsolute(path): true for the empty text.
TARN_API bool isRelative(StringView path);
/// Whether the path names an existing directory (false on any error).
TARN_API bool isDirectory(const std::string& path);
/// Whether the path names an existing regular file (false on any error).
TARN_API bool isFile(const std::string& path);
/// Replaces every occurrence of `from`, left to right; inserted text is never rescanned, so the call
/// always terminates. An empty `from` does nothing.
TARN_API void replaceAll(std::string& text, const std::string& from, const std::string& to);

/// The platform's expansion of "%name%" (at most 2048 bytes); an undefined variable yields
/// "%name%" unchanged, a failed or oversized expansion the empty text.
TARN_API std::string expandEnvironmentVariable(const std::string& name);
/// A copy of `text` passed through autoExpandEnvironmentVariables.
TARN_API std::string expandEnvironmentVariables(const std::string& text);
/// In place: repeatedly replaces the first "%name%" (name of letters, digits, "\" and "/", possibly
/// empty) by the variable's value, undefined ones by nothing, searching again from the start after
/// each replacement. Stops after 1000 replacements with a warning, so self-referencing variables
/// cannot hang it; the text is then left as it stands.
TARN_API void autoExpandEnvironmentVariables(std::string& text);
/// The path in the active 8-bit code page, passed through autoExpandEnvironmentVariables.
TARN_API std::string expandPath(const std::string& path);

/// Full file name of the process's executable; empty (and logged) on failure.
TARN_API std::string getPathToExe();
/// The directory of the module containing `address` combined with `relative`; `relative` unchanged
/// (and logged) when no module contains the address.
TARN_API std::string getPathRelativeToDll(const std::string& relative, const void* address);
/// The user's local application-data folder followed by "\Temp\"; empty (and logged) on failure.
TARN_API std::string getTempPath();
/// The machine-wide program-data folder followed by "\Morvale\"; empty (and logged) on failure.
TARN_API std::string getAppDataPath();

/// Renames `path` to path + ".backup1" after moving existing backups up one number (see the notes in
/// docs/Files.md). Does nothing when `path` does not exist. A failed rename throws
/// std::filesystem::filesystem_error (operation "rename").
TARN_API void backupFile(const std::string& path, uint32_t maxBackups);

} // namespace Tarn::IO
