// MemoryBuffer's typed writes and reads against the same bytes moved by hand through a
// std::vector<uint8_t> whose capacity is reserved up front. Two hand-written peers per operation:
//   Vector*   appends through the vector (resize, then memcpy into the new bytes), the way a
//             serialiser over a vector is usually written;
//   Raw*      memcpy at an offset kept in a local variable into a vector sized once up front (no
//             size bookkeeping at all): the floor, reported for reference.
// Every run moves Count values per iteration, so the ratios compare per-value costs. Values pass
// through an empty asm statement on the way in and out: without it the compiler turns the hand-
// written loops into vector code (which no real serialiser producing or consuming values one at
// a time gets) and the comparison would measure the vectoriser, not the buffer.
#include <Tarn/Memory/MemoryBuffer.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using Tarn::Memory::MemoryBuffer;

namespace {

constexpr int Count = 1024;

// An unknown value to the optimiser, without the memory clobber of benchmark::DoNotOptimize (which
// would force the buffer's fields out to memory and back around every value).
template <typename T>
T opaque(T value) {
    asm("" : "+r"(value));
    return value;
}

float opaqueFloat(float value) {
    asm("" : "+x"(value));
    return value;
}

uint32_t valueAt(int i) {
    return static_cast<uint32_t>(opaque(i)) * 0x9E3779B9u;
}

glm::vec4 vectorAt(int i) {
    const auto f = static_cast<float>(opaque(i));
    return glm::vec4(f, f + 0.5f, f + 1.0f, f + 1.5f);
}

// Names of the length entity and component names usually have.
const std::vector<std::string>& names() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> result;
        for (int i = 0; i < Count; ++i) {
            result.push_back("component_" + std::to_string(10000 + i));
        }
        return result;
    }();
    return all;
}

void setCounters(benchmark::State& state, std::size_t bytesPerIteration) {
    state.SetItemsProcessed(state.iterations() * Count);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytesPerIteration));
}

template <typename T>
void vectorAppend(std::vector<uint8_t>& out, const T& value) {
    const std::size_t at = out.size();
    out.resize(at + sizeof(T));
    std::memcpy(out.data() + at, &value, sizeof(T));
}

// ---- write32 ----

void MemoryBufferWrite32(benchmark::State& state) {
    MemoryBuffer buffer(static_cast<uint64_t>(Count) * 4, true);
    for (auto _ : state) {
        buffer.seek(0);
        for (int i = 0; i < Count; ++i) {
            buffer.write32(valueAt(i));
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 4);
}

// The same writes through a writer cursor, which the compiler keeps in registers.
void MemoryBufferWriterWrite32(benchmark::State& state) {
    MemoryBuffer buffer(static_cast<uint64_t>(Count) * 4, true);
    for (auto _ : state) {
        buffer.seek(0);
        MemoryBuffer::Writer writer(buffer);
        for (int i = 0; i < Count; ++i) {
            writer.write32(valueAt(i));
        }
        writer.finish();
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 4);
}

void VectorWrite32(benchmark::State& state) {
    std::vector<uint8_t> out;
    out.reserve(Count * 4);
    for (auto _ : state) {
        out.clear();
        for (int i = 0; i < Count; ++i) {
            vectorAppend(out, valueAt(i));
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 4);
}

void RawWrite32(benchmark::State& state) {
    std::vector<uint8_t> out;
    out.resize(Count * 4);
    for (auto _ : state) {
        uint8_t* target = out.data();
        std::size_t offset = 0;
        for (int i = 0; i < Count; ++i) {
            const uint32_t value = valueAt(i);
            std::memcpy(target + offset, &value, 4);
            offset += 4;
        }
        benchmark::DoNotOptimize(target);
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 4);
}

// ---- writeFloat4 ----

void MemoryBufferWriteFloat4(benchmark::State& state) {
    MemoryBuffer buffer(static_cast<uint64_t>(Count) * 16, true);
    for (auto _ : state) {
        buffer.seek(0);
        for (int i = 0; i < Count; ++i) {
            buffer.writeFloat4(vectorAt(i));
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 16);
}

void MemoryBufferWriterWriteFloat4(benchmark::State& state) {
    MemoryBuffer buffer(static_cast<uint64_t>(Count) * 16, true);
    for (auto _ : state) {
        buffer.seek(0);
        MemoryBuffer::Writer writer(buffer);
        for (int i = 0; i < Count; ++i) {
            writer.writeFloat4(vectorAt(i));
        }
        writer.finish();
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 16);
}

void VectorWriteFloat4(benchmark::State& state) {
    std::vector<uint8_t> out;
    out.reserve(Count * 16);
    for (auto _ : state) {
        out.clear();
        for (int i = 0; i < Count; ++i) {
            vectorAppend(out, vectorAt(i));
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 16);
}

void RawWriteFloat4(benchmark::State& state) {
    std::vector<uint8_t> out;
    out.resize(Count * 16);
    for (auto _ : state) {
        uint8_t* target = out.data();
        std::size_t offset = 0;
        for (int i = 0; i < Count; ++i) {
            const glm::vec4 value = vectorAt(i);
            std::memcpy(target + offset, &value, 16);
            offset += 16;
        }
        benchmark::DoNotOptimize(target);
        benchmark::ClobberMemory();
    }
    setCounters(state, Count * 16);
}

// ---- writeString ----

std::size_t stringBytes() {
    std::size_t total = 0;
    for (const std::string& name : names()) {
        total += 4 + name.size() + 1;
    }
    return total;
}

void MemoryBufferWriteString(benchmark::State& state) {
    const auto& all = names();
    MemoryBuffer buffer(stringBytes(), true);
    for (auto _ : state) {
        buffer.seek(0);
        for (const std::string& name : all) {
            buffer.writeString(name);
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, stringBytes());
}

void VectorWriteString(benchmark::State& state) {
    const auto& all = names();
    std::vector<uint8_t> out;
    out.reserve(stringBytes());
    for (auto _ : state) {
        out.clear();
        for (const std::string& name : all) {
            const auto length = static_cast<uint32_t>(name.size() + 1);
            const std::size_t at = out.size();
            out.resize(at + 4 + length);
            std::memcpy(out.data() + at, &length, 4);
            std::memcpy(out.data() + at + 4, name.c_str(), length);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, stringBytes());
}

void RawWriteString(benchmark::State& state) {
    const auto& all = names();
    std::vector<uint8_t> out;
    out.resize(stringBytes());
    for (auto _ : state) {
        uint8_t* target = out.data();
        std::size_t offset = 0;
        for (const std::string& name : all) {
            const auto length = static_cast<uint32_t>(name.size() + 1);
            std::memcpy(target + offset, &length, 4);
            std::memcpy(target + offset + 4, name.c_str(), length);
            offset += 4 + length;
        }
        benchmark::DoNotOptimize(target);
        benchmark::ClobberMemory();
    }
    setCounters(state, stringBytes());
}

// ---- reads ----

std::vector<uint8_t> serialised32() {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < Count; ++i) {
        vectorAppend(bytes, valueAt(i));
    }
    return bytes;
}

std::vector<uint8_t> serialisedFloat4() {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < Count; ++i) {
        vectorAppend(bytes, vectorAt(i));
    }
    return bytes;
}

std::vector<uint8_t> serialisedStrings() {
    MemoryBuffer buffer;
    for (const std::string& name : names()) {
        buffer.writeString(name);
    }
    return std::vector<uint8_t>(buffer.data(), buffer.data() + buffer.size());
}

void MemoryBufferRead32(benchmark::State& state) {
    std::vector<uint8_t> bytes = serialised32();
    MemoryBuffer buffer(bytes.data(), bytes.size());
    for (auto _ : state) {
        buffer.seek(0);
        uint32_t sum = 0;
        for (int i = 0; i < Count; ++i) {
            sum += opaque(buffer.read32());
        }
        benchmark::DoNotOptimize(sum);
    }
    setCounters(state, bytes.size());
}

void RawRead32(benchmark::State& state) {
    const std::vector<uint8_t> bytes = serialised32();
    for (auto _ : state) {
        const uint8_t* source = bytes.data();
        benchmark::DoNotOptimize(source);
        uint32_t sum = 0;
        for (int i = 0; i < Count; ++i) {
            uint32_t value;
            std::memcpy(&value, source + i * 4, 4);
            sum += opaque(value);
        }
        benchmark::DoNotOptimize(sum);
    }
    setCounters(state, bytes.size());
}

void MemoryBufferReadFloat4(benchmark::State& state) {
    std::vector<uint8_t> bytes = serialisedFloat4();
    MemoryBuffer buffer(bytes.data(), bytes.size());
    for (auto _ : state) {
        buffer.seek(0);
        float sum = 0.0f;
        for (int i = 0; i < Count; ++i) {
            const glm::vec4 value = buffer.readFloat4();
            sum += opaqueFloat(value.x + value.y + value.z + value.w);
        }
        benchmark::DoNotOptimize(sum);
    }
    setCounters(state, bytes.size());
}

void RawReadFloat4(benchmark::State& state) {
    const std::vector<uint8_t> bytes = serialisedFloat4();
    for (auto _ : state) {
        const uint8_t* source = bytes.data();
        benchmark::DoNotOptimize(source);
        float sum = 0.0f;
        for (int i = 0; i < Count; ++i) {
            float value[4];
            std::memcpy(value, source + i * 16, 16);
            sum += opaqueFloat(value[0] + value[1] + value[2] + value[3]);
        }
        benchmark::DoNotOptimize(sum);
    }
    setCounters(state, bytes.size());
}

void MemoryBufferReadString(benchmark::State& state) {
    std::vector<uint8_t> bytes = serialisedStrings();
    MemoryBuffer buffer(bytes.data(), bytes.size());
    for (auto _ : state) {
        buffer.seek(0);
        std::size_t total = 0;
        for (int i = 0; i < Count; ++i) {
            std::string name = buffer.readString();
            benchmark::DoNotOptimize(name);
            total += name.size();
        }
        benchmark::DoNotOptimize(total);
    }
    setCounters(state, bytes.size());
}

void RawReadString(benchmark::State& state) {
    const std::vector<uint8_t> bytes = serialisedStrings();
    for (auto _ : state) {
        const uint8_t* source = bytes.data();
        benchmark::DoNotOptimize(source);
        std::size_t offset = 0;
        std::size_t total = 0;
        for (int i = 0; i < Count; ++i) {
            uint32_t length;
            std::memcpy(&length, source + offset, 4);
            std::string name(reinterpret_cast<const char*>(source + offset + 4), length - 1);
            benchmark::DoNotOptimize(name);
            total += name.size();
            offset += 4 + length;
        }
        benchmark::DoNotOptimize(total);
    }
    setCounters(state, bytes.size());
}

} // namespace

BENCHMARK(MemoryBufferWrite32);
BENCHMARK(MemoryBufferWriterWrite32);
BENCHMARK(VectorWrite32);
BENCHMARK(RawWrite32);
BENCHMARK(MemoryBufferWriteFloat4);
BENCHMARK(MemoryBufferWriterWriteFloat4);
BENCHMARK(VectorWriteFloat4);
BENCHMARK(RawWriteFloat4);
BENCHMARK(MemoryBufferWriteString);
BENCHMARK(VectorWriteString);
BENCHMARK(RawWriteString);
BENCHMARK(MemoryBufferRead32);
BENCHMARK(RawRead32);
BENCHMARK(MemoryBufferReadFloat4);
BENCHMARK(RawReadFloat4);
BENCHMARK(MemoryBufferReadString);
BENCHMARK(RawReadString);
