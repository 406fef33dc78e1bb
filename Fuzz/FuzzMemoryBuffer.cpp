// MemoryBuffer driven by a script decoded from the input: every write, read, seek and resize is
// applied to the buffer and to a plain byte-vector model, and after each step the two must hold the
// same size, cursor and bytes. Reads past the end must come back zero-filled from the model, never
// from beyond the buffer (ASan watches the storage). The storage can come from an allocator that
// refuses blocks above a limit, where a failed write must change nothing, or the buffer can wrap
// the input itself, where every write must fail.

#include "FuzzCheck.h"

#include <Tarn/Memory/Allocator.h>
#include <Tarn/Memory/MemoryBuffer.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Memory::Allocator;
using Tarn::Memory::MemoryBuffer;

namespace {

class LimitedAllocator : public Allocator {
public:
    explicit LimitedAllocator(uint64_t limit) : limit(limit) {}
    void* allocate(uint64_t size, uint64_t alignment, MemBlockType type) override {
        return size > limit ? nullptr : Allocator::allocate(size, alignment, type);
    }

private:
    uint64_t limit;
};

struct Model {
    std::vector<uint8_t> bytes;
    uint64_t pos = 0;

    void write(const void* source, std::size_t count) {
        bytes.resize(pos);
        const auto* first = static_cast<const uint8_t*>(source);
        bytes.insert(bytes.end(), first, first + count);
        pos += count;
    }
    // Up to `count` bytes from the cursor, zero-filled where the model ends.
    std::vector<uint8_t> read(std::size_t count) {
        std::vector<uint8_t> out(count, 0);
        const std::size_t n = std::min<std::size_t>(count, bytes.size() - pos);
        if (n != 0) {
            std::memcpy(out.data(), bytes.data() + pos, n);
            pos += n;
        }
        return out;
    }
};

void checkSame(const MemoryBuffer& buffer, const Model& model, const LimitedAllocator* allocator) {
    TARN_FUZZ_CHECK(buffer.size() == model.bytes.size());
    TARN_FUZZ_CHECK(buffer.pos() == model.pos);
    TARN_FUZZ_CHECK(buffer.pos() <= buffer.size());
    TARN_FUZZ_CHECK(buffer.unreadSize() == buffer.size() - buffer.pos());
    TARN_FUZZ_CHECK(buffer.size() == 0 || std::memcmp(buffer.data(), model.bytes.data(), buffer.size()) == 0);
    if (allocator != nullptr) {
        TARN_FUZZ_CHECK(buffer.size() <= buffer.getCapacity());
        // Only this buffer draws from the allocator, so its live bytes are exactly the capacity.
        TARN_FUZZ_CHECK(allocator->getAllocatedBytes() == buffer.getCapacity());
        TARN_FUZZ_CHECK(allocator->getAllocationCount() == (buffer.data() != nullptr ? 1u : 0u));
    }
}

template <typename T>
bool sameBits(const T& a, const std::vector<uint8_t>& b) {
    return std::memcmp(&a, b.data(), sizeof(T)) == 0;
}

// A fixed-width write: true means the model takes it, false means nothing changed.
template <typename T>
void writeFixed(MemoryBuffer& buffer, Model& model, bool wraps, bool (MemoryBuffer::*write)(T), T value) {
    if ((buffer.*write)(value)) {
        TARN_FUZZ_CHECK(!wraps);
        model.write(&value, sizeof(T));
    }
}

template <typename T>
void readFixed(MemoryBuffer& buffer, Model& model, T (MemoryBuffer::*read)()) {
    const T value = (buffer.*read)();
    TARN_FUZZ_CHECK(sameBits(value, model.read(sizeof(T))));
}

// Vector writes go component by component and report true regardless; whatever whole components
// made it in must be a prefix of the value.
void writeComponents(MemoryBuffer& buffer, Model& model, bool wraps, const float* components, int count,
                     bool result) {
    TARN_FUZZ_CHECK(result);
    const uint64_t written = buffer.size() - model.pos;
    TARN_FUZZ_CHECK(buffer.size() == model.bytes.size() || buffer.size() >= model.pos);
    if (buffer.size() == model.bytes.size() && buffer.pos() == model.pos) {
        return; // nothing went in (a refused or wrapping buffer)
    }
    TARN_FUZZ_CHECK(!wraps);
    TARN_FUZZ_CHECK(written % sizeof(float) == 0 && written <= count * sizeof(float));
    model.write(components, static_cast<std::size_t>(written));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool once = (Tarn::Fuzz::failOnAssertion(), true);
    (void)once;

    // Replaying a saved input with TARN_FUZZ_TRACE set prints the script as it runs.
    static const bool trace = std::getenv("TARN_FUZZ_TRACE") != nullptr;
    FuzzedDataProvider input(data, size);
    const bool wraps = input.ConsumeBool();
    const uint8_t limitByte = input.ConsumeIntegral<uint8_t>();
    // Wrapped bytes sit in a block of exactly their size, so ASan sees any read beyond them.
    std::vector<uint8_t> wrapped;
    Model model;
    if (wraps) {
        wrapped = input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 256));
        wrapped.shrink_to_fit();
        model.bytes = wrapped;
    }
    LimitedAllocator allocator(limitByte == 0 ? std::numeric_limits<uint64_t>::max()
                                              : uint64_t{limitByte} * 64);
    MemoryBuffer owned(&allocator, MemBlockType{7});
    MemoryBuffer external(wrapped.empty() ? nullptr : wrapped.data(), wrapped.size());
    MemoryBuffer& buffer = wraps ? external : owned;
    const LimitedAllocator* accounted = wraps ? nullptr : &allocator;

    for (int step = 0; step < 512 && input.remaining_bytes() != 0; ++step) {
        const uint8_t op = input.ConsumeIntegralInRange<uint8_t>(0, 22);
        if (trace) {
            std::fprintf(stderr, "step %d: op %u on size %llu pos %llu capacity %llu\n", step, op,
                         static_cast<unsigned long long>(buffer.size()),
                         static_cast<unsigned long long>(buffer.pos()),
                         static_cast<unsigned long long>(buffer.getCapacity()));
        }
        switch (op) {
        case 0:
            writeFixed(buffer, model, wraps, &MemoryBuffer::write8, input.ConsumeIntegral<uint8_t>());
            break;
        case 1:
            writeFixed(buffer, model, wraps, &MemoryBuffer::write16, input.ConsumeIntegral<uint16_t>());
            break;
        case 2:
            writeFixed(buffer, model, wraps, &MemoryBuffer::write32, input.ConsumeIntegral<uint32_t>());
            break;
        case 3:
            writeFixed(buffer, model, wraps, &MemoryBuffer::write64, input.ConsumeIntegral<uint64_t>());
            break;
        case 4: {
            const uint32_t bits = input.ConsumeIntegral<uint32_t>();
            float value;
            std::memcpy(&value, &bits, sizeof value);
            writeFixed(buffer, model, wraps, &MemoryBuffer::writeFloat, value);
            break;
        }
        case 5: {
            const uint64_t bits = input.ConsumeIntegral<uint64_t>();
            double value;
            std::memcpy(&value, &bits, sizeof value);
            writeFixed(buffer, model, wraps, &MemoryBuffer::writeDouble, value);
            break;
        }
        case 6: {
            float c[16];
            for (float& component : c) {
                component = input.ConsumeFloatingPoint<float>();
            }
            const int kind = input.ConsumeIntegralInRange<int>(0, 3);
            if (kind == 0) {
                writeComponents(buffer, model, wraps, c, 3, buffer.writeFloat3(glm::vec3(c[0], c[1], c[2])));
            } else if (kind == 1) {
                writeComponents(buffer, model, wraps, c, 4,
                                buffer.writeFloat4(glm::vec4(c[0], c[1], c[2], c[3])));
            } else if (kind == 2) {
                // glm's quaternion constructor takes w first; the serialised order is x, y, z, w.
                writeComponents(buffer, model, wraps, c, 4,
                                buffer.writeQuaternion(glm::quat(c[3], c[0], c[1], c[2])));
            } else {
                glm::mat4 m;
                std::memcpy(&m, c, sizeof m);
                writeComponents(buffer, model, wraps, c, 16, buffer.writeMatrix(m));
            }
            break;
        }
        case 7: {
            const std::vector<uint8_t> bytes =
                input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 300));
            if (buffer.write(bytes.data(), bytes.size())) {
                TARN_FUZZ_CHECK(!wraps || bytes.empty());
                model.write(bytes.data(), bytes.size());
            }
            break;
        }
        case 8: {
            // Views that are not followed by a zero byte: a slice of a larger string.
            const std::string text = input.ConsumeRandomLengthString(300);
            const std::size_t cut =
                text.empty() ? 0 : input.ConsumeIntegralInRange<std::size_t>(0, text.size());
            const Tarn::StringView view(text.data(), cut);
            if (buffer.writeString(view)) {
                TARN_FUZZ_CHECK(!wraps);
                const auto length = static_cast<uint32_t>(cut + 1);
                model.write(&length, 4);
                std::string serialised(text.data(), cut);
                serialised.push_back('\0');
                model.write(serialised.data(), serialised.size());
            }
            break;
        }
        case 9:
            readFixed(buffer, model, &MemoryBuffer::read8);
            break;
        case 10:
            readFixed(buffer, model, &MemoryBuffer::read16);
            break;
        case 11:
            readFixed(buffer, model, &MemoryBuffer::read32);
            break;
        case 12:
            readFixed(buffer, model, &MemoryBuffer::read64);
            break;
        case 13:
            readFixed(buffer, model, &MemoryBuffer::readFloat);
            break;
        case 14:
            readFixed(buffer, model, &MemoryBuffer::readDouble);
            break;
        case 15: {
            const int kind = input.ConsumeIntegralInRange<int>(0, 3);
            if (kind == 0) {
                const glm::vec3 v = buffer.readFloat3();
                TARN_FUZZ_CHECK(std::memcmp(&v, model.read(12).data(), 12) == 0);
            } else if (kind == 1) {
                const glm::vec4 v = buffer.readFloat4();
                TARN_FUZZ_CHECK(std::memcmp(&v, model.read(16).data(), 16) == 0);
            } else if (kind == 2) {
                const glm::quat q = buffer.readQuaternion();
                const float c[4] = {q.x, q.y, q.z, q.w};
                TARN_FUZZ_CHECK(std::memcmp(c, model.read(16).data(), 16) == 0);
            } else {
                const glm::mat4 m = buffer.readMatrix();
                TARN_FUZZ_CHECK(std::memcmp(&m, model.read(64).data(), 64) == 0);
            }
            break;
        }
        case 16: {
            const std::size_t count = input.ConsumeIntegralInRange<std::size_t>(0, 300);
            std::vector<uint8_t> out(count, 0xA5);
            const uint64_t got = buffer.read(out.data(), count);
            const uint64_t expected = std::min<uint64_t>(count, model.bytes.size() - model.pos);
            TARN_FUZZ_CHECK(got == expected);
            std::vector<uint8_t> modelled = model.read(count);
            // Bytes beyond what was there are left alone by read().
            std::fill(modelled.begin() + static_cast<std::ptrdiff_t>(got), modelled.end(), uint8_t{0xA5});
            TARN_FUZZ_CHECK(out == modelled);
            break;
        }
        case 17: {
            // A length is trusted only up to the bytes that were unread before it; a string cut
            // short is padded with zero characters and its last character dropped.
            const uint64_t unread = model.bytes.size() - model.pos;
            const std::vector<uint8_t> prefix = model.read(4);
            uint32_t length;
            std::memcpy(&length, prefix.data(), 4);
            const uint64_t n = std::min<uint64_t>(length, unread);
            std::string expected;
            if (n != 0) {
                const std::vector<uint8_t> characters = model.read(static_cast<std::size_t>(n));
                expected.assign(characters.begin(), characters.end() - 1);
            }
            TARN_FUZZ_CHECK(buffer.readString() == expected);
            break;
        }
        case 18: {
            const int anchor = input.ConsumeIntegralInRange<int>(0, 3); // 3 is no anchor: clamp only
            int64_t offset = input.ConsumeIntegral<int64_t>();
            if (input.ConsumeBool()) {
                offset %= 600; // mostly offsets near the data, sometimes anything at all
            }
            buffer.seek(offset, static_cast<MemoryBuffer::Anchor>(anchor));
            const auto size64 = static_cast<int64_t>(model.bytes.size());
            const int64_t base = anchor == 0   ? 0
                                 : anchor == 1 ? static_cast<int64_t>(model.pos)
                                 : anchor == 2 ? size64
                                               : 0;
            const int64_t from = anchor == 3 ? static_cast<int64_t>(model.pos) : base;
            const uint64_t target =
                static_cast<uint64_t>(from) + static_cast<uint64_t>(anchor == 3 ? 0 : offset);
            const auto signedTarget = static_cast<int64_t>(target);
            model.pos = signedTarget < 0 ? 0 : signedTarget > size64 ? model.bytes.size() : target;
            break;
        }
        case 19: {
            if (wraps) {
                break; // resizing wrapped memory is misuse, asserted
            }
            const uint64_t newSize = input.ConsumeIntegralInRange<uint64_t>(0, 700);
            const bool keep = input.ConsumeBool();
            const bool force = input.ConsumeBool();
            const uint64_t oldSize = buffer.size();
            const uint64_t oldCapacity = buffer.getCapacity();
            buffer.resize(newSize, keep, force);
            const bool refused = newSize != oldSize && (force || newSize > oldCapacity) &&
                                 newSize > limitByte * 64u && limitByte != 0;
            if (refused) {
                break; // nothing changes
            }
            TARN_FUZZ_CHECK(buffer.size() == newSize);
            // Kept bytes must survive; the rest is unspecified and taken over from the buffer.
            const std::size_t kept =
                keep || !(force || newSize > oldCapacity) ? std::min(oldSize, newSize) : 0;
            model.bytes.resize(newSize);
            if (newSize > kept) {
                std::memcpy(model.bytes.data() + kept, buffer.data() + kept, newSize - kept);
            }
            model.pos = std::min(model.pos, newSize);
            break;
        }
        case 20: {
            if (wraps) {
                break;
            }
            buffer.reserve(input.ConsumeIntegralInRange<uint64_t>(0, 2000));
            break;
        }
        case 21: {
            if (wraps) {
                break;
            }
            const std::vector<uint8_t> bytes =
                input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 200));
            const uint64_t oldSize = buffer.size();
            uint8_t* first = buffer.grow(bytes.size());
            if (first != nullptr) {
                TARN_FUZZ_CHECK(first == buffer.data() + oldSize);
                TARN_FUZZ_CHECK(buffer.size() == oldSize + bytes.size());
                if (!bytes.empty()) {
                    std::memcpy(first, bytes.data(), bytes.size());
                }
                model.bytes.insert(model.bytes.end(), bytes.begin(), bytes.end());
            }
            break;
        }
        case 22: {
            // A copy holds the same bytes; a buffer moved out and back keeps everything.
            Allocator* heap = Allocator::defaultAllocator();
            MemoryBuffer copy(heap);
            copy.copy(buffer);
            TARN_FUZZ_CHECK(copy.areContentsEqual(buffer));
            TARN_FUZZ_CHECK(copy.pos() == 0 || copy.size() == 0 || copy.pos() <= copy.size());
            const uint64_t pos = buffer.pos();
            MemoryBuffer moved(std::move(buffer));
            TARN_FUZZ_CHECK(buffer.size() == 0 && buffer.pos() == 0 && buffer.data() == nullptr);
            TARN_FUZZ_CHECK(moved.pos() == pos && moved.areContentsEqual(copy));
            buffer = std::move(moved);
            break;
        }
        }
        checkSame(buffer, model, accounted);
    }
    return 0;
}
