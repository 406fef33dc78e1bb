#include <Tarn/Files/Paths.h>

#include "Files/Internal/FileSystem.h"
#include "Files/Internal/IOLog.h"

#include <cstdlib>
#include <string_view>

namespace Tarn::IO {
namespace {

// A path is [root name][root directory][relative part]. The root name is a drive ("C:") or a
// network host ("\\server"); the root directory is the run of separators right after it. Every
// text operation below is phrased in these three parts so that drives and shares behave alike.

constexpr bool isSeparator(char c) {
    return c == '\\' || c == '/';
}

std::size_t rootNameLength(std::string_view path) {
    if (path.size() >= 2 && path[1] == ':' && !isSeparator(path[0])) {
        return 2;
    }
    if (path.size() >= 3 && isSeparator(path[0]) && isSeparator(path[1]) && !isSeparator(path[2])) {
        std::size_t end = 2;
        while (end < path.size() && !isSeparator(path[end])) {
            ++end;
        }
        return end;
    }
    return 0;
}

/// Length of the root name and root directory together.
std::size_t rootLength(std::string_view path) {
    std::size_t end = rootNameLength(path);
    while (end < path.size() && isSeparator(path[end])) {
        ++end;
    }
    return end;
}

bool hasRootDirectory(std::string_view path) {
    const std::size_t name = rootNameLength(path);
    return name < path.size() && isSeparator(path[name]);
}

std::string_view fileNameOf(std::string_view path) {
    const std::size_t root = rootLength(path);
    std::size_t start = path.size();
    while (start > root && !isSeparator(path[start - 1])) {
        --start;
    }
    return path.substr(start);
}

std::string_view extensionOf(std::string_view name) {
    if (name == "." || name == "..") {
        return {};
    }
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return {};
    }
    return name.substr(dot);
}

std::string_view view(StringView text) {
    return {text.data(), static_cast<std::size_t>(text.size())};
}

} // namespace

std::string combine(const std::string& a, const std::string& b) {
    const std::string_view left = a;
    const std::string_view right = b;
    const std::string_view leftName = left.substr(0, rootNameLength(left));
    const std::string_view rightName = right.substr(0, rootNameLength(right));
    const bool rightRooted = hasRootDirectory(right);

    if ((!rightName.empty() && rightRooted) || (!rightName.empty() && rightName != leftName)) {
        return b;
    }
    if (rightRooted) {
        std::string result(leftName);
        result.append(right.substr(rightName.size()));
        return result;
    }
    std::string result = a;
    if (!fileNameOf(left).empty()) {
        result.push_back(pathSeparator);
    }
    result.append(right.substr(rightName.size()));
    return result;
}

std::string parentPath(StringView path) {
    const std::string_view text = view(path);
    const std::size_t root = rootLength(text);
    if (root == text.size()) {
        return std::string(text);
    }
    std::size_t end = text.size();
    while (end > root && !isSeparator(text[end - 1])) {
        --end;
    }
    // Drop the separators that joined the last element, but never eat into the root.
    while (end > root && isSeparator(text[end - 1])) {
        --end;
    }
    return std::string(text.substr(0, end));
}

std::string fileName(const std::string& path) {
    return std::string(fileNameOf(path));
}

std::string stem(StringView path) {
    const std::string_view name = fileNameOf(view(path));
    return std::string(name.substr(0, name.size() - extensionOf(name).size()));
}

std::string extension(const std::string& path) {
    return std::string(extensionOf(fileNameOf(path)));
}

std::string absolute(const std::string& path) {
    return Detail::absolutePath(path);
}

std::string canonical(const std::string& path) {
    return Detail::fromNativePath(std::filesystem::canonical(Detail::toNativePath(path)));
}

std::string relativePath(const std::string& path, const std::string& base) {
    const std::filesystem::path target = std::filesystem::canonical(Detail::toNativePath(path));
    const std::filesystem::path from = std::filesystem::canonical(Detail::toNativePath(base));
    // Elements are joined by the library, so they get the library's separator on every system.
    std::string result = Detail::fromNativePath(target.lexically_relative(from));
    for (char& c : result) {
        if (c == '/') {
            c = pathSeparator;
        }
    }
    return result;
}

std::string relativePath(const std::string& path) {
    return path.substr(rootLength(path));
}

std::string getPath(const std::filesystem::directory_entry& entry) {
    return Detail::fromNativePath(entry.path());
}

bool isAbsolute(StringView path) {
    return !path.empty() && (isSeparator(path[0]) || (path.size() > 1 && path[1] == ':'));
}

bool isRelative(StringView path) {
    return !isAbsolute(path);
}

bool isDirectory(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(Detail::toNativePath(path), error);
}

bool isFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(Detail::toNativePath(path), error);
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    if (from.empty()) {
        return;
    }
    std::size_t position = text.find(from);
    while (position != std::string::npos) {
        text.replace(position, from.size(), to);
        position = text.find(from, position + to.size());
    }
}

// ---- Environment ------------------------------------------------------------------------------

namespace {

constexpr bool isVariableCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '\\' ||
           c == '/';
}

/// The first "%name%" of the text: the leftmost "%" that is followed by name characters and another
/// "%". This is what a regular-expression search for %([0-9A-Za-z\\/]*)% finds, without compiling one.
bool findVariable(std::string_view text, std::size_t& begin, std::size_t& end) {
    std::size_t open = text.find('%');
    while (open != std::string_view::npos) {
        std::size_t close = open + 1;
        while (close < text.size() && isVariableCharacter(text[close])) {
            ++close;
        }
        if (close < text.size() && text[close] == '%') {
            begin = open;
            end = close + 1;
            return true;
        }
        // Whatever stopped the name is either the end or a foreign character; a "%" cannot begin
        // before it, so the next candidate is the next "%" at or after it.
        open = text.find('%', close);
    }
    return false;
}

constexpr int MaxReplacements = 1000;

} // namespace

std::string expandEnvironmentVariable(const std::string& name) {
    std::string value;
    if (!Detail::expandVariable(name, value)) {
        return {};
    }
    return value;
}

std::string expandEnvironmentVariables(const std::string& text) {
    std::string result = text;
    autoExpandEnvironmentVariables(result);
    return result;
}

void autoExpandEnvironmentVariables(std::string& text) {
    std::size_t begin = 0;
    std::size_t end = 0;
    for (int replacements = 0; findVariable(text, begin, end); ++replacements) {
        if (replacements == MaxReplacements) {
            Detail::ioLog().log(Logging::Category::Warning,
                                "Tarn::IO::autoExpandEnvironmentVariables: Stopped after %d replacements; "
                                "an environment variable refers to itself.",
                                MaxReplacements);
            return;
        }
        const std::string name = text.substr(begin + 1, end - begin - 2);
        const char* value = name.empty() ? nullptr : std::getenv(name.c_str());
        text.replace(begin, end - begin, value ? value : "");
    }
}

std::string expandPath(const std::string& path) {
    std::string result = Detail::toActiveCodePage(path);
    autoExpandEnvironmentVariables(result);
    return result;
}

// ---- Folders ----------------------------------------------------------------------------------

std::string getPathToExe() {
    std::string path;
    int error = 0;
    if (!Detail::executablePath(path, error)) {
        TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), "Tarn::UI::getPathToExe()", error);
        return {};
    }
    return path;
}

std::string getPathRelativeToDll(const std::string& relative, const void* address) {
    std::string result;
    int error = 0;
    if (!Detail::pathRelativeToModule(address, relative, result, error)) {
        TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), "Tarn::UI::getPathRelativeToDll(" + relative + ")", error);
        return relative;
    }
    return result;
}

std::string getTempPath() {
    std::string folder;
    int error = 0;
    if (!Detail::localAppDataFolder(folder, error)) {
        TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), "Tarn::IO::getTempPath()", error);
        return {};
    }
    return folder + "\\Temp\\";
}

std::string getAppDataPath() {
    std::string folder;
    int error = 0;
    if (!Detail::programDataFolder(folder, error)) {
        TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), "Tarn::IO::getAppDataPath()", error);
        return {};
    }
    return folder + "\\Morvale\\";
}

// ---- Backups ----------------------------------------------------------------------------------

namespace {

std::filesystem::path backupName(const std::string& path, uint32_t number) {
    return Detail::toNativePath(path + ".backup" + std::to_string(number));
}

void renameOrThrow(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (const std::error_code error = Detail::renameReplacing(from, to)) {
        throw std::filesystem::filesystem_error("rename", from, to, error);
    }
}

// Moves backup `number` up one, first making room above it while the chain is below its limit.
// Iterative so that a long chain of leftovers cannot exhaust the stack.
void rotateFrom(const std::string& path, uint32_t number, uint32_t maxBackups) {
    uint32_t top = number;
    while (top < maxBackups && std::filesystem::exists(backupName(path, top + 1))) {
        ++top;
    }
    for (uint32_t n = top; n >= number; --n) {
        renameOrThrow(backupName(path, n), backupName(path, n + 1));
        if (n == 0) {
            break;
        }
    }
}

} // namespace

void backupFile(const std::string& path, uint32_t maxBackups) {
    const std::filesystem::path file = Detail::toNativePath(path);
    if (!std::filesystem::exists(file)) {
        return;
    }
    if (std::filesystem::exists(backupName(path, 1))) {
        rotateFrom(path, 1, maxBackups);
    }
    renameOrThrow(file, backupName(path, 1));
}

} // namespace Tarn::IO
