#include <Tarn/Strings/Hash.h>

#include "Internal/Fnv1a.h"

#include <cstring>

namespace Tarn {

using Detail::FnvOffsetBasis;
using Detail::fnvStep;
using Detail::signExtend;

uint64_t fnv1a(const char* text) noexcept {
    uint64_t hash = FnvOffsetBasis;
    if (text == nullptr) {
        return hash;
    }
    for (; *text != '\0'; ++text) {
        hash = fnvStep(hash, signExtend(static_cast<uint8_t>(*text)));
    }
    return hash;
}

uint64_t fnv1a(const uint8_t* bytes, uint64_t length) noexcept {
    // The loop is one xor and one multiply per byte on a single dependency chain; nothing can be
    // overlapped, so it is left plain for the compiler.
    uint64_t hash = FnvOffsetBasis;
    for (uint64_t i = 0; i < length; ++i) {
        hash = fnvStep(hash, bytes[i]);
    }
    return hash;
}

namespace {

inline uint64_t loadLittleEndian64(const uint8_t* bytes) noexcept {
    uint64_t value;
    std::memcpy(&value, bytes, sizeof(value));
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    value = __builtin_bswap64(value);
#endif
    return value;
}

} // namespace

uint64_t murmur2(const uint8_t* bytes, uint64_t length) noexcept {
    constexpr uint64_t m = 0xC6A4A7935BD1E995ull;
    constexpr int r = 47;

    uint64_t h = length * m; // the seed is 0, so the seed term vanishes
    const uint64_t blocks = length / 8;
    for (uint64_t i = 0; i < blocks; ++i) {
        uint64_t k = loadLittleEndian64(bytes + 8 * i);
        k *= m;
        k ^= k >> r;
        k *= m;
        h ^= k;
        h *= m;
    }

    const uint8_t* tail = bytes + 8 * blocks;
    switch (length & 7) {
    case 7:
        h ^= static_cast<uint64_t>(tail[6]) << 48;
        [[fallthrough]];
    case 6:
        h ^= static_cast<uint64_t>(tail[5]) << 40;
        [[fallthrough]];
    case 5:
        h ^= static_cast<uint64_t>(tail[4]) << 32;
        [[fallthrough]];
    case 4:
        h ^= static_cast<uint64_t>(tail[3]) << 24;
        [[fallthrough]];
    case 3:
        h ^= static_cast<uint64_t>(tail[2]) << 16;
        [[fallthrough]];
    case 2:
        h ^= static_cast<uint64_t>(tail[1]) << 8;
        [[fallthrough]];
    case 1:
        h ^= static_cast<uint64_t>(tail[0]);
        h *= m;
        break;
    default:
        break;
    }

    h ^= h >> r;
    h *= m;
    h ^= h >> r;
    return h;
}

} // namespace Tarn
