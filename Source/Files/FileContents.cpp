#include <Tarn/Files/FileContents.h>

#include "Files/Internal/ReadBuffers.h"

#include <cstring>

namespace Tarn {

FileContents::~FileContents() = default;

Memory::MemoryBuffer FileContents::takeCopy() const {
    Memory::MemoryBuffer copy(size);
    if (size != 0) {
        std::memcpy(copy.data(), data, size);
    }
    return copy;
}

MemoryBufferBackedFileContents::MemoryBufferBackedFileContents(const uint8_t* data, uint64_t size)
    // The wrapping buffer never writes through its pointer: writes to a wrapping buffer fail.
    : FileContents(data, size), buffer(const_cast<uint8_t*>(data), size) {}

MemoryBufferBackedFileContents::MemoryBufferBackedFileContents(uint64_t size, const std::string& origin)
    : FileContents(nullptr, size), buffer(IO::Detail::acquireContentsBuffer(size)), originText(origin) {
    data = buffer.data();
}

MemoryBufferBackedFileContents::~MemoryBufferBackedFileContents() {
    // A wrapping buffer owns nothing (capacity 0) and is never kept.
    IO::Detail::releaseContentsBuffer(buffer);
}

Memory::MemoryBuffer MemoryBufferBackedFileContents::take() {
    if (data == buffer.data()) {
        Memory::MemoryBuffer taken(std::move(buffer));
        buffer = Memory::MemoryBuffer();
        // The bytes now belong to the caller: a later take must not read them.
        data = nullptr;
        size = 0;
        return taken;
    }
    return takeCopy();
}

} // namespace Tarn
