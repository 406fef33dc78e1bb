// PoolBase allocate + deallocate against malloc + free of the same size. Two patterns: one slot
// taken and returned at once (the best case of both), and a batch of 64 taken, then returned in
// reverse order (a frame's temporary objects).
#include <Tarn/Collections/PoolBase.h>

#include <benchmark/benchmark.h>

#include <cstdlib>

using Tarn::Collections::PoolBase;

namespace {

constexpr std::size_t ElementSize = 64;
constexpr int Batch = 64;

void PoolBasePair(benchmark::State& state) {
    PoolBase pool(ElementSize, 1024, 256);
    for (auto _ : state) {
        void* slot = pool.allocate();
        benchmark::DoNotOptimize(slot);
        pool.deallocate(slot);
    }
    state.SetItemsProcessed(state.iterations());
}

void MallocPair(benchmark::State& state) {
    for (auto _ : state) {
        void* block = std::malloc(ElementSize);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
    state.SetItemsProcessed(state.iterations());
}

void PoolBaseBatch(benchmark::State& state) {
    PoolBase pool(ElementSize, 1024, 256);
    void* slots[Batch];
    for (auto _ : state) {
        for (void*& slot : slots) {
            slot = pool.allocate();
        }
        benchmark::DoNotOptimize(slots);
        for (int i = Batch - 1; i >= 0; --i) {
            pool.deallocate(slots[i]);
        }
    }
    state.SetItemsProcessed(state.iterations() * Batch);
}

void MallocBatch(benchmark::State& state) {
    void* blocks[Batch];
    for (auto _ : state) {
        for (void*& block : blocks) {
            block = std::malloc(ElementSize);
        }
        benchmark::DoNotOptimize(blocks);
        for (int i = Batch - 1; i >= 0; --i) {
            std::free(blocks[i]);
        }
    }
    state.SetItemsProcessed(state.iterations() * Batch);
}

} // namespace

BENCHMARK(PoolBasePair);
BENCHMARK(MallocPair);
BENCHMARK(PoolBaseBatch);
BENCHMARK(MallocBatch);
