// Steady-state cost of feeding pointer events to the gesture recogniser, beside the bare
// bookkeeping a hash map of pointers costs, and a count of heap allocations inside the timed loops.

#include <Tarn/Input/Gestures.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <unordered_map>

namespace {

std::atomic<uint64_t> allocations{0};

} // namespace

// Every allocation of the program passes through here, so a timed loop can prove it made none.
void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* block = std::malloc(size ? size : 1)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

using namespace Tarn;

constexpr int FrameEvents = 64; // pointer events between two update() calls

// Runs a few frames of the same input first, so that the output lists have reached the size the
// steady state needs before anything is counted.
template <typename Step>
void warmUp(Step&& step) {
    for (int i = 0; i < 4 * FrameEvents; ++i) {
        step();
    }
}

// How many gestures the last complete frame published per event, to show what work was done.
void reportOutput(benchmark::State& state, const Gestures& gestures) {
    state.counters["gestures/event"] =
        benchmark::Counter(static_cast<double>(gestures.getGestures().size()) / FrameEvents);
}

void reportAllocations(benchmark::State& state, uint64_t before) {
    const uint64_t made = allocations.load() - before;
    state.counters["allocs/event"] =
        benchmark::Counter(static_cast<double>(made) / static_cast<double>(state.iterations()));
    if (made != 0) {
        state.SkipWithError("heap allocation in the steady state");
    }
}

// Ten touch contacts down, each moving in turn: the recogniser only keeps its pointer records.
void GesturesMoveTenPointers(benchmark::State& state) {
    Gestures gestures;
    double time = 1000.0;
    for (uint64_t id = 0; id < 10; ++id) {
        gestures.pointerDown(PointerType::Touch, 0x1000 + id, MouseButton::Left, {int(id) * 50, 100}, time);
    }
    gestures.update(time);
    uint64_t id = 0;
    int step = 0;
    auto event = [&] {
        gestures.pointerMove(PointerType::Touch, 0x1000 + id, {int(id) * 50 + (step & 7), 100}, time);
        id = id == 9 ? 0 : id + 1;
        time += 0.25;
        if (++step == FrameEvents) {
            step = 0;
            gestures.update(time);
        }
    };
    warmUp(event);
    const uint64_t before = allocations.load();
    for (auto _ : state) {
        event();
    }
    reportAllocations(state, before);
    reportOutput(state, gestures);
}
BENCHMARK(GesturesMoveTenPointers);

// One mouse drag: every move emits a Drag Update into the frame's output.
void GesturesMoveDrag(benchmark::State& state) {
    Gestures gestures;
    double time = 1000.0;
    gestures.pointerDown(PointerType::Mouse, 0xFFFFFFFF, MouseButton::Left, {0, 0}, time);
    gestures.pointerMove(PointerType::Mouse, 0xFFFFFFFF, {100, 0}, time);
    int step = 0;
    auto event = [&] {
        gestures.pointerMove(PointerType::Mouse, 0xFFFFFFFF, {100 + (step & 1), step}, time);
        time += 0.25;
        if (++step == FrameEvents) {
            step = 0;
            gestures.update(time);
        }
    };
    warmUp(event);
    const uint64_t before = allocations.load();
    for (auto _ : state) {
        event();
    }
    reportAllocations(state, before);
    reportOutput(state, gestures);
}
BENCHMARK(GesturesMoveDrag);

// Two fingers twisting apart: pan, rotate and pinch update on nearly every move.
void GesturesMoveTwoFingers(benchmark::State& state) {
    Gestures gestures;
    double time = 1000.0;
    gestures.pointerDown(PointerType::Touch, 0x1001, MouseButton::Left, {100, 100}, time);
    gestures.pointerDown(PointerType::Touch, 0x1002, MouseButton::Left, {200, 100}, time);
    gestures.pointerMove(PointerType::Touch, 0x1002, {300, 200}, time);
    int step = 0;
    auto event = [&] {
        // Both fingers keep moving; a finger left still for 10 s of event time would be released.
        if (step & 1) {
            gestures.pointerMove(PointerType::Touch, 0x1002, {300 + (step & 6), 200 + (step & 8)}, time);
        } else {
            gestures.pointerMove(PointerType::Touch, 0x1001, {100 - (step & 6), 100}, time);
        }
        time += 0.25;
        if (++step == FrameEvents) {
            step = 0;
            gestures.update(time);
        }
    };
    warmUp(event);
    const uint64_t before = allocations.load();
    for (auto _ : state) {
        event();
    }
    reportAllocations(state, before);
    reportOutput(state, gestures);
}
BENCHMARK(GesturesMoveTwoFingers);

// Baseline: the pointer bookkeeping alone (find the record, shift current to previous, store the
// new position and time), done the obvious way with a standard hash map.
struct Record {
    glm::ivec2 previous{0, 0};
    glm::ivec2 current{0, 0};
    double previousTime = 0.0;
    double currentTime = 0.0;
};

void UnorderedMapMoveTenPointers(benchmark::State& state) {
    std::unordered_map<uint64_t, Record> pointers;
    for (uint64_t id = 0; id < 10; ++id) {
        pointers[0x1000 + id] = Record{};
    }
    double time = 1000.0;
    uint64_t id = 0;
    int step = 0;
    const uint64_t before = allocations.load();
    for (auto _ : state) {
        const uint64_t key = 0x1000 + id;
        benchmark::DoNotOptimize(key);
        auto found = pointers.find(key);
        if (found != pointers.end()) {
            Record& record = found->second;
            record.previous = record.current;
            record.previousTime = record.currentTime;
            record.current = {int(id) * 50 + (step & 7), 100};
            record.currentTime = time;
        }
        benchmark::ClobberMemory();
        id = id == 9 ? 0 : id + 1;
        time += 0.25;
        step = (step + 1) & 63;
    }
    reportAllocations(state, before);
}
BENCHMARK(UnorderedMapMoveTenPointers);

} // namespace
