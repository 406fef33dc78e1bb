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
    const uint8_t* block = bytes;
    const uint8_t* const blocksEnd = bytes + 8 * blocks;
    // Two blocks per turn: the mixing of a block's k is independent of h, so only the xor and the
    // multiply into h form the critical chain; halving the loop overhead keeps the multiplier
    // free for the k computations that overlap with it.
    for (; blocksEnd - block >= 16; block += 16) {
        uint64_t k0 = loadLittleEndian64(block);
        uint64_t k1 = loadLittleEndian64(block + 8);
        k0 *= m;
        k1 *= m;
        k0 ^= k0 >> r;
        k1 ^= k1 >> r;
        k0 *= m;
        k1 *= m;
        h ^= k0;
        h *= m;
        h ^= k1;
        h *= m;
    }
    if (block != blocksEnd) {
        uint64_t k = loadLittleEndian64(block);
        k *= m;
        k ^= k >> r;
        k *= m;
        h ^= k;
        h *= m;
    }

    const uint64_t rest = length & 7;
    if (rest != 0) {
        // The last 1 to 7 bytes as a little-endian number. With a whole block before them, one
        // load of the final eight bytes shifted down replaces the byte-by-byte assembly.
        uint64_t t = 0;
        if (blocks != 0) {
            t = loadLittleEndian64(bytes + length - 8) >> (64 - 8 * rest);
        } else {
            for (uint64_t i = rest; i-- > 0;) {
                t = (t << 8) | bytes[i];
            }
        }
        h ^= t;
        h *= m;
    }

    h ^= h >> r;
    h *= m;
    h ^= h >> r;
    return h;
}

} // namespace Tarn
