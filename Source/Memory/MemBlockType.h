#pragma once

#include <cstddef>
#include <cstdint>

namespace Tarn {

/// What a heap block is for. Every owning container passes its tag with each allocation, release
/// and retagging, so an allocator can keep one total per tag: the values are dense from 0 to
/// Count - 1 and an array of Count totals indexed by the tag covers them all.
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
    Count ///< Number of tags; not a tag itself.
};

/// Number of distinct tags, for per-tag accounting tables.
inline constexpr std::size_t MemBlockTypeCount = static_cast<std::size_t>(MemBlockType::Count);

/// The tag used when none is given.
inline constexpr MemBlockType DefaultMemBlockType = MemBlockType::Buffer;

} // namespace Tarn
