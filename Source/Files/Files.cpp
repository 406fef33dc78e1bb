#include <Tarn/Files/Files.h>
#include <Tarn/Files/Paths.h>

#include "Files/Internal/FileSystem.h"
#include "Files/Internal/IOLog.h"

namespace Tarn::IO {
namespace {

using Logging::Category;

// The platform calls move at most this many bytes at once.
constexpr uint64_t MaxChunk = 4294967295u;

using ull = unsigned long long;

/// Closes a backend file on every way out.
struct ScopedFile {
    explicit ScopedFile(std::uintptr_t file) : file(file) {}
    ~ScopedFile() { Detail::closeFile(file); }
    ScopedFile(const ScopedFile&) = delete;
    ScopedFile& operator=(const ScopedFile&) = delete;
    bool valid() const { return file != Detail::InvalidFile; }
    std::uintptr_t file;
};

bool readAll(std::uintptr_t file, uint8_t* destination, uint64_t size) {
    uint64_t done = 0;
    while (done < size) {
        const uint64_t chunk = size - done < MaxChunk ? size - done : MaxChunk;
        uint32_t count = 0;
        int error = 0;
        if (!Detail::readFile(file, destination + done, static_cast<uint32_t>(chunk), count, error) ||
            count == 0) {
            return false;
        }
        done += count;
    }
    return true;
}

// The range rules and texts are shared by the synchronous and the callback form; only the name in
// front of each message differs.
std::unique_ptr<FileContents> readRange(const char* function, const std::string& path, uint64_t offset,
                                        uint64_t size) {
    const Logging::Log& log = Detail::ioLog();
    if (size == 0 && offset != 0) {
        log.log(Category::Error, "%s: Illegal range, trying to read zero bytes from offset (%llu)", function,
                static_cast<ull>(offset));
        return nullptr;
    }
    int error = 0;
    ScopedFile file(Detail::openFile(path, Detail::Disposition::OpenExisting, Detail::Access::Read,
                                     Detail::Sharing::ReadWrite, error));
    if (!file.valid()) {
        log.log(Category::Error, "%s: Failed to open file %s", function, path.c_str());
        return nullptr;
    }
    uint64_t fileSize = 0;
    if (!Detail::fileSize(file.file, fileSize, error) || fileSize > static_cast<uint64_t>(INT64_MAX)) {
        log.log(Category::Error, "%s: tellg returned an error.", function);
        return nullptr;
    }
    if (size != 0) {
        if (fileSize < offset) {
            log.log(Category::Error, "%s: offset (%llu) is greater than filesize (%llu)", function,
                    static_cast<ull>(offset), static_cast<ull>(fileSize));
            return nullptr;
        }
        if (fileSize - offset < size) {
            log.log(Category::Error, "%s: offset (%llu) + size(%llu) is greater than filesize (%llu)",
                    function, static_cast<ull>(offset), static_cast<ull>(size), static_cast<ull>(fileSize));
            return nullptr;
        }
    } else {
        size = fileSize;
    }
    auto contents = std::make_unique<MemoryBufferBackedFileContents>(size, path);
    if (size != 0 &&
        (!Detail::seekFile(file.file, offset, error) || !readAll(file.file, contents->bytes(), size))) {
        // The file shrank or failed under us: never hand out a partial result.
        log.log(Category::Error, "%s: Failed to read %llu bytes from file %s", function,
                static_cast<ull>(size), path.c_str());
        return nullptr;
    }
    return contents;
}

} // namespace

std::unique_ptr<FileContents> readFileSync(const std::string& path, uint64_t offset, uint64_t size) {
    return readRange("Tarn::IO::readFileSync", path, offset, size);
}

void readFileAsync(const std::string& path, const ReadCallback& callback, uint64_t offset, uint64_t size) {
    if (!callback) {
        throw std::bad_function_call();
    }
    std::unique_ptr<FileContents> contents = readRange("Tarn::IO::readFileAsync", path, offset, size);
    callback(std::move(contents));
}

bool readTextFile(std::string& out, const std::string& path) {
    int error = 0;
    ScopedFile file(Detail::openFile(path, Detail::Disposition::OpenExisting, Detail::Access::Read,
                                     Detail::Sharing::ReadWrite, error));
    uint64_t size = 0;
    if (!file.valid() || !Detail::fileSize(file.file, size, error)) {
        Detail::ioLog().log(Category::Error, "Tarn::IO::readTextFile(%s): Failed to open file.",
                            path.c_str());
        return false;
    }
    std::string text(size, '\0');
    if (!readAll(file.file, reinterpret_cast<uint8_t*>(text.data()), size)) {
        Detail::ioLog().log(Category::Error, "Tarn::IO::readTextFile(%s): Failed to read file.",
                            path.c_str());
        return false;
    }
    // Text is read the same on every platform: a "\r\n" line end becomes "\n".
    std::size_t kept = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        text[kept++] = text[i];
    }
    text.resize(kept);
    out = std::move(text);
    return true;
}

bool writeBinaryFile(const std::string& path, const void* data, uint64_t size) {
    if (!createDirectories(parentPath(path))) {
        return false;
    }
    const std::string context = "Tarn::IO::writeBinaryFile(" + path + ")";
    int error = 0;
    ScopedFile file(Detail::openFile(path, Detail::Disposition::CreateAlways, Detail::Access::Write,
                                     Detail::Sharing::None, error));
    if (!file.valid()) {
        TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), context, error);
        return false;
    }
    const auto* bytes = static_cast<const uint8_t*>(data);
    uint64_t written = 0;
    while (written < size) {
        const uint64_t chunk = size - written < MaxChunk ? size - written : MaxChunk;
        uint32_t count = 0;
        if (!Detail::writeFile(file.file, bytes + written, static_cast<uint32_t>(chunk), count, error)) {
            TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), context, error);
            return false;
        }
        written += count;
    }
    return true;
}

bool copyFile(StringView from, StringView to) {
    int error = 0;
    if (!Detail::copyFile(from.to_string_view(), to.to_string_view(), error)) {
        TARN_LOG_PLATFORM_ERROR(
            Detail::ioLog(), "Tarn::IO::copyFile(" + from.to_string() + ", " + to.to_string() + ")", error);
        return false;
    }
    return true;
}

bool createDirectories(StringView path) {
    if (path.empty()) {
        return true;
    }
    if (!Detail::createDirectories(path.to_string_view())) {
        Detail::ioLog().log(Category::Error, "Tarn::IO::createDirectories(%.*s) failed.",
                            static_cast<int>(path.size()), path.data());
        return false;
    }
    return true;
}

bool remove(const std::string& path) {
    return std::filesystem::remove(Detail::toNativePath(path));
}

bool exists(const std::string& path) {
    return std::filesystem::exists(Detail::toNativePath(path));
}

uint64_t getFileSize(StringView path) {
    uint64_t size = 0;
    int error = 0;
    if (!Detail::fileSizeByPath(path.to_string_view(), size, error)) {
        TARN_LOG_PLATFORM_ERROR(Detail::ioLog(), "Tarn::IO::getFileSize(" + path.to_string() + ")", error);
        return 0;
    }
    return size;
}

FileTime getFileTime(StringView path) {
    FileTime ticks = 0;
    return Detail::fileTime(path.to_string_view(), ticks) ? ticks : InvalidFileTime;
}

std::filesystem::recursive_directory_iterator directoryIterator(StringView path) {
    std::error_code error;
    std::filesystem::recursive_directory_iterator iterator(
        Detail::toNativePath(path.to_string_view()),
        std::filesystem::directory_options::skip_permission_denied, error);
    if (error) {
        return {};
    }
    return iterator;
}

} // namespace Tarn::IO
