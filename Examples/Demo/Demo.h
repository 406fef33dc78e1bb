#pragma once

#include <Tarn/Memory/Allocator.h>
#include <Tarn/Memory/MemBlockType.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

// The demo program: one section per frame of the application's main loop, each showing one part of
// the library at work and checking what it printed, so that a run that exits 0 has shown a library
// that works.
namespace TarnDemo {

/// An allocator that keeps live, peak and cumulative totals per memory tag, for the containers the
/// demo creates. The library's own heap use goes through the default allocator, which keeps one
/// total for all tags.
class TaggedAllocator : public Tarn::Memory::Allocator {
public:
    struct Totals {
        uint64_t allocations = 0;
        uint64_t liveBytes = 0;
        uint64_t peakBytes = 0;
        uint64_t liveBlocks = 0;
    };

    void* allocate(uint64_t size, uint64_t alignment, Tarn::MemBlockType type) override;
    void deallocate(void* ptr, uint64_t size, Tarn::MemBlockType type) override;
    void changeType(void* ptr, uint64_t size, Tarn::MemBlockType oldType,
                    Tarn::MemBlockType newType) override;
    Totals totals(Tarn::MemBlockType type) const;

private:
    struct Counters {
        std::atomic<uint64_t> allocations{0};
        std::atomic<uint64_t> liveBytes{0};
        std::atomic<uint64_t> peakBytes{0};
        std::atomic<uint64_t> liveBlocks{0};
    };
    void add(Tarn::MemBlockType type, uint64_t size, bool counted);
    void remove(Tarn::MemBlockType type, uint64_t size);
    std::array<Counters, Tarn::MemBlockTypeCount> counters;
};

const char* tagName(Tarn::MemBlockType type);

/// How a section ended. A failed one carries the reason, which the program prints before it exits
/// with status 1.
struct Result {
    enum class Status { Passed, Skipped, Failed };
    Status status = Status::Passed;
    std::string message;

    static Result passed() { return {}; }
    static Result skipped(std::string reason) { return {Status::Skipped, std::move(reason)}; }
    static Result failed(std::string reason) { return {Status::Failed, std::move(reason)}; }
};

/// printf into a std::string.
std::string format(const char* text, ...) __attribute__((format(printf, 1, 2)));

/// The sections, in the order the demo runs them.
Result showLogging(const std::string& level, bool colours);
Result showAdapters(TaggedAllocator& memory);
Result showEcho();
Result showGestures(TaggedAllocator& memory);
Result showGeodesy();
Result showPolygons();
Result showMemory(const TaggedAllocator& memory);

} // namespace TarnDemo
