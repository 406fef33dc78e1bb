#pragma once

#include <cstdint>

namespace Tarn::Bench {

/// Messages per batch of the two-process throughput benchmarks: the peer acknowledges each batch.
inline constexpr uint64_t kPeerBatch = 10000;

} // namespace Tarn::Bench
