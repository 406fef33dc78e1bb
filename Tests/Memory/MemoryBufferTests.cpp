#include "AssertRecorder.h"
#include "CountingAllocator.h"

#include <Tarn/Memory/MemoryBuffer.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using Tarn::MemBlockType;
using Tarn::Memory::MemoryBuffer;
using Tarn::Testing::CountingAllocator;
using Op = CountingAllocator::Op;
using Bytes = std::vector<uint8_t>;
using Sizes = std::vector<uint64_t>;

namespace {

Bytes contents(const MemoryBuffer& buffer) {
    return Bytes(buffer.data(), buffer.data() + buffer.size());
}

Bytes sequence(std::size_t count, uint8_t first = 0) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

Sizes freedSizes(const CountingAllocator& allocator) {
    Sizes sizes;
    for (const auto& call : allocator.calls(Op::Deallocate)) {
        sizes.push_back(call.size);
    }
    return sizes;
}

} // namespace

TEST(MemoryBuffer, GrowthSizesAlignmentsAndTags) {
    CountingAllocator allocator;
    {
        MemoryBuffer buffer(&allocator, MemBlockType::Message);
        EXPECT_TRUE(allocator.calls().empty()); // nothing until the first write
        buffer.write32(7);
        const Bytes fill = sequence(1021), big = sequence(2000, 9);
        buffer.write(fill.data(), fill.size()); // size 1025: max(1025, 1536, 1024)
        buffer.write(big.data(), big.size());   // size 3025: max(3025, 2304, 1024)
        EXPECT_EQ(allocator.allocationSizes(), (Sizes{1024, 1536, 3025}));
        EXPECT_EQ(Bytes(buffer.data() + 1025, buffer.data() + 3025), big); // copied on every move
        for (const auto& call : allocator.calls(Op::Allocate)) {
            EXPECT_TRUE(call.alignment == 0u && call.type == MemBlockType::Message);
        }
        EXPECT_EQ(freedSizes(allocator), (Sizes{1024, 1536}));
    }
    EXPECT_EQ(allocator.getAllocationCount(), 0u);

    MemoryBuffer grown(&allocator);
    allocator.clearLog();
    uint8_t* first = grown.grow(10);
    EXPECT_EQ(first, grown.data());
    uint8_t* second = grown.grow(200); // max((128 + 200) * 3 / 2, 128)
    uint8_t* third = grown.grow(282);  // exactly full: no reallocation
    EXPECT_EQ(second, grown.data() + 10);
    EXPECT_EQ(third, grown.data() + 210);
    EXPECT_EQ(grown.pos(), 0u);
    EXPECT_EQ(allocator.allocationSizes(), (Sizes{128, 492}));
}

TEST(MemoryBuffer, ReserveResizeAndClearAllocateExactly) {
    CountingAllocator allocator;
    MemoryBuffer buffer(&allocator);
    buffer.reserve(100);
    buffer.reserve(50);
    buffer.clear(); // size 0: the reserved storage stays
    buffer.resize(300);
    buffer.resize(200);             // shrinking keeps the storage
    buffer.resize(200, true, true); // unchanged size: nothing, even when forced
    buffer.seek(150);
    std::iota(buffer.data(), buffer.data() + 200, uint8_t{0});
    buffer.resize(120, true, true);
    EXPECT_EQ(buffer.pos(), 120u);
    buffer.resize(500, true, false);
    EXPECT_EQ(Bytes(buffer.data(), buffer.data() + 120), sequence(120));
    EXPECT_EQ(allocator.allocationSizes(), (Sizes{100, 300, 120, 500}));
    buffer.clear();
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(allocator.getAllocationCount(), 0u);

    MemoryBuffer reserved(64, true);
    EXPECT_TRUE(reserved.size() == 0u && reserved.getCapacity() == 64u);
}

TEST(MemoryBuffer, MoveAndCopyKeepTheirAllocatorsAndTags) {
    CountingAllocator allocator;
    MemoryBuffer source(&allocator, MemBlockType::Network);
    source.write32(0xCAFEF00D);
    const uint8_t* storage = source.data();
    MemoryBuffer moved(std::move(source));
    EXPECT_TRUE(moved.data() == storage && moved.pos() == 4u && moved.getType() == MemBlockType::Network);
    EXPECT_EQ(source.data(), nullptr);
    EXPECT_EQ(source.size() + source.pos() + source.getCapacity(), 0u);
    EXPECT_TRUE(source.getType() == MemBlockType::Buffer && source.getAllocator() == &allocator);

    // Assignment first frees the target's own storage, with its own capacity and tag.
    MemoryBuffer target(&allocator, MemBlockType::File);
    target.reserve(40);
    target = std::move(moved);
    EXPECT_EQ(target.data(), storage);
    EXPECT_EQ(freedSizes(allocator), Sizes{40});
    EXPECT_EQ(allocator.calls(Op::Deallocate)[0].type, MemBlockType::File);

    EXPECT_TRUE(source.write8(1));                                   // reusable, with the default tag
    EXPECT_EQ(allocator.allocationSizes(), (Sizes{1024, 40, 1024})); // no move allocated
    EXPECT_EQ(allocator.calls(Op::Allocate).back().type, MemBlockType::Buffer);

    // A copy takes the tag without retagging; changeType retags the whole capacity.
    MemoryBuffer original(&allocator, MemBlockType::Message);
    original.write64(0x1122334455667788ull);
    MemoryBuffer copied(&allocator, MemBlockType::Pool);
    copied.copy(original);
    EXPECT_TRUE(copied.areContentsEqual(original) && copied.getType() == MemBlockType::Message);
    EXPECT_TRUE(allocator.calls(Op::ChangeType).empty());
    EXPECT_EQ(allocator.bytes(MemBlockType::Pool), 8u); // still accounted where it was allocated

    original.changeType(MemBlockType::Network);
    const auto retags = allocator.calls(Op::ChangeType); // the capacity, not the size
    EXPECT_TRUE(retags.size() == 1u && retags[0].size == 1024u && retags[0].type == MemBlockType::Message &&
                retags[0].newType == MemBlockType::Network);
    // Applications tag with values past the library's own; a table of MemBlockTypeCount holds them.
    const auto applicationTag = static_cast<MemBlockType>(200);
    const uint64_t network = allocator.bytes(MemBlockType::Network);
    original.changeType(applicationTag);
    EXPECT_EQ(allocator.bytes(applicationTag), 1024u);
    EXPECT_EQ(allocator.bytes(MemBlockType::Network), network - 1024u);
}

TEST(MemoryBuffer, SeekClampsAndWritesCutAtTheCursor) {
    MemoryBuffer buffer;
    const Bytes eight = sequence(8, 1);
    buffer.write(eight.data(), eight.size());
    using Anchor = MemoryBuffer::Anchor;
    const Anchor start = Anchor::Start, end = Anchor::End, here = Anchor::Current, bad = Anchor(7);
    const std::tuple<int64_t, Anchor, uint64_t> seeks[] = {
        {-5, start, 0},       {5, end, 8},   {-3, end, 5}, {-2, here, 3},
        {INT64_MIN, here, 0}, {6, start, 6}, {2, bad, 6}};
    for (const auto& [offset, anchor, pos] : seeks) {
        buffer.seek(offset, anchor);
        EXPECT_EQ(buffer.pos(), pos) << offset; // an unknown anchor keeps the position
    }
    buffer.seek(2);
    buffer.write16(0);
    EXPECT_EQ(contents(buffer), (Bytes{1, 2, 0, 0}));
    buffer.seek(1);
    EXPECT_TRUE(buffer.write(nullptr, 0)); // even an empty write cuts
    EXPECT_EQ(buffer.size(), 1u);
}

TEST(MemoryBuffer, SerialisedBytesOfEveryValueKind) {
    MemoryBuffer buffer;
    buffer.write8(0xAB);
    buffer.write16(0x1234);
    buffer.write32(0xDEADBEEF);
    buffer.write64(0x0102030405060708ull);
    buffer.writeFloat(1.0f);
    buffer.writeDouble(-2.0);
    const Bytes scalars{0xAB, 0x34, 0x12, 0xEF, 0xBE, 0xAD, 0xDE, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02,
                        0x01, 0x00, 0x00, 0x80, 0x3F, 0,    0,    0,    0,    0,    0,    0x00, 0xC0};
    EXPECT_EQ(contents(buffer), scalars);

    buffer.writeFloat3(glm::vec3(1.0f, 2.0f, 3.0f));
    buffer.writeFloat4(glm::vec4(4.0f, 5.0f, 6.0f, 7.0f));
    buffer.writeQuaternion(glm::quat(11.0f, 8.0f, 9.0f, 10.0f)); // glm takes w first
    glm::mat4 matrix;
    for (int i = 0; i < 16; ++i) {
        matrix[i / 4][i % 4] = static_cast<float>(12 + i);
    }
    buffer.writeMatrix(matrix);
    // Every float after the scalars is the next integer: x, y, z, w order and columns in order.
    std::vector<float> floats(27);
    std::iota(floats.begin(), floats.end(), 1.0f);
    Bytes expected = scalars;
    expected.resize(scalars.size() + 27 * 4);
    std::memcpy(expected.data() + scalars.size(), floats.data(), 27 * 4);
    EXPECT_EQ(contents(buffer), expected);

    buffer.seek(0); // braces fix the order of the reads
    EXPECT_EQ((std::tuple{buffer.read8(), buffer.read16(), buffer.read32(), buffer.read64(),
                          buffer.readFloat(), buffer.readDouble()}),
              std::tuple(0xAB, 0x1234, 0xDEADBEEFu, 0x0102030405060708ull, 1.0f, -2.0));
    EXPECT_EQ(
        (std::tuple{buffer.readFloat3(), buffer.readFloat4(), buffer.readQuaternion(), buffer.readMatrix()}),
        std::tuple(glm::vec3(1, 2, 3), glm::vec4(4, 5, 6, 7), glm::quat(11, 8, 9, 10), matrix));
    EXPECT_EQ(buffer.unreadSize(), 0u);
}

TEST(MemoryBuffer, StringsAreLengthCharactersAndTerminator) {
    CountingAllocator allocator;
    MemoryBuffer buffer(&allocator);
    EXPECT_TRUE(buffer.writeString("abc"));
    // A view not followed by a zero still gets a terminator, not its next character.
    EXPECT_TRUE(buffer.writeString(Tarn::StringView("xyzw").substr(0, 2)));
    EXPECT_TRUE(buffer.writeString(Tarn::StringView()));
    EXPECT_EQ(contents(buffer),
              (Bytes{4, 0, 0, 0, 'a', 'b', 'c', 0, 3, 0, 0, 0, 'x', 'y', 0, 1, 0, 0, 0, 0}));
    buffer.seek(0);
    EXPECT_EQ((std::tuple{buffer.readString(), buffer.readString(), buffer.readString()}),
              std::tuple("abc", "xy", ""));
    EXPECT_EQ(buffer.unreadSize(), 0u);

    // Storage grows as the length's write and then the text's would: max(4, 0, 1024), then
    // max(4 + 1101, 1024 * 3 / 2, 1024). From a cursor before the end, the text's write fits
    // behind the length: nothing is allocated though size + record would not fit.
    MemoryBuffer fresh(&allocator);
    allocator.clearLog();
    fresh.writeString(std::string(1100, 'q'));
    EXPECT_EQ(allocator.allocationSizes(), (Sizes{1024, 1536}));
    MemoryBuffer full(&allocator);
    full.reserve(1024);
    full.resize(1020);
    allocator.clearLog();
    EXPECT_TRUE(full.writeString("abcdefghi"));
    EXPECT_TRUE(allocator.allocationSizes().empty());
    EXPECT_EQ(full.size(), 14u);
}

TEST(MemoryBuffer, ShortDataReadsAsZerosAndNeverBeyondTheEnd) {
    MemoryBuffer empty;
    EXPECT_EQ(empty.readMatrix(), glm::mat4(0.0f)); // every element read: no identity left over
    EXPECT_EQ(empty.pos(), 0u);
    const uint8_t bytes[6] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
    MemoryBuffer wrapped(bytes, sizeof(bytes));
    wrapped.seek(4);
    EXPECT_EQ(wrapped.read64(), 0x6655u);
    EXPECT_EQ(wrapped.pos(), 6u);
    float partial[2] = {1.5f, 2.5f};
    EXPECT_EQ(MemoryBuffer(partial, sizeof(partial)).readFloat3(), glm::vec3(1.5f, 2.5f, 0.0f));

    // Stored length, then what readString returns and how far it reads.
    struct {
        Bytes stored;
        std::string expected;
        uint64_t consumed;
    } cases[] = {
        {{1, 0, 0, 0, 0, 0xEE}, "", 5},
        {{0, 0, 0, 0, 0xEE}, "", 4},
        {{10, 0, 0, 0, 'a', 'b', 'c'}, std::string("abc\0\0\0", 6), 7}, // n = min(7 unread, 10)
        {{4, 0, 0, 0, 'a', 'b', 'c'}, "abc", 7},                        // terminator missing
        {{3, 0}, std::string("\0", 1), 2},                              // length itself short
    };
    for (auto& c : cases) {
        MemoryBuffer buffer(c.stored.data(), c.stored.size());
        EXPECT_EQ(buffer.readString(), c.expected);
        EXPECT_EQ(buffer.pos(), c.consumed);
    }
}

TEST(MemoryBuffer, WithoutStorageWritesFailAndNothingIsFreed) {
    Tarn::Testing::AssertRecorder recorder;
    uint8_t bytes[4] = {0x78, 0x56, 0x34, 0x12};
    MemoryBuffer wrapped(bytes, sizeof(bytes));
    EXPECT_EQ(wrapped.read32(), 0x12345678u);
    wrapped.seek(0);
    EXPECT_FALSE(wrapped.write32(1)); // wrapped memory is never written or freed
    EXPECT_FALSE(wrapped.writeString("abc"));
    EXPECT_TRUE(wrapped.writeFloat3(glm::vec3(1.0f))); // component writes report true regardless
    EXPECT_TRUE(wrapped.writeMatrix(glm::mat4(1.0f)));
    EXPECT_EQ(bytes[0], 0x78);
    EXPECT_TRUE(recorder.empty());

    wrapped.reserve(16);
    wrapped.resize(2);
    wrapped.copy(MemoryBuffer());
    EXPECT_EQ(wrapped.grow(4), nullptr);
    EXPECT_EQ(recorder.texts(), std::vector<std::string>(4, "allocator"));
    EXPECT_TRUE(wrapped.data() == bytes && wrapped.size() == 4u);

    // Refused storage fails the write instead of overrunning.
    CountingAllocator allocator;
    MemoryBuffer buffer(&allocator);
    buffer.write32(1);
    allocator.setRefuseAllocations(true);
    const Bytes big = sequence(2000);
    EXPECT_FALSE(buffer.write(big.data(), big.size()));
    EXPECT_EQ(buffer.grow(4000), nullptr);
    buffer.resize(5000);
    EXPECT_TRUE(buffer.size() == 4u && buffer.getCapacity() == 1024u);

    // A string is all or nothing: with room for its length but not its text, or for a lone
    // terminator but not the length, a refused reserve writes no part of it.
    for (const auto& [room, text] : {std::pair{6u, "abcd"}, std::pair{3u, ""}}) {
        CountingAllocator tight;
        MemoryBuffer small(&tight);
        small.reserve(room);
        tight.setRefuseAllocations(true);
        EXPECT_FALSE(small.writeString(text)) << room;
        EXPECT_EQ(small.size(), 0u) << room;
        EXPECT_EQ(small.pos(), 0u) << room;
    }
}

// A writer gives the bytes, size, position and storage of the same writes made on the buffer:
// from an empty buffer through its growth, from a cursor in the middle (the first write cuts the
// size and grows at the same write as the buffer's would), on wrapped memory, and with refused
// storage part way.
TEST(MemoryBuffer, WriterMatchesTheBuffersOwnWrites) {
    struct State {
        Bytes bytes;
        uint64_t pos, capacity;
        std::vector<bool> results;
        bool operator==(const State&) const = default;
    };
    const auto run = [](MemoryBuffer& buffer, bool useWriter, auto&& setUp) {
        setUp(buffer);
        std::vector<bool> results;
        const uint8_t raw[3] = {7, 8, 9};
        const auto writes = [&](auto& out) {
            for (uint32_t i = 0; i < 300; ++i) {
                results.push_back(out.write32(0xA0B0C0D0u + i));
                results.push_back(out.write8(static_cast<uint8_t>(i)));
                results.push_back(out.writeFloat4(glm::vec4(float(i), 1.5f, -2.0f, 0.25f)));
                results.push_back(out.write(raw, i % 4));
            }
        };
        if (useWriter) {
            MemoryBuffer::Writer writer(buffer);
            writes(writer);
        } else {
            writes(buffer);
        }
        return State{contents(buffer), buffer.pos(), buffer.getCapacity(), results};
    };
    uint8_t wrappedBytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<std::pair<const char*, std::function<void(MemoryBuffer&)>>> setUps = {
        {"empty", [](MemoryBuffer&) {}},
        {"middle", [](MemoryBuffer& b) { b.write(sequence(1020).data(), 1020), b.seek(1010); }},
        {"wrapped", [&](MemoryBuffer& b) { b = MemoryBuffer(wrappedBytes, 8), b.seek(3); }},
    };
    for (const auto& [name, setUp] : setUps) {
        MemoryBuffer direct, written;
        EXPECT_EQ(run(direct, false, setUp), run(written, true, setUp)) << name;
    }

    CountingAllocator allocator;
    MemoryBuffer buffer(&allocator);
    buffer.reserve(6);
    {
        MemoryBuffer::Writer writer(buffer);
        EXPECT_TRUE(writer.write32(1));
        allocator.setRefuseAllocations(true);
        EXPECT_FALSE(writer.write32(2)); // does not fit and cannot grow: nothing of it written
        EXPECT_TRUE(writer.write16(3));
    }
    EXPECT_EQ(contents(buffer), (Bytes{1, 0, 0, 0, 3, 0}));

    MemoryBuffer untouched;
    untouched.write(sequence(8).data(), 8);
    untouched.seek(2);
    MemoryBuffer::Writer(untouched).finish(); // no write, no cut
    EXPECT_EQ(untouched.size(), 8u);
}
