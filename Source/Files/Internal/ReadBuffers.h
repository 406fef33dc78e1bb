#pragma once

#include <Tarn/Memory/MemoryBuffer.h>

#include <cstdint>

namespace Tarn::IO::Detail {

/// Storage for whole-file contents.
///
/// Fresh memory is expensive to fill: the system must find, zero and map every page before the copy
/// from the file can land in it, and for a large file that costs as much as the copy itself. So the
/// most recently released large contents buffer (`RetainedMinimum` bytes or more) is kept, its pages
/// handed back to the system lazily (the system takes them only when it runs short, see
/// `discardPages`), and the next read that fits it without wasting more than a quarter of it gets
/// it back with its pages still in place. A read that cannot use it frees it first. Where the system
/// cannot take pages back lazily, nothing is kept.
///
/// The kept buffer still counts as allocated from the default allocator (under the contents' memory
/// tag) until it is reused or freed.
constexpr uint64_t RetainedMinimum = uint64_t(16) << 20;

/// A buffer of exactly `size` bytes of undefined contents from the default allocator, ready to be
/// filled front to back.
Memory::MemoryBuffer acquireContentsBuffer(uint64_t size);

/// Takes over `buffer`'s storage if it is worth keeping for the next read; otherwise leaves it.
void releaseContentsBuffer(Memory::MemoryBuffer& buffer);

} // namespace Tarn::IO::Detail
