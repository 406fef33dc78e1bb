#pragma once

#include <cmath>
#include <cstdint>

namespace Tarn::ComponentModel::Internal {

/// The capacity after one growth step: x 1.55, rounded to nearest with halves away from zero
/// (10 -> 16, 1 -> 2, 0 stays 0), clamped to the largest 32-bit capacity.
inline uint32_t grownCapacity(uint32_t capacity) {
    const double grown = std::round(static_cast<double>(capacity) * 1.55);
    return grown >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<uint32_t>(grown);
}

} // namespace Tarn::ComponentModel::Internal
