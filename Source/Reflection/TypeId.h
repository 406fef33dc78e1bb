#pragma once

#include <cstdint>

namespace Tarn::Reflection {

/// Index of a type in the registry. Ids are dense, so a type lookup is an array access.
using TypeId = uint16_t;

/// "No type": an invalid type, a type without base, a field id that does not exist.
inline constexpr TypeId InvalidTypeId = 0xFFFF;

/// Field ids at or above this value address the base chain: id - FieldIdBaseStep is a field id of
/// the base type, applied recursively (2 * FieldIdBaseStep + k is field k of the base's base).
inline constexpr TypeId FieldIdBaseStep = 1024;

/// Flags attached to a field. The library stores and copies them; their meaning belongs to the code
/// that registers types, which defines its own values (for example `static_cast<FieldFlags>(1)`).
enum class FieldFlags : uint16_t { None = 0 };

/// Combining and testing field flags as bit sets.
///@{
constexpr FieldFlags operator|(FieldFlags a, FieldFlags b) {
    return static_cast<FieldFlags>(static_cast<uint16_t>(a) | static_cast<uint16_t>(b));
}
constexpr FieldFlags operator&(FieldFlags a, FieldFlags b) {
    return static_cast<FieldFlags>(static_cast<uint16_t>(a) & static_cast<uint16_t>(b));
}
constexpr FieldFlags& operator|=(FieldFlags& a, FieldFlags b) {
    return a = a | b;
}
///@}

} // namespace Tarn::Reflection
