#include "Files/Internal/FileSystem.h"

#include <Tarn/Files/Paths.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// Linux backend. Paths use the library's grammar, so every "\" becomes "/" on the way to the
// system; a file name that contains a backslash cannot be reached through the library. Text the
// system hands back (current directory, resolved links, folders) keeps its "/".
//
// Windows sharing is emulated with flock(): a handle that shares nothing takes an exclusive lock,
// every other handle a shared one, both without waiting, so the combinations that the Windows share
// modes refuse fail here too (with EBUSY) between handles of this library, also inside one process.

namespace Tarn::IO::Detail {

// ---- Paths ------------------------------------------------------------------------------------

std::filesystem::path toNativePath(std::string_view utf8) {
    std::string text(utf8);
    for (char& c : text) {
        if (c == '\\') {
            c = '/';
        }
    }
    return std::filesystem::path(std::move(text));
}

std::string fromNativePath(const std::filesystem::path& path) {
    return path.native();
}

std::string toActiveCodePage(std::string_view utf8) {
    return std::string(utf8);
}

std::string absolutePath(std::string_view path) {
    if (!path.empty() && toNativePath(path).is_absolute()) {
        return std::string(path);
    }
    std::error_code error;
    const std::filesystem::path current = std::filesystem::current_path(error);
    if (error) {
        return {};
    }
    return path.empty() ? current.native() : combine(current.native(), std::string(path));
}

// ---- Errors -----------------------------------------------------------------------------------

int lastError() {
    return errno;
}

int invalidParameterError() {
    return EINVAL;
}

bool systemMessage(int code, std::string& message) {
    char buffer[2000];
    // The GNU strerror_r may return a static text instead of filling the buffer.
    const char* text = strerror_r(code, buffer, sizeof buffer);
    if (!text || std::strncmp(text, "Unknown error", 13) == 0) {
        return false;
    }
    message = text;
    while (!message.empty() && (message.back() == '\r' || message.back() == '\n')) {
        message.pop_back();
    }
    return true;
}

// ---- Environment and folders ------------------------------------------------------------------

bool expandVariable(const std::string& name, std::string& value) {
    const char* text = std::getenv(name.c_str());
    value = text ? std::string(text) : "%" + name + "%";
    // The same bound as the Windows expansion buffer (2048 bytes with its terminator).
    return value.size() < 2048;
}

namespace {

std::string homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home == '/') {
        return home;
    }
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir && *entry->pw_dir == '/') {
        return entry->pw_dir;
    }
    return {};
}

/// An XDG base-directory variable counts only when it holds an absolute path.
std::string xdgVariable(const char* name) {
    const char* value = std::getenv(name);
    return value && *value == '/' ? std::string(value) : std::string();
}

} // namespace

bool localAppDataFolder(std::string& folder, int& error) {
    folder = xdgVariable("XDG_DATA_HOME");
    if (folder.empty()) {
        const std::string home = homeFolder();
        if (home.empty()) {
            error = ENOENT;
            return false;
        }
        folder = home + "/.local/share";
    }
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return true;
}

bool programDataFolder(std::string& folder, int&) {
    // The first entry of the system data search path; its documented default otherwise.
    const std::string dirs = xdgVariable("XDG_DATA_DIRS");
    folder = dirs.substr(0, dirs.find(':'));
    if (folder.empty() || folder.front() != '/') {
        folder = "/usr/local/share";
    }
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return true;
}

bool executablePath(std::string& path, int& error) {
    char buffer[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer);
    if (length < 0) {
        error = errno;
        return false;
    }
    if (static_cast<std::size_t>(length) >= sizeof buffer) {
        error = ENAMETOOLONG;
        return false;
    }
    path.assign(buffer, static_cast<std::size_t>(length));
    return true;
}

bool pathRelativeToModule(const void* address, const std::string& relative, std::string& result, int& error) {
    Dl_info info{};
    if (!address || dladdr(address, &info) == 0 || !info.dli_fname) {
        error = EFAULT; // dladdr sets no errno: "no module at this address"
        return false;
    }
    std::string module = info.dli_fname;
    // The main program is reported under the name it was started with, which may be relative.
    if (module.empty() || module.front() != '/') {
        if (!executablePath(module, error)) {
            return false;
        }
    }
    result = combine(parentPath(StringView(module)), relative);
    return true;
}

// ---- Files ------------------------------------------------------------------------------------

namespace {

int fd(std::uintptr_t file) {
    return static_cast<int>(static_cast<std::intptr_t>(file));
}

// A descriptor opened for reading cannot be truncated: a second one, for writing, does it.
bool truncateByPath(const std::filesystem::path& native) {
    const int writer = ::open(native.c_str(), O_WRONLY | O_CLOEXEC);
    if (writer < 0) {
        return false;
    }
    const bool done = ftruncate(writer, 0) == 0;
    const int saved = errno;
    ::close(writer);
    errno = saved;
    return done;
}

} // namespace

std::uintptr_t openFile(std::string_view path, Disposition disposition, Access access, Sharing sharing,
                        int& error) {
    int flags = O_CLOEXEC | (access == Access::Write ? O_WRONLY : O_RDONLY);
    switch (disposition) {
    case Disposition::CreateNew:
        flags |= O_CREAT | O_EXCL;
        break;
    case Disposition::CreateAlways:
    case Disposition::OpenAlways:
        flags |= O_CREAT;
        break;
    case Disposition::OpenExisting:
    case Disposition::TruncateExisting:
        break;
    }
    const std::filesystem::path native = toNativePath(path);
    const int handle = ::open(native.c_str(), flags, 0666);
    if (handle < 0) {
        error = errno;
        return InvalidFile;
    }
    auto fail = [&](int code) {
        ::close(handle);
        error = code;
        return InvalidFile;
    };
    struct stat status {};
    if (fstat(handle, &status) != 0) {
        return fail(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return fail(EISDIR); // Windows refuses to open a directory as a file
    }
    // Only a handle that shares nothing excludes others; every other one merely keeps exclusive
    // handles out while it is open, as an open handle does on Windows.
    if (flock(handle, (sharing == Sharing::None ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
        return fail(errno == EWOULDBLOCK ? EBUSY : errno);
    }
    // Truncation waits until the sharing check has passed, as it does on Windows.
    // Windows creates or empties a file opened with CreateAlways for reading as well (the caller
    // still needs the right to write it); it refuses TruncateExisting without write access.
    if (disposition == Disposition::TruncateExisting && access != Access::Write) {
        return fail(EINVAL);
    }
    if (disposition == Disposition::CreateAlways || disposition == Disposition::TruncateExisting) {
        if (access == Access::Write ? ftruncate(handle, 0) != 0 : !truncateByPath(native)) {
            return fail(errno);
        }
    }
    return static_cast<std::uintptr_t>(static_cast<std::intptr_t>(handle));
}

void closeFile(std::uintptr_t file) {
    if (file != InvalidFile) {
        ::close(fd(file));
    }
}

bool readFile(std::uintptr_t file, void* buffer, std::uint32_t size, std::uint32_t& done, int& error) {
    done = 0;
    auto* bytes = static_cast<char*>(buffer);
    while (done < size) {
        const ssize_t count = ::read(fd(file), bytes + done, size - done);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            error = errno;
            return false;
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::uint32_t>(count);
    }
    return true;
}

bool writeFile(std::uintptr_t file, const void* buffer, std::uint32_t size, std::uint32_t& done, int& error) {
    done = 0;
    const auto* bytes = static_cast<const char*>(buffer);
    while (done < size) {
        const ssize_t count = ::write(fd(file), bytes + done, size - done);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            error = errno;
            return false;
        }
        done += static_cast<std::uint32_t>(count);
    }
    return true;
}

bool fileSize(std::uintptr_t file, std::uint64_t& size, int& error) {
    struct stat status {};
    if (fstat(fd(file), &status) != 0) {
        error = errno;
        return false;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool seekFile(std::uintptr_t file, std::uint64_t offset, int& error) {
    if (lseek(fd(file), static_cast<off_t>(offset), SEEK_SET) < 0) {
        error = errno;
        return false;
    }
    return true;
}

// A large read into fresh heap memory costs one page fault per 4 KiB, which takes longer than the
// copy itself; huge pages cut the faults by a factor of 512. Only whole 2 MiB blocks inside the
// range are advised, and a system without transparent huge pages simply ignores the advice.
void prepareForFill(void* memory, std::uint64_t size) {
    constexpr std::uintptr_t HugePage = std::uintptr_t(2) << 20;
    if (size < 2 * HugePage) {
        return;
    }
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(memory) + HugePage - 1) & ~(HugePage - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(memory) + size) & ~(HugePage - 1);
    if (end > begin) {
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
    }
}

// MADV_FREE (Linux 4.5) leaves the pages mapped until the kernel needs them, so memory that is used
// again soon costs nothing more; older kernels refuse it, and then nothing is kept.
bool discardPages(void* memory, std::uint64_t size) {
#ifdef MADV_FREE
    const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(memory) + page - 1) & ~(page - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(memory) + size) & ~(page - 1);
    return end <= begin || madvise(reinterpret_cast<void*>(begin), end - begin, MADV_FREE) == 0;
#else
    static_cast<void>(memory);
    static_cast<void>(size);
    return false;
#endif
}

// There is no mapping object on POSIX: `mapping` holds the length the mapping covers until a view
// exists, then the view's length, which munmap needs.
bool createMapping(std::uintptr_t file, std::uint64_t maximumSize, std::uintptr_t& mapping, int& error) {
    std::uint64_t size = 0;
    if (!fileSize(file, size, error)) {
        return false;
    }
    const std::uint64_t covered = maximumSize == 0 ? size : maximumSize;
    // A read-only mapping can neither be empty nor reach past the end of the file.
    if (covered == 0 || covered > size) {
        error = EINVAL;
        return false;
    }
    mapping = static_cast<std::uintptr_t>(covered);
    return true;
}

void* mapView(std::uintptr_t file, std::uintptr_t& mapping, std::uint32_t offset, std::uint64_t size,
              int& error) {
    const std::uint64_t covered = mapping;
    if (offset >= covered || (size != 0 && size > covered - offset)) {
        error = EINVAL;
        return nullptr;
    }
    const std::uint64_t length = size == 0 ? covered - offset : size;
    void* view = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd(file), static_cast<off_t>(offset));
    if (view == MAP_FAILED) {
        error = errno;
        return nullptr;
    }
    mapping = static_cast<std::uintptr_t>(length);
    return view;
}

void unmapView(void* view, std::uintptr_t mapping) {
    munmap(view, static_cast<std::size_t>(mapping));
}

void closeMapping(std::uintptr_t) {}

// ---- Whole-file services ----------------------------------------------------------------------

bool copyFile(std::string_view from, std::string_view to, int& error) {
    std::error_code code;
    std::filesystem::copy_file(toNativePath(from), toNativePath(to),
                               std::filesystem::copy_options::overwrite_existing, code);
    if (code) {
        error = code.value();
        return false;
    }
    return true;
}

bool createDirectories(std::string_view path) {
    const std::filesystem::path native = toNativePath(path);
    std::error_code error;
    std::filesystem::create_directories(native, error);
    return !error && std::filesystem::is_directory(native, error);
}

bool fileSizeByPath(std::string_view path, std::uint64_t& size, int& error) {
    struct stat status {};
    if (::stat(toNativePath(path).c_str(), &status) != 0) {
        error = errno;
        return false;
    }
    size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool fileTime(std::string_view path, std::int64_t& ticks) {
    struct stat status {};
    if (::stat(toNativePath(path).c_str(), &status) != 0) {
        return false;
    }
    constexpr std::int64_t SecondsFrom1601To1970 = 11644473600;
    ticks = (static_cast<std::int64_t>(status.st_mtim.tv_sec) + SecondsFrom1601To1970) * 10000000 +
            status.st_mtim.tv_nsec / 100;
    return true;
}

std::error_code renameReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code error;
    std::filesystem::rename(from, to, error);
    return error;
}

} // namespace Tarn::IO::Detail
