// Whole-file reads and mapped reads of a 256 MiB file in the page cache, each beside the plain
// system calls that do the same work. The file lives in /tmp for the run and is removed afterwards.

#include <Tarn/Files/FileHandle.h>
#include <Tarn/Files/Files.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t FileSize = 256u << 20;

/// The benchmark file, written once on first use and removed when the program ends.
class BenchmarkFile {
public:
    BenchmarkFile() : path("/tmp/TarnFilesBenchmark-" + std::to_string(getpid()) + ".bin") {
        std::vector<unsigned char> block(1 << 20);
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<unsigned char>(i * 131 + (i >> 9));
        }
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (!file) {
            std::abort();
        }
        for (std::size_t written = 0; written < FileSize; written += block.size()) {
            std::fwrite(block.data(), 1, block.size(), file);
        }
        std::fclose(file);
    }
    ~BenchmarkFile() { std::remove(path.c_str()); }

    const std::string path;
};

const std::string& benchmarkFile() {
    static BenchmarkFile file;
    return file.path;
}

// The same summation for both mapped variants; wide accumulators let it vectorise.
__attribute__((noinline)) uint64_t sumBytes(const unsigned char* bytes, std::size_t size) {
    uint64_t sum = 0;
    for (std::size_t i = 0; i < size; ++i) {
        sum += bytes[i];
    }
    return sum;
}

/// Whole-file reads with the contents released between calls. With argument 1 no released storage
/// fits: between the timed reads smaller contents (16 MiB) are made and released, which frees the
/// 256 MiB kept from the last read and is kept in its place, so every timed read gets storage that
/// has never been touched: the cost of a first large read.
void ReadFileSync(benchmark::State& state) {
    const std::string& path = benchmarkFile();
    const bool evictKeptStorage = state.range(0) != 0;
    for (auto _ : state) {
        std::unique_ptr<Tarn::FileContents> contents = Tarn::IO::readFileSync(path);
        if (!contents || contents->size != FileSize) {
            state.SkipWithError("readFileSync failed");
            break;
        }
        benchmark::DoNotOptimize(contents->data);
        if (evictKeptStorage) {
            state.PauseTiming();
            contents.reset();
            Tarn::MemoryBufferBackedFileContents smaller(16u << 20, "smaller");
            state.ResumeTiming();
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * FileSize));
}

/// Baseline: open, a read loop into a buffer allocated (and touched) once before timing, close.
void ReadLoopIntoPreallocatedBuffer(benchmark::State& state) {
    const std::string& path = benchmarkFile();
    std::vector<unsigned char> buffer(FileSize, 1);
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        std::size_t done = 0;
        while (done < FileSize) {
            const ssize_t count = read(fd, buffer.data() + done, FileSize - done);
            if (count <= 0) {
                break;
            }
            done += static_cast<std::size_t>(count);
        }
        close(fd);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * FileSize));
}

/// For reference: the same loop into a buffer from malloc on every iteration, which is what any
/// function that returns freshly owned contents has to pay for.
void ReadLoopIntoFreshBuffer(benchmark::State& state) {
    const std::string& path = benchmarkFile();
    for (auto _ : state) {
        auto* buffer = static_cast<unsigned char*>(std::malloc(FileSize));
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        std::size_t done = 0;
        while (done < FileSize) {
            const ssize_t count = read(fd, buffer + done, FileSize - done);
            if (count <= 0) {
                break;
            }
            done += static_cast<std::size_t>(count);
        }
        close(fd);
        benchmark::DoNotOptimize(buffer);
        std::free(buffer);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * FileSize));
}

void FileHandleMapAndSum(benchmark::State& state) {
    const std::string& path = benchmarkFile();
    for (auto _ : state) {
        auto handle = Tarn::FileHandle::open(path, Tarn::FileHandle::OpenMode::OpenExisting,
                                             Tarn::FileHandle::AccessMode::Read);
        const auto* bytes = static_cast<const unsigned char*>(
            handle ? handle->map(Tarn::FileHandle::ProtectionMode::ReadOnly, 0, 0) : nullptr);
        if (!bytes) {
            state.SkipWithError("map failed");
            break;
        }
        benchmark::DoNotOptimize(sumBytes(bytes, FileSize));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * FileSize));
}

/// Baseline: open, mmap PROT_READ, the same sum, munmap, close.
void DirectMmapAndSum(benchmark::State& state) {
    const std::string& path = benchmarkFile();
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        void* view = mmap(nullptr, FileSize, PROT_READ, MAP_SHARED, fd, 0);
        if (view == MAP_FAILED) {
            state.SkipWithError("mmap failed");
            break;
        }
        benchmark::DoNotOptimize(sumBytes(static_cast<const unsigned char*>(view), FileSize));
        munmap(view, FileSize);
        close(fd);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * FileSize));
}

// Run with --benchmark_enable_random_interleaving=true so that both sides of a pair share the load.
BENCHMARK(ReadLoopIntoPreallocatedBuffer)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);
BENCHMARK(ReadFileSync)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);
BENCHMARK(ReadLoopIntoFreshBuffer)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);
BENCHMARK(DirectMmapAndSum)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);
BENCHMARK(FileHandleMapAndSum)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);

} // namespace
