#include <Tarn/Input/Key.h>

#include <array>

namespace Tarn {

namespace {

// Indexed by Key. The reverse table is derived from this one at compile time, so the two
// directions cannot drift apart.
constexpr std::array<uint8_t, KeyCount> VirtualKeys = {
    65,  66,  67,  68,  69,  70,  71,  72,  73,  74,  75,  76,  77, 78, 79, 80, 81, 82, 83, 84, 85, // A-U
    86,  87,  88,  89,  90,                                                                         // V-Z
    48,  49,  50,  51,  52,  53,  54,  55,  56,  57,                                                // 0-9
    37,  39,  38,  40,                                          // Left, Right, Up, Down
    16,  160, 161, 17,  162, 163, 18,  164, 165,                // Shift, Control, Alt
    20,  9,   27,  13,  32,  45,  46,  8,   36,  35,  33,  34,  // CapsLock .. PageDown
    112, 113, 114, 115, 116, 117, 118, 119, 120, 121, 122, 123, // F1-F12
};

constexpr uint8_t NoKey = 0xFF;

constexpr std::array<uint8_t, 256> makeKeyTable() {
    std::array<uint8_t, 256> table{};
    for (auto& entry : table) {
        entry = NoKey;
    }
    for (uint32_t key = 0; key < KeyCount; ++key) {
        table[VirtualKeys[key]] = static_cast<uint8_t>(key);
    }
    return table;
}

constexpr std::array<uint8_t, 256> KeyTable = makeKeyTable();

static_assert(KeyTable[65] == static_cast<uint8_t>(Key::A));
static_assert(KeyTable[57] == static_cast<uint8_t>(Key::Key9));
static_assert(KeyTable[165] == static_cast<uint8_t>(Key::RightAlt));
static_assert(KeyTable[123] == static_cast<uint8_t>(Key::F12) &&
              static_cast<uint32_t>(Key::F12) == KeyCount - 1);

} // namespace

std::optional<Key> keyFromVirtualKey(uint32_t virtualKey) {
    if (virtualKey >= KeyTable.size() || KeyTable[virtualKey] == NoKey) {
        return std::nullopt;
    }
    return static_cast<Key>(KeyTable[virtualKey]);
}

uint32_t virtualKeyFromKey(Key key) {
    const auto index = static_cast<uint32_t>(key);
    return index < KeyCount ? VirtualKeys[index] : 0;
}

} // namespace Tarn
