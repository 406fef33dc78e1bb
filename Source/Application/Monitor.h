#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Strings/StringView.h>

#include <glm/vec2.hpp>

#include <cstdint>
#include <string>

#if defined(_WIN32)
struct HMONITOR__; // what HMONITOR points to
struct HDC__;      // what HDC points to
struct tagRECT;    // RECT
#endif

namespace Tarn {

/// One display monitor, and the module-wide table of them.
///
/// The table is empty until the first `enumerate`, which fills it from the platform's monitor
/// enumeration in its order; each later `enumerate` rebuilds it from scratch, so references and
/// pointers returned before become invalid. Positions are in virtual-screen coordinates (the
/// primary monitor's top-left is the origin; others may lie at negative coordinates).
///
/// On Linux the entries are the RandR monitors, named after their outputs ("DP-1"), identified by
/// the name's atom; without a display the table stays empty.
///
/// Not synchronised: enumerate and look up on one thread (the window thread).
class TARN_API Monitor {
public:
    /// The platform's handle of a monitor: HMONITOR on Windows.
    ///@{
#if defined(_WIN32)
    using Identifier = ::HMONITOR__*;
#else
    using Identifier = void*;
#endif
    ///@}

    /// Entries are plain values; a default one has no identifier, no name and zero extent.
    ///@{
    Monitor() = default;
    Monitor(const Monitor&) = default;
    Monitor(Monitor&&) noexcept = default;
    Monitor& operator=(const Monitor&) = default;
    Monitor& operator=(Monitor&&) noexcept = default;
    ///@}
    ~Monitor() = default;

    /// Empties the table, then appends one entry per monitor that the platform reports.
    static void enumerate();
    /// Number of entries.
    static uint64_t getCount();
    /// The entry at `index`, which must be below `getCount()` (not checked).
    static const Monitor& get(uint64_t index);
    /// The first entry whose name equals `name` exactly (bytes and length, case-sensitive), or null.
    static const Monitor* findByName(StringView name);
    /// The first entry with left <= x < left + width and top <= y < top + height, or null: a point
    /// on a right or bottom edge belongs to the neighbour there, if any.
    static const Monitor* findFromPoint(const glm::ivec2& point);

    /// (position.x + size.x / 2, position.y + size.y / 2), the halves truncated toward zero.
    glm::ivec2 getCentre() const;
    /// The top-left corner in virtual-screen coordinates, and the width and height, in pixels.
    ///@{
    glm::ivec2 getPosition() const {
        return position;
    }
    glm::ivec2 getSize() const {
        return size;
    }
    ///@}
    /// The platform's device name (UTF-8), for example "\\.\DISPLAY1" on Windows.
    const std::string& getName() const {
        return name;
    }
    /// The platform's handle, for calls the library does not wrap.
    Identifier getIdentifier() const {
        return identifier;
    }

private:
#if defined(_WIN32)
    /// The enumeration's callback: appends one entry and continues (MONITORENUMPROC).
    static int __stdcall callback(::HMONITOR__* monitor, ::HDC__* deviceContext, ::tagRECT* rectangle,
                                  long long userValue);
#endif

    Identifier identifier = nullptr;
    std::string name;
    glm::ivec2 position{0, 0};
    glm::ivec2 size{0, 0};
};

} // namespace Tarn
