#pragma once

#include <cstddef>
#include <cstdint>

namespace Tarn {

/// What a heap block is for. Every owning container passes its tag with each allocation, release
/// and retagging, so an allocator can keep one total per tag. The library uses the named values
/// below `FirstApplicationTag`; every value from there to 255 is the application's to give.
enum class MemBlockType : uint8_t {
    Unknown = 0,
    Buffer = 1, ///< Default tag of a byte buffer, and the tag a moved-from buffer returns to.
    Pool,
    Component,
    ComponentData,
    Reflection,
    String,
    Collection,
    Logging,
    File,
    Network,
    Message,
    Geometry,
    Platform,
    Input,
    Application,
    FirstApplicationTag ///< The first value the library never uses itself.
};

/// Number of distinct tag values, applications' own included: an array of this many totals indexed
/// by the tag covers every block an allocator can be given.
inline constexpr std::size_t MemBlockTypeCount = std::size_t{1} << (8 * sizeof(MemBlockType));

/// The tag used when none is given.
inline constexpr MemBlockType DefaultMemBlockType = MemBlockType::Buffer;

} // namespace Tarn
