#include <Tarn/Files/FileHandle.h>

#include "Files/Internal/FileSystem.h"

#include <Tarn/Foundation/Assert.h>
#include <Tarn/Logging/Log.h>

#include <string>

namespace Tarn {

// Defined here so that the DLL exports it for the header's inline code (see StringView::NoPosition).
constexpr uintptr_t FileHandle::InvalidHandle;
namespace {

const Logging::Log& handleLog() {
    static const Logging::Log log("FileHandle");
    return log;
}

// The platform calls move at most this many bytes at once.
constexpr uint64_t MaxChunk = 4294967295u;

static_assert(IO::Detail::InvalidFile == ~uintptr_t(0));

} // namespace

FileHandle::FileHandle(FileHandle&& move) noexcept : file(move.file) {
    TARN_ASSERT(move.mappedMemory == nullptr);
    move.file = InvalidHandle;
}

FileHandle& FileHandle::operator=(FileHandle&& move) noexcept {
    TARN_ASSERT(mappedMemory == nullptr);
    TARN_ASSERT(move.mappedMemory == nullptr);
    if (this != &move) {
        release();
        file = move.file;
        move.file = InvalidHandle;
    }
    return *this;
}

FileHandle::~FileHandle() {
    release();
}

void FileHandle::close() noexcept {
    release();
}

void FileHandle::release() noexcept {
    if (mappedMemory) {
        IO::Detail::unmapView(mappedMemory, mapping);
        mappedMemory = nullptr;
    }
    if (mapping) {
        IO::Detail::closeMapping(mapping);
        mapping = 0;
    }
    if (file != InvalidHandle) {
        IO::Detail::closeFile(file);
        file = InvalidHandle;
    }
}

std::shared_ptr<FileHandle> FileHandle::open(StringView path, OpenMode openMode, AccessMode accessMode) {
    int error = 0;
    const uintptr_t file = IO::Detail::openFile(
        path.to_string_view(), static_cast<IO::Detail::Disposition>(openMode),
        static_cast<IO::Detail::Access>(accessMode),
        accessMode == AccessMode::Write ? IO::Detail::Sharing::None : IO::Detail::Sharing::Read, error);
    if (file == InvalidHandle) {
        std::string message;
        if (!IO::Detail::systemMessage(error, message)) {
            message = "Unknown error " + std::to_string(error);
        }
        handleLog().log(Logging::Category::Error, "Tarn::FileHandle::open(): Failed to open %.*s. Error: %s.",
                        static_cast<int>(path.size()), path.data(), message.c_str());
        return {};
    }
    auto handle = std::make_shared<FileHandle>();
    handle->file = file;
    return handle;
}

bool FileHandle::read(void* buffer, uint64_t size, uint64_t& bytesRead) {
    bytesRead = 0;
    auto* bytes = static_cast<uint8_t*>(buffer);
    while (bytesRead < size) {
        const uint64_t chunk = size - bytesRead < MaxChunk ? size - bytesRead : MaxChunk;
        uint32_t done = 0;
        int error = 0;
        if (!IO::Detail::readFile(file, bytes + bytesRead, static_cast<uint32_t>(chunk), done, error)) {
            handleLog().log(Logging::Category::Error, "read(): Failed to read FileHandle %p. Error: %d.",
                            reinterpret_cast<void*>(file), error);
            return false;
        }
        bytesRead += done;
        if (done < chunk) {
            break; // end of file
        }
    }
    return true;
}

bool FileHandle::write(const void* buffer, uint64_t size, uint64_t& bytesWritten) {
    bytesWritten = 0;
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    while (bytesWritten < size) {
        const uint64_t chunk = size - bytesWritten < MaxChunk ? size - bytesWritten : MaxChunk;
        uint32_t done = 0;
        int error = 0;
        if (!IO::Detail::writeFile(file, bytes + bytesWritten, static_cast<uint32_t>(chunk), done, error)) {
            handleLog().log(Logging::Category::Error, "write(): Failed to write FileHandle %p. Error: %d.",
                            reinterpret_cast<void*>(file), error);
            return false;
        }
        bytesWritten += done;
    }
    return true;
}

const void* FileHandle::map(ProtectionMode, uint64_t offset, uint64_t size) {
    if (!isOpen()) {
        handleLog().log(Logging::Category::Error, "Cannot map invalid file handle.");
        return nullptr;
    }
    if (mapping) {
        handleLog().log(Logging::Category::Error, "File handle cannot be mapped multiple times.");
        return nullptr;
    }
    int error = 0;
    // A size of 0 asks for everything, which a maximum of 0 gives the mapping object as well.
    const uint64_t maximum = size == 0 ? 0 : offset + size;
    if (!IO::Detail::createMapping(file, maximum, mapping, error)) {
        mapping = 0;
        handleLog().log(Logging::Category::Error, "map(): CreateFileMapping failed. Last error: %d", error);
        return nullptr;
    }
    // Views take a 32-bit offset: larger ones are refused rather than silently mapping elsewhere.
    if (offset > 0xFFFFFFFFu) {
        handleLog().log(Logging::Category::Error, "map(): MapViewOfFile failed. Last error: %d",
                        IO::Detail::invalidParameterError());
        return nullptr;
    }
    void* view = IO::Detail::mapView(file, mapping, static_cast<uint32_t>(offset), size, error);
    if (!view) {
        handleLog().log(Logging::Category::Error, "map(): MapViewOfFile failed. Last error: %d", error);
        return nullptr;
    }
    mappedMemory = view;
    return view;
}

void FileHandle::unmap() {
    if (!mappedMemory) {
        handleLog().log(Logging::Category::Warning,
                        "Cannot unmap file without mapped memory address (file mapping may have failed).");
        return;
    }
    IO::Detail::unmapView(mappedMemory, mapping);
    IO::Detail::closeMapping(mapping);
    mappedMemory = nullptr;
    mapping = 0;
}

uint64_t FileHandle::getSize() const {
    uint64_t size = 0;
    int error = 0;
    if (!isOpen() || !IO::Detail::fileSize(file, size, error)) {
        return 0;
    }
    return size;
}

namespace IO {

std::shared_ptr<FileHandle> openFile(StringView path, FileHandle::OpenMode openMode,
                                     FileHandle::AccessMode accessMode) {
    return FileHandle::open(path, openMode, accessMode);
}

void closeFile(const std::shared_ptr<FileHandle>& handle) {
    if (handle) {
        handle->close();
    }
}

uint64_t fileSize(const std::shared_ptr<FileHandle>& handle) {
    return handle ? handle->getSize() : 0;
}

const void* mapFile(const std::shared_ptr<FileHandle>& handle, FileHandle::ProtectionMode protection,
                    uint64_t offset, uint64_t size) {
    return handle ? handle->map(protection, offset, size) : nullptr;
}

void unmapFile(const std::shared_ptr<FileHandle>& handle) {
    if (handle) {
        handle->unmap();
    }
}

} // namespace IO
} // namespace Tarn
