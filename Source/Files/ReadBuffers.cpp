#include "Files/Internal/ReadBuffers.h"

#include "Files/Internal/FileSystem.h"

#include <mutex>
#include <utility>

namespace Tarn::IO::Detail {
namespace {

struct KeptBuffer {
    std::mutex mutex;
    Memory::MemoryBuffer buffer;
};

// Never destroyed: contents may be released by static destructors at exit, after this file's own
// statics would have gone. The kept buffer is therefore still reachable at exit, not leaked.
KeptBuffer& kept() {
    static auto* instance = new KeptBuffer();
    return *instance;
}

} // namespace

Memory::MemoryBuffer acquireContentsBuffer(uint64_t size) {
    if (size >= RetainedMinimum) {
        Memory::MemoryBuffer candidate;
        {
            std::lock_guard lock(kept().mutex);
            candidate = std::move(kept().buffer);
        }
        const uint64_t capacity = candidate.getCapacity();
        if (capacity >= size && capacity - size <= size / 4 &&
            candidate.getAllocator() == Memory::Allocator::defaultAllocator()) {
            candidate.resize(size, false);
            candidate.seek(0);
            return candidate;
        }
        // Otherwise the candidate is freed here, before the new buffer is allocated.
    }
    Memory::MemoryBuffer fresh(size);
    prepareForFill(fresh.data(), size);
    return fresh;
}

void releaseContentsBuffer(Memory::MemoryBuffer& buffer) {
    if (buffer.getCapacity() < RetainedMinimum || !discardPages(buffer.data(), buffer.getCapacity())) {
        return;
    }
    Memory::MemoryBuffer previous;
    {
        std::lock_guard lock(kept().mutex);
        previous = std::exchange(kept().buffer, std::move(buffer));
    }
}

} // namespace Tarn::IO::Detail
