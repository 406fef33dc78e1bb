// Hashes, search and the small vector beside their standard-library peers. Each pair runs on the
// same input in the same process, so the ratios hold even on a loaded machine.

#include <Tarn/Collections/SmallVector.h>
#include <Tarn/Memory/Allocator.h>
#include <Tarn/Strings/Hash.h>
#include <Tarn/Strings/StringView.h>

#include <benchmark/benchmark.h>

#if defined(TARN_BENCH_HAVE_XXHASH)
#include <xxhash.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <time.h>

namespace {

std::vector<uint8_t> randomBytes(std::size_t size) {
    std::mt19937_64 rng(42);
    std::vector<uint8_t> out(size);
    for (auto& b : out) {
        b = static_cast<uint8_t>(rng());
    }
    return out;
}

// ---- 64-bit hashes -------------------------------------------------------------------------------

void Murmur2(benchmark::State& state) {
    const auto data = randomBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(data.data());
        benchmark::DoNotOptimize(Tarn::murmur2(data.data(), data.size()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(Murmur2)->Arg(64)->Arg(4096);

void StdHashStringView(benchmark::State& state) {
    const auto data = randomBytes(static_cast<std::size_t>(state.range(0)));
    const std::string_view view(reinterpret_cast<const char*>(data.data()), data.size());
    const std::hash<std::string_view> hasher;
    for (auto _ : state) {
        benchmark::DoNotOptimize(view.data());
        benchmark::DoNotOptimize(hasher(view));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(StdHashStringView)->Arg(64)->Arg(4096);

#if defined(TARN_BENCH_HAVE_XXHASH)
void Xxh3_64bits(benchmark::State& state) {
    const auto data = randomBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(data.data());
        benchmark::DoNotOptimize(XXH3_64bits(data.data(), data.size()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(Xxh3_64bits)->Arg(64)->Arg(4096);
#endif

// ---- FNV-1a against the latency of its own multiply --------------------------------------------

// A chain of dependent 64-bit multiplies, one per byte: the floor under FNV-1a, which needs one
// such multiply (plus an exclusive-or) per byte. Its time also calibrates the core clock, since a
// 64-bit multiply takes 3 cycles on every current x86 core.
uint64_t multiplyChain(uint64_t seed, std::size_t count) {
    uint64_t h = seed;
    for (std::size_t i = 0; i < count; ++i) {
        h *= 0x100000001B3ull;
        benchmark::DoNotOptimize(h); // keeps the loop from being folded into a power
    }
    return h;
}

double threadCpuNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double nanosecondsPerMultiply() {
    constexpr std::size_t count = 1 << 24;
    double best = 1e30;
    for (int round = 0; round < 5; ++round) {
        // Thread CPU time, like the benchmark's own rates: time spent preempted does not count.
        const double start = threadCpuNanoseconds();
        benchmark::DoNotOptimize(multiplyChain(static_cast<uint64_t>(round), count));
        best = std::min(best, (threadCpuNanoseconds() - start) / count);
    }
    return best;
}

void Fnv1a(benchmark::State& state) {
    const auto data = randomBytes(static_cast<std::size_t>(state.range(0)));
    const double nsPerMultiply = nanosecondsPerMultiply();
    const double start = threadCpuNanoseconds();
    for (auto _ : state) {
        benchmark::DoNotOptimize(data.data());
        benchmark::DoNotOptimize(Tarn::fnv1a(data.data(), data.size()));
    }
    const double nsPerByte =
        (threadCpuNanoseconds() - start) / (static_cast<double>(state.iterations()) * data.size());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
    // The same time in multiply latencies and, at 3 cycles per multiply, in core cycles.
    state.counters["ns_per_byte"] = nsPerByte;
    state.counters["multiplies_per_byte"] = nsPerByte / nsPerMultiply;
    state.counters["cycles_per_byte"] = 3.0 * nsPerByte / nsPerMultiply;
    state.counters["bytes_per_cycle"] = nsPerMultiply / (3.0 * nsPerByte);
}
BENCHMARK(Fnv1a)->Arg(4096);

void MultiplyChainPerByte(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    uint64_t seed = 1;
    for (auto _ : state) {
        seed = multiplyChain(seed, count);
        benchmark::DoNotOptimize(seed);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(MultiplyChainPerByte)->Arg(4096);

// ---- StringView::find ----------------------------------------------------------------------------

// 4 KiB of lower-case words and spaces with the 5-byte needle only at the end, so every candidate
// before it is a near miss; and a text of one repeated byte where every position is a candidate.
std::string wordText() {
    std::mt19937 rng(7);
    std::string text;
    while (text.size() < 4096 - 6) {
        const int length = 2 + static_cast<int>(rng() % 8);
        for (int i = 0; i < length; ++i) {
            text.push_back(static_cast<char>('a' + rng() % 26));
        }
        text.push_back(' ');
    }
    text.resize(4096 - 6);
    text += " quack";
    return text;
}

std::string repeatedText() {
    return std::string(4096 - 5, 'q') + "quack";
}

const std::string& findText(int which) {
    static const std::string words = wordText();
    static const std::string repeated = repeatedText();
    return which == 0 ? words : repeated;
}

void checkSameResult(benchmark::State& state, const std::string& text) {
    const uint64_t ours = Tarn::StringView(text).find("quack");
    const std::size_t theirs = std::string_view(text).find("quack");
    if (ours != theirs) {
        state.SkipWithError("find results differ");
    }
}

void StringViewFind(benchmark::State& state) {
    const std::string& text = findText(static_cast<int>(state.range(0)));
    checkSameResult(state, text);
    const Tarn::StringView view(text);
    const Tarn::StringView needle("quack");
    for (auto _ : state) {
        benchmark::DoNotOptimize(view.data());
        benchmark::DoNotOptimize(view.find(needle));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 4096);
}
BENCHMARK(StringViewFind)->Arg(0)->Arg(1)->ArgName("repeated");

void StdStringViewFind(benchmark::State& state) {
    const std::string& text = findText(static_cast<int>(state.range(0)));
    const std::string_view view(text);
    const std::string_view needle("quack");
    for (auto _ : state) {
        benchmark::DoNotOptimize(view.data());
        benchmark::DoNotOptimize(view.find(needle));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 4096);
}
BENCHMARK(StdStringViewFind)->Arg(0)->Arg(1)->ArgName("repeated");

// ---- SmallVector<T, 10> push of 8 elements -----------------------------------------------------

struct Element {
    uint64_t key;
    uint64_t value;
};

void SmallVectorPush8(benchmark::State& state) {
    Tarn::Memory::Allocator* overflow = Tarn::Memory::Allocator::overflowAllocator();
    const uint64_t blocksBefore = overflow->getAllocationCount();
    uint64_t allocations = 0;
    for (auto _ : state) {
        Tarn::Collections::SmallVector<Element, 10> v;
        for (uint64_t i = 0; i < 8; ++i) {
            v.push_back({i, i * 3});
        }
        benchmark::DoNotOptimize(v.data());
        allocations += overflow->getAllocationCount() - blocksBefore;
        benchmark::ClobberMemory();
    }
    state.counters["heap_blocks"] = static_cast<double>(allocations);
}
BENCHMARK(SmallVectorPush8);

void StdVectorPush8(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<Element> v;
        for (uint64_t i = 0; i < 8; ++i) {
            v.push_back({i, i * 3});
        }
        benchmark::DoNotOptimize(v.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StdVectorPush8);

void StdVectorReservedPush8(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<Element> v;
        v.reserve(8);
        for (uint64_t i = 0; i < 8; ++i) {
            v.push_back({i, i * 3});
        }
        benchmark::DoNotOptimize(v.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StdVectorReservedPush8);

} // namespace
