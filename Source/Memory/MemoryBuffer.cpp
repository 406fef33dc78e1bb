#include <Tarn/Foundation/Assert.h>
#include <Tarn/Memory/MemoryBuffer.h>

#include <algorithm>
#include <utility>

namespace Tarn::Memory {

namespace {
// First storage of a buffer that is written to: large enough that small messages never regrow.
constexpr uint64_t MinWriteCapacity = 1024;
// First storage of a buffer that is grown in place by its user.
constexpr uint64_t MinGrowCapacity = 128;
} // namespace

MemoryBuffer::MemoryBuffer() noexcept : MemoryBuffer(Allocator::defaultAllocator(), DefaultMemBlockType) {}

MemoryBuffer::MemoryBuffer(MemBlockType type) noexcept : MemoryBuffer(Allocator::defaultAllocator(), type) {}

MemoryBuffer::MemoryBuffer(Allocator* allocator, MemBlockType type) noexcept
    : buffer(nullptr), bufferSize(0), capacity(0), position(0),
      allocator(allocator != nullptr ? allocator : Allocator::defaultAllocator()), type(type) {}

MemoryBuffer::MemoryBuffer(uint64_t size, MemBlockType type) : MemoryBuffer(size, nullptr, type) {}

MemoryBuffer::MemoryBuffer(uint64_t size, Allocator* allocator, MemBlockType type)
    : MemoryBuffer(allocator, type) {
    resize(size, false, false);
}

MemoryBuffer::MemoryBuffer(uint64_t size, bool reserveOnly, MemBlockType type) : MemoryBuffer(type) {
    if (reserveOnly) {
        reserve(size);
    } else {
        resize(size, false, false);
    }
}

MemoryBuffer::MemoryBuffer(const void* external, uint64_t size) noexcept
    : buffer(static_cast<uint8_t*>(const_cast<void*>(external))), bufferSize(size), capacity(0), position(0),
      allocator(nullptr), type(DefaultMemBlockType) {}

MemoryBuffer::MemoryBuffer(MemoryBuffer&& other) noexcept
    : buffer(other.buffer), bufferSize(other.bufferSize), capacity(other.capacity), position(other.position),
      allocator(other.allocator), type(other.type) {
    other.buffer = nullptr;
    other.bufferSize = 0;
    other.capacity = 0;
    other.position = 0;
    other.type = DefaultMemBlockType;
}

MemoryBuffer& MemoryBuffer::operator=(MemoryBuffer&& other) noexcept {
    if (this != &other) {
        release();
        buffer = std::exchange(other.buffer, nullptr);
        bufferSize = std::exchange(other.bufferSize, 0);
        capacity = std::exchange(other.capacity, 0);
        position = std::exchange(other.position, 0);
        allocator = other.allocator;
        type = std::exchange(other.type, DefaultMemBlockType);
    }
    return *this;
}

MemoryBuffer::~MemoryBuffer() {
    release();
}

void MemoryBuffer::release() noexcept {
    // The position is left alone: every caller overwrites it or is the destructor.
    if (buffer != nullptr) {
        if (allocator != nullptr) {
            allocator->deallocate(buffer, capacity, type);
        }
        buffer = nullptr;
        bufferSize = 0;
        capacity = 0;
    }
}

void MemoryBuffer::reserve(uint64_t newCapacity) {
    TARN_ASSERT_AT(allocator, "Source\\Memory\\MemoryBuffer", 50);
    if (allocator == nullptr || newCapacity <= capacity) {
        return;
    }
    auto* storage = static_cast<uint8_t*>(allocator->allocate(newCapacity, 0, type));
    if (storage == nullptr) {
        return;
    }
    if (buffer != nullptr) {
        if (bufferSize != 0) {
            std::memcpy(storage, buffer, bufferSize);
        }
        allocator->deallocate(buffer, capacity, type);
    }
    buffer = storage;
    capacity = newCapacity;
}

void MemoryBuffer::resize(uint64_t newSize, bool keepData, bool forceReallocation) {
    TARN_ASSERT_AT(allocator, "Source\\Memory\\MemoryBuffer", 29);
    if (allocator == nullptr || newSize == bufferSize) {
        return;
    }
    if (forceReallocation || newSize > capacity) {
        uint8_t* storage = nullptr;
        if (newSize != 0) {
            storage = static_cast<uint8_t*>(allocator->allocate(newSize, 0, type));
            if (storage == nullptr) {
                return;
            }
        }
        if (buffer != nullptr) {
            if (keepData && newSize != 0) {
                std::memcpy(storage, buffer, std::min(newSize, bufferSize));
            }
            allocator->deallocate(buffer, capacity, type);
        }
        buffer = storage;
        capacity = newSize;
    }
    bufferSize = newSize;
    position = std::min(position, newSize);
}

void MemoryBuffer::clear() {
    resize(0, false, true);
}

void MemoryBuffer::reset(uint64_t newSize, Allocator* newAllocator) {
    if (newAllocator != allocator) {
        if (buffer != nullptr && allocator != nullptr) {
            allocator->deallocate(buffer, capacity, type);
        }
        buffer = nullptr;
        bufferSize = 0;
        capacity = 0;
        position = 0;
        allocator = newAllocator;
    }
    resize(newSize, false, false);
}

uint8_t* MemoryBuffer::grow(uint64_t count) {
    if (count > capacity - bufferSize || allocator == nullptr) {
        if (count > UINT64_MAX / 3 - capacity) {
            return nullptr;
        }
        reserve(std::max((capacity + count) * 3 / 2, MinGrowCapacity));
        if (allocator == nullptr || count > capacity - bufferSize) {
            return nullptr;
        }
    }
    uint8_t* first = buffer + bufferSize;
    bufferSize += count;
    return first;
}

void MemoryBuffer::changeType(MemBlockType newType) {
    if (buffer != nullptr && allocator != nullptr) {
        allocator->changeType(buffer, capacity, type, newType);
    }
    type = newType;
}

void MemoryBuffer::copy(const MemoryBuffer& other) {
    TARN_ASSERT_AT(allocator, "Source\\Memory\\MemoryBuffer", 29);
    if (allocator == nullptr || &other == this) {
        return;
    }
    resize(other.bufferSize, false, false);
    if (bufferSize != other.bufferSize) {
        return; // the allocator refused
    }
    if (bufferSize != 0) {
        std::memcpy(buffer, other.buffer, bufferSize);
    }
    type = other.type;
}

void MemoryBuffer::swap(MemoryBuffer& other) noexcept {
    std::swap(buffer, other.buffer);
    std::swap(bufferSize, other.bufferSize);
    std::swap(capacity, other.capacity);
    std::swap(position, other.position);
    std::swap(allocator, other.allocator);
    std::swap(type, other.type);
}

bool MemoryBuffer::areContentsEqual(const MemoryBuffer& other) const noexcept {
    return bufferSize == other.bufferSize &&
           (bufferSize == 0 || std::memcmp(buffer, other.buffer, bufferSize) == 0);
}

void MemoryBuffer::seek(int64_t offset, Anchor anchor) noexcept {
    // Unsigned arithmetic wraps where signed would overflow; the clamp below sees the same value
    // as a signed number.
    uint64_t target = position;
    switch (anchor) {
    case Anchor::Start:
        target = static_cast<uint64_t>(offset);
        break;
    case Anchor::Current:
        target = position + static_cast<uint64_t>(offset);
        break;
    case Anchor::End:
        target = bufferSize + static_cast<uint64_t>(offset);
        break;
    }
    const auto signedTarget = static_cast<int64_t>(target);
    if (signedTarget > static_cast<int64_t>(bufferSize)) {
        position = bufferSize;
    } else if (signedTarget < 0) {
        position = 0;
    } else {
        position = target;
    }
}

bool MemoryBuffer::makeRoomForWrite(uint64_t count) {
    if (allocator == nullptr) {
        return false;
    }
    if (count > UINT64_MAX - bufferSize) {
        return false;
    }
    return growForWriteTo(bufferSize + count);
}

// Makes the capacity reach `end` by the write rule; false when the allocator refused.
bool MemoryBuffer::growForWriteTo(uint64_t end) {
    if (end > capacity) {
        reserve(std::max({end, capacity * 3 / 2, MinWriteCapacity}));
    }
    // Writing past storage the allocator refused would corrupt the heap.
    return end <= capacity;
}

bool MemoryBuffer::writeSlow(const void* source, uint64_t count) {
    if (!makeRoomForWrite(count)) {
        return false;
    }
    if (count != 0) {
        std::memcpy(buffer + position, source, count);
    }
    position += count;
    bufferSize = position;
    return true;
}

bool MemoryBuffer::writeBitsSlow(uint64_t bits, uint64_t count) {
    // writeFixed copied the value into the first `count` bytes of `bits`.
    return writeSlow(&bits, count);
}

bool MemoryBuffer::writeStringSlow(const char* characters, uint32_t length) {
    if (length == 0) {
        // A view of 2^32 - 1 characters: only the length goes, and its result does not count.
        writeSlow(&length, 4);
        return true;
    }
    // Storage grows as the record's two writes would grow it, the length's and then the text's,
    // each by the write rule; but both are made room for before either is written, since a length
    // without its text would corrupt every value serialised after it.
    const uint64_t afterLength = position + 4; // the size once the length is written
    if (!makeRoomForWrite(4) || !growForWriteTo(afterLength + length)) {
        return false;
    }
    uint8_t* target = buffer + position;
    std::memcpy(target, &length, 4);
    const uint64_t count = length - 1u;
    if (count != 0) {
        std::memcpy(target + 4, characters, count);
    }
    // The terminator is written, not copied from the byte after the view, so a view that is not
    // followed by a zero (a substring, a slice of a packet) still serialises correctly.
    target[4 + count] = 0;
    position = afterLength + length;
    bufferSize = position;
    return true;
}

bool MemoryBuffer::writeComponentsSlow(const void* components, int count) {
    for (int i = 0; i < count; ++i) {
        write(static_cast<const uint8_t*>(components) + i * sizeof(float), sizeof(float));
    }
    return true;
}

std::string MemoryBuffer::readStringSlow() {
    const uint64_t unreadBefore = unreadSize();
    const uint32_t length = read32();
    const uint64_t n = std::min<uint64_t>(unreadBefore, length);
    std::string result;
    if (n == 0) {
        return result;
    }
    // The length is trusted only up to the bytes that were there before it was read; what is
    // missing after those reads as zero characters.
    result.resize(static_cast<size_t>(n));
    read(result.data(), n);
    result.resize(static_cast<size_t>(n - 1));
    return result;
}

} // namespace Tarn::Memory
