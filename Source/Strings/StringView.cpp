#include <Tarn/Strings/Hash.h>
#include <Tarn/Strings/StringView.h>

#include "Internal/Fnv1a.h"

#include <cstring>

namespace Tarn {

// A client takes the constant from the DLL when it needs its address (binding it to a reference,
// as std::min does), so the library must define it for the export table to carry it.
constexpr uint64_t StringView::NoPosition;

int StringView::compareMemory(const char* a, const char* b, uint64_t n) noexcept {
    // memcmp must not see a null pointer, even for zero bytes, and empty views may carry one.
    return n == 0 ? 0 : std::memcmp(a, b, static_cast<size_t>(n));
}

int StringView::compare(const StringView& other) const noexcept {
    const uint64_t common = size_ < other.size_ ? size_ : other.size_;
    if (const int result = compareMemory(data_, other.data_, common); result != 0) {
        return result;
    }
    if (size_ == other.size_) {
        return 0;
    }
    return size_ < other.size_ ? -1 : 1;
}

uint64_t StringView::find(const StringView& needle, uint64_t pos) const noexcept {
    if (pos > size_ || needle.size_ > size_ - pos) {
        return NoPosition;
    }
    if (needle.size_ == 0) {
        // An empty match at the very end counts as no match.
        return pos < size_ ? pos : NoPosition;
    }

    // Candidates are the occurrences of the needle's first byte, found by memchr (which scans
    // many bytes per instruction); each is confirmed by the last byte and then a full compare.
    const char first = needle.data_[0];
    const char last = needle.data_[needle.size_ - 1];
    const uint64_t lastStart = size_ - needle.size_;
    const char* const base = data_;
    const char* cursor = base + pos;
    const char* const stop = base + lastStart + 1; // one past the last possible start
    while (cursor < stop) {
        const void* hit = std::memchr(cursor, first, static_cast<size_t>(stop - cursor));
        if (hit == nullptr) {
            return NoPosition;
        }
        const char* candidate = static_cast<const char*>(hit);
        if (candidate[needle.size_ - 1] == last &&
            compareMemory(candidate + 1, needle.data_ + 1, needle.size_ - 1) == 0) {
            return static_cast<uint64_t>(candidate - base);
        }
        cursor = candidate + 1;
    }
    return NoPosition;
}

uint64_t StringView::find_first_of(char character, uint64_t pos) const noexcept {
    if (pos >= size_) {
        return NoPosition;
    }
    const void* hit = std::memchr(data_ + pos, character, static_cast<size_t>(size_ - pos));
    return hit == nullptr ? NoPosition : static_cast<uint64_t>(static_cast<const char*>(hit) - data_);
}

uint64_t StringView::find_last_of(char character, uint64_t pos) const noexcept {
    const uint64_t count = pos < size_ ? pos + 1 : size_;
    for (uint64_t i = count; i != 0; --i) {
        if (data_[i - 1] == character) {
            return i - 1;
        }
    }
    return NoPosition;
}

uint64_t StringView::find_last_of(const StringView& set, uint64_t pos) const noexcept {
    if (set.size_ == 0) {
        return NoPosition;
    }
    // A 256-bit membership table turns each probe into one lookup whatever the set's size.
    uint64_t members[4] = {0, 0, 0, 0};
    for (const char c : set) {
        const auto byte = static_cast<unsigned char>(c);
        members[byte >> 6] |= uint64_t{1} << (byte & 63);
    }
    const uint64_t count = pos < size_ ? pos + 1 : size_;
    for (uint64_t i = count; i != 0; --i) {
        const auto byte = static_cast<unsigned char>(data_[i - 1]);
        if ((members[byte >> 6] >> (byte & 63)) & 1u) {
            return i - 1;
        }
    }
    return NoPosition;
}

StringView::Pieces StringView::split(const StringView& separators) const {
    Pieces pieces(Memory::Allocator::overflowAllocator());
    if (size_ == 0) {
        return pieces;
    }
    bool isSeparator[256] = {};
    for (const char c : separators) {
        isSeparator[static_cast<unsigned char>(c)] = true;
    }
    uint64_t i = 0;
    while (i < size_) {
        while (i < size_ && isSeparator[static_cast<unsigned char>(data_[i])]) {
            ++i;
        }
        const uint64_t start = i;
        while (i < size_ && !isSeparator[static_cast<unsigned char>(data_[i])]) {
            ++i;
        }
        if (i > start) {
            pieces.push_back(StringView(data_ + start, i - start));
        }
    }
    return pieces;
}

uint64_t StringView::hash() const noexcept {
    return fnv1a(reinterpret_cast<const uint8_t*>(data_), size_);
}

uint64_t StringView::hashLowercase() const noexcept {
    uint64_t hash = Detail::FnvOffsetBasis;
    for (uint64_t i = 0; i < size_; ++i) {
        auto byte = static_cast<uint8_t>(data_[i]);
        if (byte >= 'A' && byte <= 'Z') {
            byte = static_cast<uint8_t>(byte + 32);
        }
        hash = Detail::fnvStep(hash, Detail::signExtend(byte));
    }
    return hash;
}

} // namespace Tarn
