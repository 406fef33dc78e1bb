#pragma once

#include <cstdint>

// Every heap allocation of the benchmark program goes through malloc (operator new and the
// library's allocator included), so counting malloc calls counts them all.
namespace Tarn::Bench {

/// malloc calls by every thread since the program started.
uint64_t mallocCalls();
/// malloc calls by the calling thread since it started.
uint64_t threadMallocCalls();

} // namespace Tarn::Bench
