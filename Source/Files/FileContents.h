#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/MemoryBuffer.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <string>

namespace Tarn {

/// The bytes of a loaded file, owned by whoever holds the object. `data` and `size` describe them for
/// as long as the object lives and nothing has been taken out of it.
class TARN_API FileContents {
public:
    /// Describes `size` bytes at `data`; the derived class owns them.
    FileContents(const uint8_t* data, uint64_t size) noexcept : data(data), size(size) {}
    virtual ~FileContents();
    FileContents(const FileContents&) = delete;
    FileContents& operator=(const FileContents&) = delete;

    /// The bytes as a buffer of their own; an implementation may move its storage out.
    virtual Memory::MemoryBuffer take() = 0;
    /// Where the bytes came from (a file's path for contents made by the read functions).
    virtual StringView origin() const = 0;

    /// A new buffer from the default allocator holding a copy of the bytes.
    Memory::MemoryBuffer takeCopy() const;

    /// The bytes and their number, as described above.
    ///@{
    const uint8_t* data;
    uint64_t size;
    ///@}
};

/// FileContents whose bytes live in an owned MemoryBuffer.
class TARN_API MemoryBufferBackedFileContents final : public FileContents {
public:
    /// Wraps `size` bytes at `data` without owning them (the buffer wraps that memory); no origin.
    MemoryBufferBackedFileContents(const uint8_t* data, uint64_t size);
    /// `size` bytes of undefined contents from the default allocator, to be filled by the caller
    /// through `bytes()`. Large contents may get the storage of large contents released earlier,
    /// and keep theirs for later ones when released (see docs/Files.md).
    MemoryBufferBackedFileContents(uint64_t size, const std::string& origin);
    ~MemoryBufferBackedFileContents() override;

    /// Moves the buffer out while `data` still points at it (this object then keeps an empty buffer
    /// from the default allocator, and `data` and `size` become null and 0, so a second take yields an
    /// empty buffer); otherwise a copy.
    Memory::MemoryBuffer take() override;
    StringView origin() const override { return originText; }

    /// The buffer's writable bytes, for filling contents made by size.
    uint8_t* bytes() noexcept { return buffer.data(); }

private:
    Memory::MemoryBuffer buffer;
    std::string originText;
};

} // namespace Tarn
