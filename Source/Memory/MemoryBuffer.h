#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Memory/Allocator.h>
#include <Tarn/Memory/MemBlockType.h>
#include <Tarn/Strings/StringView.h>

#include <glm/ext/quaternion_float.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include <cstdint>
#include <cstring>
#include <string>

namespace Tarn::Memory {

/// A growable byte buffer with one cursor for reading and writing; also the library's binary
/// serialisation.
///
/// Layout and invariants:
/// - `buffer` is null when nothing is allocated; `bufferSize` bytes from it are valid.
/// - `capacity` is what was allocated and what is handed back to `allocator`; it is 0 for a buffer
///   that wraps memory it does not own (`allocator` is null then, and stays null).
/// - `position` is the next byte to read and where the next write goes; it never exceeds
///   `bufferSize` after a public operation.
/// - Every block is allocated, deallocated and retagged with `type`, alignment 0; storage is
///   replaced (allocate, copy, free), never grown in place.
///
/// Serialised values are written in host byte order (little-endian on every supported target)
/// without padding: integers and floats at their width, vectors and quaternions component by
/// component (x, y, z[, w]), matrices column by column, strings as a 32-bit length (characters
/// plus one) followed by the characters and a terminating zero byte.
///
/// Writes append at the cursor and cut the buffer there: size becomes the new position, so a write
/// in the middle drops what followed. Reads never go beyond size; a short read of a fixed-width
/// value fills its missing bytes with zeros.
///
/// Not synchronised: one thread at a time.
class TARN_API MemoryBuffer {
public:
    /// Origin of a seek.
    enum class Anchor : uint32_t { Start = 0, Current = 1, End = 2 };

    /// Empty, on the default allocator, tagged Buffer.
    MemoryBuffer() noexcept;
    /// Empty, on the default allocator, with the given tag.
    explicit MemoryBuffer(MemBlockType type) noexcept;
    /// Empty, on the given allocator (null means the default one); nothing is allocated.
    explicit MemoryBuffer(Allocator* allocator, MemBlockType type = DefaultMemBlockType) noexcept;
    /// Exactly `size` bytes of undefined contents from the default allocator.
    explicit MemoryBuffer(uint64_t size, MemBlockType type = DefaultMemBlockType);
    /// Exactly `size` bytes of undefined contents from `allocator` (null means the default one).
    MemoryBuffer(uint64_t size, Allocator* allocator, MemBlockType type = DefaultMemBlockType);
    /// With `reserveOnly`, `size` bytes of capacity and size 0; otherwise as MemoryBuffer(size, type).
    MemoryBuffer(uint64_t size, bool reserveOnly, MemBlockType type = DefaultMemBlockType);
    /// Wraps `size` bytes at `external` without owning them: readable, every write fails, nothing
    /// is freed. The buffer never writes them, so constant bytes may be wrapped (do not write
    /// through `data()` then).
    MemoryBuffer(const void* external, uint64_t size) noexcept;
    // An allocator passed with a size would otherwise silently pick the wrapping constructor.
    MemoryBuffer(Allocator*, uint64_t) = delete;

    /// Takes the storage; `other` is left empty, tagged Buffer, on its allocator.
    MemoryBuffer(MemoryBuffer&& other) noexcept;
    /// Frees this buffer's storage, then takes `other`'s as the move constructor does.
    MemoryBuffer& operator=(MemoryBuffer&& other) noexcept;
    MemoryBuffer(const MemoryBuffer&) = delete;
    MemoryBuffer& operator=(const MemoryBuffer&) = delete;
    ~MemoryBuffer();

    /// The first byte, and the byte at the cursor. Null while nothing is allocated; valid until the
    /// next operation that can replace the storage (a write, reserve, resize, clear, reset).
    ///@{
    uint8_t* data() noexcept { return buffer; }
    const uint8_t* data() const noexcept { return buffer; }
    uint8_t* dataFromPos() noexcept { return buffer + position; }
    const uint8_t* dataFromPos() const noexcept { return buffer + position; }
    ///@}
    /// Valid bytes, the cursor, and the bytes from the cursor to the end.
    ///@{
    uint64_t size() const noexcept { return bufferSize; }
    uint64_t pos() const noexcept { return position; }
    uint64_t unreadSize() const noexcept { return bufferSize - position; }
    bool empty() const noexcept { return bufferSize == 0; }
    ///@}
    /// Bytes allocated (0 for wrapped memory), the tag they are accounted under, and the allocator
    /// that owns them (null for wrapped memory).
    ///@{
    uint64_t getCapacity() const noexcept { return capacity; }
    MemBlockType getType() const noexcept { return type; }
    Allocator* getAllocator() const noexcept { return allocator; }
    ///@}

    /// Makes the capacity at least `newCapacity` (exactly that when it grows). Size and position
    /// are kept. If the allocator refuses, nothing changes.
    void reserve(uint64_t newCapacity);
    /// Sets the size. Storage is replaced by exactly `newSize` bytes when it is too small or when
    /// `forceReallocation` is set (then a size of 0 frees it); the first bytes are kept only with
    /// `keepData`. An unchanged size does nothing at all. The position is clamped to the new size.
    /// If the allocator refuses, nothing changes.
    void resize(uint64_t newSize, bool keepData = true, bool forceReallocation = false);
    /// Frees the storage unless the size is already 0 (reserved storage is then kept).
    void clear();
    /// Moves to `newAllocator` (returning the storage to the old one when it differs), then
    /// resize(newSize, false, false).
    void reset(uint64_t newSize, Allocator* newAllocator);
    /// Appends `count` uninitialised bytes and returns a pointer to the first; the position is not
    /// moved. Grows to max((capacity + count) * 3 / 2, 128) when needed. Returns null, changing
    /// nothing, when storage cannot be had.
    uint8_t* grow(uint64_t count);
    /// Retags the storage with the allocator and remembers the new tag.
    void changeType(MemBlockType newType);
    /// Makes this buffer's contents a copy of `other`'s and takes its tag; the storage is not
    /// retagged with the allocator, it stays accounted under the tag it was allocated with.
    void copy(const MemoryBuffer& other);
    /// Exchanges everything, storage, cursor, allocator and tag.
    void swap(MemoryBuffer& other) noexcept;
    /// Same size and same bytes.
    bool areContentsEqual(const MemoryBuffer& other) const noexcept;

    /// Moves the cursor relative to `anchor`, then clamps it to [0, size]. An unknown anchor only
    /// clamps.
    void seek(int64_t offset, Anchor anchor = Anchor::Start) noexcept;

    /// Writes `count` bytes at the cursor, advances it and cuts the size there. False, writing
    /// nothing, on a buffer without an allocator or when storage cannot be had.
    bool write(const void* source, uint64_t count) {
        if (allocator != nullptr && count <= capacity - bufferSize && count != 0) {
            commit(source, count);
            return true;
        }
        return writeSlow(source, count);
    }
    /// Writes a value at its width in host byte order, as write does: false, writing nothing, when
    /// it cannot be written.
    ///@{
    bool write8(uint8_t value) { return writeFixed(value); }
    bool write16(uint16_t value) { return writeFixed(value); }
    bool write32(uint32_t value) { return writeFixed(value); }
    bool write64(uint64_t value) { return writeFixed(value); }
    bool writeFloat(float value) { return writeFixed(value); }
    bool writeDouble(double value) { return writeFixed(value); }
    ///@}
    /// The vector and quaternion writes go one component at a time (x, y, z[, w]) and report true
    /// even on a buffer that cannot be written (its components are skipped); check `size` when it
    /// matters.
    ///@{
    bool writeFloat3(const glm::vec3& value) { return writeComponents(&value, 3); }
    bool writeFloat4(const glm::vec4& value) { return writeComponents(&value, 4); }
    bool writeQuaternion(const glm::quat& value) {
        const float components[4] = {value.x, value.y, value.z, value.w};
        return writeComponents(components, 4);
    }
    ///@}
    /// Four columns, each as writeFloat4. Always true.
    bool writeMatrix(const glm::mat4& value) {
        for (int column = 0; column < 4; ++column) {
            writeFloat4(value[column]);
        }
        return true;
    }

    /// Writes the 32-bit length (characters + 1), then the characters and a terminating zero byte;
    /// storage grows as for those two writes. False, writing nothing, when storage for all of it
    /// cannot be had. A view of 2^32 - 1 characters has a length of 0 and writes only the length
    /// (true even where that write fails).
    bool writeString(StringView text) {
        const auto length = static_cast<uint32_t>(text.size() + 1);
        // The common case, the whole record fitting the storage, is copied here without a call.
        if (length != 0 && fits(uint64_t{4} + length)) {
            const uint64_t at = position;
            uint8_t* target = buffer + at;
            std::memcpy(target, &length, 4);
            if (length > 1) {
                std::memcpy(target + 4, text.data(), length - 1u);
            }
            target[4 + (length - 1u)] = 0;
            position = at + 4 + length;
            bufferSize = at + 4 + length;
            return true;
        }
        return writeStringSlow(text.data(), length);
    }

    /// A cursor for a run of writes into one buffer, with the results of the same writes made on
    /// the buffer directly (bytes, size, position, growth and failures alike); the buffer's cursor
    /// and size are brought up to date by `finish` and by the destructor. Meant to live in a local
    /// variable: the compiler then keeps its cursor in a register, whereas a write on the buffer
    /// itself stores the cursor and the next one loads it back, because the growing path is a call
    /// that may change it. Do not use the buffer itself while a writer on it has unfinished writes.
    ///
    ///     MemoryBuffer::Writer out(buffer);
    ///     for (const Particle& p : particles) { out.writeFloat3(p.position); out.write32(p.colour); }
    class Writer {
    public:
        /// Takes up the buffer's cursor; the buffer must outlive the writer.
        explicit Writer(MemoryBuffer& target) noexcept : target(target) { resume(); }
        /// Finishes: the buffer's cursor and size follow the writes made through the writer.
        ~Writer() { finish(); }
        Writer(const Writer&) = delete;
        Writer& operator=(const Writer&) = delete;

        /// As the buffer's writes of the same names.
        ///@{
        bool write(const void* source, uint64_t count) {
            if (count != 0 && count <= end - at) {
                std::memcpy(storage + at, source, count);
                at += count;
                return true;
            }
            return writeOnTarget(source, count);
        }
        bool write8(uint8_t value) { return writeFixed(value); }
        bool write16(uint16_t value) { return writeFixed(value); }
        bool write32(uint32_t value) { return writeFixed(value); }
        bool write64(uint64_t value) { return writeFixed(value); }
        bool writeFloat(float value) { return writeFixed(value); }
        bool writeDouble(double value) { return writeFixed(value); }
        bool writeFloat3(const glm::vec3& value) { return writeVector(value); }
        bool writeFloat4(const glm::vec4& value) { return writeVector(value); }
        ///@}

        /// Hands the cursor back: the buffer's position and size become the end of the last write.
        /// Nothing changes when nothing was written since the writer was made or last finished.
        void finish() noexcept {
            if (at != start) {
                target.position = at;
                target.bufferSize = at;
                start = at;
            }
        }

    private:
        // Writes past the storage go through the buffer, which grows it or refuses exactly as
        // for its own writes; then the cursor is taken up again from the buffer.
        bool writeOnTarget(const void* source, uint64_t count) {
            finish();
            const bool written = target.write(source, count);
            resume();
            return written;
        }
        template <typename T>
        bool writeFixed(T value) {
            if (at + sizeof(T) <= end) {
                std::memcpy(storage + at, &value, sizeof(T));
                at += sizeof(T);
                return true;
            }
            // The bits go by value, as for the buffer's own writes: taking the value's address
            // would make every write, fast or not, store it to the stack first.
            uint64_t bits = 0;
            std::memcpy(&bits, &value, sizeof(T));
            finish();
            const bool written = target.writeBitsSlow(bits, sizeof(T));
            resume();
            return written;
        }
        // A buffer that cannot hold all components skips the ones that do not fit, as its own
        // vector writes do, and reports true.
        template <typename Vector>
        bool writeVector(const Vector& value) {
            if (at + sizeof(Vector) <= end) {
                std::memcpy(storage + at, &value, sizeof(Vector));
                at += sizeof(Vector);
                return true;
            }
            finish();
            target.writeComponentsSlow(&value, static_cast<int>(sizeof(Vector) / sizeof(float)));
            resume();
            return true;
        }
        void resume() noexcept {
            storage = target.buffer;
            start = at = target.position;
            // The buffer's own writes fit when the size, not the cursor, leaves room, and cut the
            // size to the cursor; until the first write has done that here, the room is counted
            // the same way, so that any growth happens at the same write. A buffer without an
            // allocator cannot be written: every write goes to it and fails.
            end = target.allocator ? target.capacity - (target.bufferSize - at) : at;
        }

        MemoryBuffer& target;
        uint8_t* storage;
        uint64_t start;
        uint64_t at;
        uint64_t end;
    };

    /// Copies up to `count` bytes from the cursor; returns how many there were.
    uint64_t read(void* destination, uint64_t count) noexcept {
        const uint64_t available = bufferSize - position;
        const uint64_t n = count < available ? count : available;
        if (n != 0) {
            std::memcpy(destination, buffer + position, n);
            position += n;
        }
        return n;
    }
    /// Reads a value written by the matching write and advances the cursor past it. Bytes missing at
    /// the end of the buffer read as zeros, so a short buffer yields zeros, never stack garbage.
    ///@{
    uint8_t read8() noexcept { return readFixed<uint8_t>(); }
    uint16_t read16() noexcept { return readFixed<uint16_t>(); }
    uint32_t read32() noexcept { return readFixed<uint32_t>(); }
    uint64_t read64() noexcept { return readFixed<uint64_t>(); }
    float readFloat() noexcept { return readFixed<float>(); }
    double readDouble() noexcept { return readFixed<double>(); }
    glm::vec3 readFloat3() noexcept {
        const auto c = readFloats<3>();
        return glm::vec3(c.at[0], c.at[1], c.at[2]);
    }
    glm::vec4 readFloat4() noexcept {
        const auto c = readFloats<4>();
        return glm::vec4(c.at[0], c.at[1], c.at[2], c.at[3]);
    }
    glm::quat readQuaternion() noexcept {
        const auto c = readFloats<4>();
        glm::quat q;
        q.x = c.at[0];
        q.y = c.at[1];
        q.z = c.at[2];
        q.w = c.at[3];
        return q;
    }
    glm::mat4 readMatrix() noexcept {
        glm::mat4 m(1.0f);
        for (int column = 0; column < 4; ++column) {
            m[column] = readFloat4();
        }
        return m;
    }
    ///@}
    /// Reads a length-prefixed string and drops its terminating byte. The length is trusted only
    /// up to the bytes that were unread before it: a short buffer yields a string padded with zero
    /// characters, never a read beyond size.
    std::string readString() {
        const uint64_t unread = bufferSize - position;
        if (unread >= 4) {
            uint32_t length;
            std::memcpy(&length, buffer + position, 4);
            // The common case, a whole string present: the general rule reduces to this.
            if (length != 0 && length <= unread - 4) {
                const auto* characters = reinterpret_cast<const char*>(buffer + position + 4);
                position += 4 + static_cast<uint64_t>(length);
                return std::string(characters, length - 1u);
            }
        }
        return readStringSlow();
    }

private:
    bool makeRoomForWrite(uint64_t count);
    bool growForWriteTo(uint64_t end);
    bool writeSlow(const void* source, uint64_t count);
    bool writeBitsSlow(uint64_t bits, uint64_t count);
    bool writeStringSlow(const char* characters, uint32_t length);
    std::string readStringSlow();
    bool writeComponentsSlow(const void* components, int count);
    void release() noexcept;

    // The fast paths test `bufferSize + count <= capacity` for small constant counts: a wrapping
    // buffer has capacity 0 and so always takes the slow path, which needs no allocator check here.
    bool fits(uint64_t count) const noexcept { return bufferSize + count <= capacity; }

    // Copies at the cursor and moves it and the size. The fields are read before the copy: the
    // bytes written may alias anything, and reloading them afterwards would lengthen every write.
    void commit(const void* source, uint64_t count) noexcept {
        const uint64_t at = position;
        std::memcpy(buffer + at, source, count);
        position = at + count;
        bufferSize = at + count;
    }

    // The slow path takes the value's bits by value, so the fast path never spills it to memory.
    template <typename T>
    bool writeFixed(T value) {
        if (fits(sizeof(T))) {
            commit(&value, sizeof(T));
            return true;
        }
        uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof(T));
        return writeBitsSlow(bits, sizeof(T));
    }

    // When all components fit, one copy writes exactly what the component-wise writes would have.
    // `components` is `count` packed floats in serialised order: a glm vector or a float array.
    bool writeComponents(const void* components, int count) {
        const uint64_t bytes = static_cast<uint64_t>(count) * sizeof(float);
        if (fits(bytes)) {
            commit(components, bytes);
            return true;
        }
        return writeComponentsSlow(components, count);
    }

    // Reads keep the cursor in a register across a run of consecutive calls. A byte load (a
    // memcpy or a char access) may alias any object, this buffer's own fields included, so after
    // one the compiler must keep `position` in memory and every read waits for the previous
    // one's store of it. So the bytes are loaded through types that cannot alias the fields
    // (a 1-aligned scalar or vector of the value's own type; char8_t, which has no aliasing
    // exemption, for a short tail), and the short-buffer path is inline and makes no call.
    // Every write into the storage goes through memcpy or uint8_t, which alias everything, so no
    // store into the bytes can be reordered past these loads.
    template <typename T>
    static T loadBytes(const uint8_t* at) noexcept {
#if defined(__GNUC__)
        typedef T __attribute__((aligned(1))) Unaligned;
        return *reinterpret_cast<const Unaligned*>(at);
#else
        T value;
        std::memcpy(&value, at, sizeof(T));
        return value;
#endif
    }

    // Fewer than sizeof(T) bytes at `at`: those, then zeros.
    template <typename T>
    static T loadTail(const uint8_t* at, uint64_t count) noexcept {
        char8_t bytes[sizeof(T)] = {};
        const auto* source = reinterpret_cast<const char8_t*>(at);
        for (size_t i = 0; i + 1 < sizeof(T); ++i) {
            if (i < count) {
                bytes[i] = source[i];
            }
        }
        T value;
        std::memcpy(&value, bytes, sizeof(T));
        return value;
    }

    template <typename T>
    T readFixed() noexcept {
        const uint64_t at = position;
        const uint64_t unread = bufferSize - at;
        if (unread >= sizeof(T)) {
            position = at + sizeof(T);
            return loadBytes<T>(buffer + at);
        }
        position = bufferSize;
        return loadTail<T>(buffer + at, unread);
    }

    // The components of a vector or quaternion, in serialised order. Each one is a register
    // value of its own, so a caller that uses them does not get them back through memory.
    template <int count>
    struct Floats {
        float at[count];
    };
    template <int count>
    Floats<count> readFloats() noexcept {
        Floats<count> result;
        const uint64_t start = position;
        if (bufferSize - start >= count * sizeof(float)) {
            position = start + count * sizeof(float);
            for (int i = 0; i < count; ++i) {
                result.at[i] = loadBytes<float>(buffer + start + i * sizeof(float));
            }
            return result;
        }
        for (int i = 0; i < count; ++i) {
            result.at[i] = readFixed<float>();
        }
        return result;
    }

    // The vectors are copied as whole objects, which relies on glm's packed x, y, z[, w] layout.
    static_assert(sizeof(glm::vec3) == 3 * sizeof(float) && sizeof(glm::vec4) == 4 * sizeof(float));

    uint8_t* buffer;
    uint64_t bufferSize;
    uint64_t capacity;
    uint64_t position;
    Allocator* allocator;
    MemBlockType type;
};

} // namespace Tarn::Memory
