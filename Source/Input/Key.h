#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstdint>
#include <optional>

namespace Tarn {

// clang-format off
/// The keys the library reports, numbered densely from 0 so that per-key state is a plain array.
/// Keys outside this set are not reported at all.
enum class Key : uint32_t {
    A, B, C, D, E, F, G, H, I, J, K, L, M, N, O, P, Q, R, S, T, U, V, W, X, Y, Z,   // 0-25
    Key0, Key1, Key2, Key3, Key4, Key5, Key6, Key7, Key8, Key9,                     // 26-35
    Left, Right, Up, Down,                                                          // 36-39
    Shift, LeftShift, RightShift, Control, LeftControl, RightControl,               // 40-45
    Alt, LeftAlt, RightAlt,                                                         // 46-48
    CapsLock, Tab, Escape, Enter, Space, Insert, Delete, Backspace,                 // 49-56
    Home, End, PageUp, PageDown,                                                    // 57-60
    F1, F2, F3, F4, F5, F6, F7, F8, F9, F10, F11, F12,                              // 61-72
};
// clang-format on

/// Number of `Key` values; every value is below it.
inline constexpr uint32_t KeyCount = 73;

/// The key a platform virtual-key code stands for (the Windows VK_ numbering, which the window
/// delivers), or nothing when the library does not report that key.
TARN_API std::optional<Key> keyFromVirtualKey(uint32_t virtualKey);

/// The virtual-key code that `keyFromVirtualKey` maps to `key`; 0 for a value outside the enumeration.
TARN_API uint32_t virtualKeyFromKey(Key key);

} // namespace Tarn
