#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <memory>

namespace Tarn {

/// A thin owner of a platform file handle with at most one read-only mapped view.
///
/// States: closed (file invalid) or open; an open handle is unmapped or mapped, and can be mapped
/// once at a time. A mapped handle must not be moved (asserted). Not synchronised: one thread at a
/// time. Failures are logged through the log "FileHandle" and reported as false or null.
class TARN_API FileHandle {
public:
    /// Creation disposition; the value is an index into the platform's table.
    enum class OpenMode : uint32_t {
        CreateNew = 0,
        CreateAlways = 1,
        OpenExisting = 2,
        OpenAlways = 3,
        TruncateExisting = 4
    };
    /// Access wanted; Read lets others read meanwhile, Write lets nobody else in.
    enum class AccessMode : uint32_t { Read = 0, Write = 1 };
    /// Accepted by map for symmetry with other APIs; every view is read-only whatever the value.
    enum class ProtectionMode : uint32_t { ReadOnly = 0, ReadWrite = 1, CopyOnWrite = 2 };

    /// A closed handle.
    FileHandle() noexcept = default;
    /// Takes the file and leaves `move` closed; assignment first closes this handle's own file.
    /// Neither handle may have a view mapped (an assertion).
    ///@{
    FileHandle(FileHandle&& move) noexcept;
    FileHandle& operator=(FileHandle&& move) noexcept;
    ///@}
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle();

    /// Opens `path` (UTF-8); an empty pointer (and a log line) on failure.
    static std::shared_ptr<FileHandle> open(StringView path, OpenMode openMode, AccessMode accessMode);

    /// Unmaps the view, closes the mapping and the file; the handle is closed afterwards.
    void close() noexcept;
    /// Reads up to `size` bytes at the file position; `bytesRead` < `size` means the end was reached.
    bool read(void* buffer, uint64_t size, uint64_t& bytesRead);
    /// Writes `size` bytes at the file position.
    bool write(const void* buffer, uint64_t size, uint64_t& bytesWritten);
    /// A read-only view of `size` bytes at `offset` (size 0: to the end of the file), or null.
    /// Offsets of 4 GiB or more are not supported.
    const void* map(ProtectionMode protection, uint64_t offset, uint64_t size);
    /// Releases the view and the mapping; a warning when there is no view.
    void unmap();

    /// The file's size in bytes; 0 when closed.
    uint64_t getSize() const;
    /// Whether a file is open, whether a view is mapped, and the view (null when none).
    ///@{
    bool isOpen() const noexcept { return file != InvalidHandle; }
    bool isMapped() const noexcept { return mappedMemory != nullptr; }
    const void* getMappedMemory() const noexcept { return mappedMemory; }
    ///@}

private:
    static constexpr uintptr_t InvalidHandle = ~uintptr_t(0);

    void release() noexcept;

    uintptr_t file = InvalidHandle; // HANDLE on Windows, descriptor on POSIX
    uintptr_t mapping = 0;          // mapping HANDLE on Windows; what unmapping needs on POSIX
    void* mappedMemory = nullptr;
};

namespace IO {

/// FileHandle::open.
TARN_API std::shared_ptr<FileHandle> openFile(StringView path, FileHandle::OpenMode openMode,
                                              FileHandle::AccessMode accessMode);
/// Releases the view, mapping and file at once; the object lives on until its last owner lets go.
TARN_API void closeFile(const std::shared_ptr<FileHandle>& handle);
/// getSize, or 0 for a null pointer.
TARN_API uint64_t fileSize(const std::shared_ptr<FileHandle>& handle);
/// map, or null for a null pointer.
TARN_API const void* mapFile(const std::shared_ptr<FileHandle>& handle, FileHandle::ProtectionMode protection,
                             uint64_t offset, uint64_t size);
/// unmap, unless the pointer is null.
TARN_API void unmapFile(const std::shared_ptr<FileHandle>& handle);

} // namespace IO
} // namespace Tarn
