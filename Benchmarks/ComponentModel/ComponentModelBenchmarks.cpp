// The component pool beside a plain baseline in the same program: a std::vector of components with
// a free list of indices (the same 64-byte component type, a generation check on resolve, free
// slots skipped while iterating). Both hold 1,048,576 live components before timing starts.

#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/Memory/Allocator.h>
#include <Tarn/Reflection/Registration.h>
#include <Tarn/Reflection/TypeDatabase.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

using namespace Tarn::ComponentModel;
using namespace Tarn::Reflection;

namespace {

struct Body : Component {
    float position[3] = {};
    float velocity[3] = {};
    uint32_t mass = 1;
    uint32_t group = 0;
    uint32_t padding[2] = {};
};
static_assert(sizeof(Body) == 64);

} // namespace

TARN_REFLECTION_TYPE_NAME(Body, "Body")

namespace {

constexpr uint32_t Live = 1u << 20;

void registerTypes() {
    static const bool done = [] {
        TypeDatabase::initializeBaseTypes();
        Component::registerType();
        registerType<Body>("Body").setBase(&TypeDatabase::getType("Component"));
        return true;
    }();
    (void)done;
}

// ---- the baseline --------------------------------------------------------------------------------

struct PlainHandle {
    uint32_t index;
    uint16_t generation;
};

// The obvious pool: elements in a std::vector, released indices on a free list, and a parallel
// array of 16-bit generations for the handle check (odd while the slot is live).
class PlainPool {
public:
    explicit PlainPool(uint32_t capacity) {
        storage.reserve(capacity);
        generations.reserve(capacity);
        freeList.reserve(capacity);
    }
    PlainHandle allocate() {
        uint32_t index;
        if (!freeList.empty()) {
            index = freeList.back();
            freeList.pop_back();
            storage[index] = Body();
        } else {
            index = static_cast<uint32_t>(storage.size());
            storage.emplace_back();
            generations.push_back(0);
        }
        return {index, ++generations[index]};
    }
    void release(PlainHandle handle) {
        ++generations[handle.index];
        freeList.push_back(handle.index);
    }
    Body* resolve(PlainHandle handle) {
        if (handle.index >= storage.size())
            return nullptr;
        return generations[handle.index] == handle.generation ? &storage[handle.index] : nullptr;
    }
    template <class F>
    void forEach(F&& f) {
        const size_t count = storage.size();
        for (size_t i = 0; i < count; ++i) {
            if (generations[i] & 1u)
                f(storage[i]);
        }
    }
    uint64_t memoryBytes() const {
        return storage.capacity() * sizeof(Body) + generations.capacity() * sizeof(uint16_t) +
               freeList.capacity() * sizeof(uint32_t);
    }

private:
    std::vector<Body> storage;
    std::vector<uint16_t> generations;
    std::vector<uint32_t> freeList;
};

// ---- fixtures ------------------------------------------------------------------------------------

struct OursFixture {
    ComponentPool<Body> pool{Live};
    std::vector<ComponentHandle> handles;
    OursFixture() {
        handles.reserve(Live);
        for (uint32_t i = 0; i < Live; ++i)
            handles.push_back(pool.allocate());
    }
};

struct PlainFixture {
    PlainPool pool{Live + 1};
    std::vector<PlainHandle> handles;
    PlainFixture() {
        handles.reserve(Live);
        for (uint32_t i = 0; i < Live; ++i)
            handles.push_back(pool.allocate());
    }
};

// One instance per fixture type and use: the churn benchmarks permute their pool's roster, which
// must not leak into the iteration of a freshly filled pool.
enum class Use { Steady, Churned };

template <class Fixture, Use use = Use::Steady>
Fixture& fixture() {
    registerTypes();
    static Fixture instance;
    return instance;
}

// Releases and re-allocates a tenth of the components at random, once.
template <class Fixture>
Fixture& churnedFixture() {
    auto& f = fixture<Fixture, Use::Churned>();
    static const bool churned = [&f] {
        std::mt19937 random(11);
        for (uint32_t i = 0; i < Live / 10; ++i) {
            auto& h = f.handles[random() & (Live - 1)];
            f.pool.release(h);
            h = f.pool.allocate();
        }
        return true;
    }();
    (void)churned;
    return f;
}

// 1024 handles picked at random (the same positions for both pools): their components stay in
// cache, so the loop measures the lookup itself rather than the memory system. (Evenly spaced
// handles would be a trap: with a 64 KiB stride every component maps to the same cache set.)
template <class Handles>
Handles hotSet(const Handles& all) {
    Handles out;
    std::mt19937 random(3);
    for (size_t i = 0; i < 1024; ++i)
        out.push_back(all[random() % all.size()]);
    return out;
}

// ---- allocate + release --------------------------------------------------------------------------

void Ours_AllocateReleasePair(benchmark::State& state) {
    auto& f = fixture<OursFixture>();
    for (auto _ : state) {
        const ComponentHandle h = f.pool.allocate();
        benchmark::DoNotOptimize(h);
        f.pool.release(h);
    }
}
BENCHMARK(Ours_AllocateReleasePair);

void Plain_AllocateReleasePair(benchmark::State& state) {
    auto& f = fixture<PlainFixture>();
    for (auto _ : state) {
        const PlainHandle h = f.pool.allocate();
        benchmark::DoNotOptimize(h);
        f.pool.release(h);
    }
}
BENCHMARK(Plain_AllocateReleasePair);

// Release a random live component and allocate its replacement: slots all over the 64 MiB.
void Ours_Churn(benchmark::State& state) {
    auto& f = churnedFixture<OursFixture>();
    std::mt19937 random(7);
    for (auto _ : state) {
        ComponentHandle& h = f.handles[random() & (Live - 1)];
        f.pool.release(h);
        h = f.pool.allocate();
    }
}
BENCHMARK(Ours_Churn);

void Plain_Churn(benchmark::State& state) {
    auto& f = churnedFixture<PlainFixture>();
    std::mt19937 random(7);
    for (auto _ : state) {
        PlainHandle& h = f.handles[random() & (Live - 1)];
        f.pool.release(h);
        h = f.pool.allocate();
    }
}
BENCHMARK(Plain_Churn);

// ---- resolve -------------------------------------------------------------------------------------

void Ours_Resolve(benchmark::State& state) {
    auto& f = fixture<OursFixture>();
    const auto hot = hotSet(f.handles);
    const ComponentHandle* handles = hot.data();
    const size_t mask = hot.size() - 1;
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(handles[i].resolve());
        i = (i + 1) & mask;
    }
}
BENCHMARK(Ours_Resolve);

void Plain_Resolve(benchmark::State& state) {
    auto& f = fixture<PlainFixture>();
    const auto hot = hotSet(f.handles);
    const PlainHandle* handles = hot.data();
    const size_t mask = hot.size() - 1;
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(f.pool.resolve(handles[i]));
        i = (i + 1) & mask;
    }
}
BENCHMARK(Plain_Resolve);

// All 1 M handles in allocation order: bound by memory traffic for both.
void Ours_ResolveAll(benchmark::State& state) {
    auto& f = fixture<OursFixture>();
    for (auto _ : state) {
        uint32_t found = 0;
        for (const ComponentHandle& h : f.handles)
            found += h.resolve() != nullptr;
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * Live);
}
BENCHMARK(Ours_ResolveAll)->Unit(benchmark::kMillisecond);

void Plain_ResolveAll(benchmark::State& state) {
    auto& f = fixture<PlainFixture>();
    for (auto _ : state) {
        uint32_t found = 0;
        for (const PlainHandle& h : f.handles)
            found += f.pool.resolve(h) != nullptr;
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * Live);
}
BENCHMARK(Plain_ResolveAll)->Unit(benchmark::kMillisecond);

// ---- iterate -------------------------------------------------------------------------------------

void Ours_Iterate(benchmark::State& state) {
    auto& f = fixture<OursFixture>();
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const Body& body : f.pool)
            sum += body.mass;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * f.pool.size());
}
BENCHMARK(Ours_Iterate)->Unit(benchmark::kMillisecond);

void Plain_Iterate(benchmark::State& state) {
    auto& f = fixture<PlainFixture>();
    for (auto _ : state) {
        uint64_t sum = 0;
        f.pool.forEach([&sum](const Body& body) { sum += body.mass; });
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * Live);
}
BENCHMARK(Plain_Iterate)->Unit(benchmark::kMillisecond);

// After random churn the roster no longer follows the slots in order: iteration jumps around the
// storage. The baseline still walks its storage in order.
void Ours_IterateAfterChurn(benchmark::State& state) {
    auto& f = churnedFixture<OursFixture>();
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const Body& body : f.pool)
            sum += body.mass;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * f.pool.size());
}
BENCHMARK(Ours_IterateAfterChurn)->Unit(benchmark::kMillisecond);

void Plain_IterateAfterChurn(benchmark::State& state) {
    auto& f = churnedFixture<PlainFixture>();
    for (auto _ : state) {
        uint64_t sum = 0;
        f.pool.forEach([&sum](const Body& body) { sum += body.mass; });
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * Live);
}
BENCHMARK(Plain_IterateAfterChurn)->Unit(benchmark::kMillisecond);

// ---- memory --------------------------------------------------------------------------------------

class CountingAllocator : public Tarn::Memory::Allocator {};

void Ours_Memory(benchmark::State& state) {
    registerTypes();
    CountingAllocator allocator;
    for (auto _ : state) {
        ComponentPool<Body> pool(Live, &allocator);
        for (uint32_t i = 0; i < Live; ++i)
            pool.allocate();
        state.counters["bytes"] = static_cast<double>(allocator.getAllocatedBytes());
        state.counters["bytes_per_slot"] =
            static_cast<double>(allocator.getAllocatedBytes()) / pool.capacity();
        state.counters["blocks"] = static_cast<double>(allocator.getAllocationCount());
    }
}
BENCHMARK(Ours_Memory)->Iterations(1)->Unit(benchmark::kMillisecond);

void Plain_Memory(benchmark::State& state) {
    for (auto _ : state) {
        PlainPool pool(Live);
        for (uint32_t i = 0; i < Live; ++i)
            pool.allocate();
        state.counters["bytes"] = static_cast<double>(pool.memoryBytes());
        state.counters["bytes_per_slot"] = static_cast<double>(pool.memoryBytes()) / Live;
    }
}
BENCHMARK(Plain_Memory)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
