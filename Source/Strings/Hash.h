#pragma once

#include <Tarn/Foundation/Export.h>

#include <cstdint>

namespace Tarn {

/// 64-bit FNV-1a over the characters before the terminator, each character sign-extended from 8 to
/// 64 bits before it is combined. A null pointer hashes like the empty string (the offset basis).
TARN_API uint64_t fnv1a(const char* text) noexcept;

/// 64-bit FNV-1a over exactly `length` bytes, each zero-extended. Agrees with the character form
/// for ASCII text only: bytes >= 0x80 are extended differently.
TARN_API uint64_t fnv1a(const uint8_t* bytes, uint64_t length) noexcept;

/// 64-bit MurmurHash64A of `length` bytes with seed 0 (blocks read little-endian).
TARN_API uint64_t murmur2(const uint8_t* bytes, uint64_t length) noexcept;

} // namespace Tarn
