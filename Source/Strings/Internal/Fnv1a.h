#pragma once

#include <cstdint>

namespace Tarn::Detail {

inline constexpr uint64_t FnvOffsetBasis = 0xCBF29CE484222325ull;
inline constexpr uint64_t FnvPrime = 0x100000001B3ull;

/// One FNV-1a step; `unit` is the byte already extended to 64 bits the way the caller's form wants.
constexpr uint64_t fnvStep(uint64_t hash, uint64_t unit) noexcept {
    return (hash ^ unit) * FnvPrime;
}

/// Sign extension as the character-pointer form and the lower-case hash define it.
constexpr uint64_t signExtend(uint8_t byte) noexcept {
    return static_cast<uint64_t>(static_cast<int64_t>(static_cast<int8_t>(byte)));
}

} // namespace Tarn::Detail
