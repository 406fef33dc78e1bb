#pragma once

#include <Tarn/Collections/SmallVector.h>
#include <Tarn/Foundation/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Tarn {

/// A non-owning slice of 8-bit text: a pointer and a length, never null-terminated by contract.
///
/// The view never owns, frees or writes its characters; whoever made it keeps them alive. The
/// pointer may be null only when the length is 0. Positions and sizes are unsigned 64-bit and every
/// search that finds nothing returns NoPosition. Out-of-range positions give NoPosition or an empty
/// view, never a fault; only operator[] is unchecked. Nothing here allocates except to_string() and
/// a split() into more than 10 pieces.
class TARN_API StringView {
public:
    /// "Not found" from the searches, and "to the end" as a count or position argument.
    static constexpr uint64_t NoPosition = 0xFFFFFFFFFFFFFFFFull;

    /// The pieces of split(): ten fit inline, more spill to Allocator::overflowAllocator().
    using Pieces = Collections::SmallVector<StringView, 10>;

    /// The empty view, with a null pointer.
    constexpr StringView() noexcept = default;
    /// Views the characters before the terminator; a null pointer gives an empty view.
    constexpr StringView(const char* text) noexcept
        : data_(text), size_(text ? std::char_traits<char>::length(text) : 0) {}
    /// Takes both as given.
    constexpr StringView(const char* data, uint64_t size) noexcept : data_(data), size_(size) {}
    /// Views the string's characters; the string must outlive the view.
    StringView(const std::string& text) noexcept : data_(text.data()), size_(text.size()) {}
    /// The same pointer and length as the standard view.
    constexpr StringView(std::string_view text) noexcept : data_(text.data()), size_(text.size()) {}

    /// A new string holding a copy of the characters.
    ///@{
    std::string to_string() const { return empty() ? std::string() : std::string(data_, size_); }
    explicit operator std::string() const { return to_string(); }
    ///@}
    /// The same pointer and length as a standard view.
    ///@{
    constexpr std::string_view to_string_view() const noexcept { return {data_, size_}; }
    constexpr operator std::string_view() const noexcept { return {data_, size_}; }
    ///@}

    /// Whether the view has characters, and how many (size and length are the same).
    ///@{
    constexpr explicit operator bool() const noexcept { return size_ != 0; }
    constexpr bool empty() const noexcept { return size_ == 0; }
    constexpr uint64_t size() const noexcept { return size_; }
    constexpr uint64_t length() const noexcept { return size_; }
    ///@}

    /// The characters as a range; not null-terminated, and null for some empty views.
    ///@{
    constexpr const char* data() const noexcept { return data_; }
    constexpr const char* begin() const noexcept { return data_; }
    constexpr const char* cbegin() const noexcept { return data_; }
    constexpr const char* end() const noexcept { return data_ + size_; }
    constexpr const char* cend() const noexcept { return data_ + size_; }
    ///@}

    /// The character at `index`; no bounds check.
    constexpr char operator[](uint64_t index) const noexcept { return data_[index]; }

    /// Equal sizes and equal bytes; two empty views are equal whatever their pointers.
    ///@{
    bool operator==(const StringView& other) const noexcept {
        return size_ == other.size_ && compareMemory(data_, other.data_, size_) == 0;
    }
    bool operator!=(const StringView& other) const noexcept { return !(*this == other); }
    ///@}

    /// Mixed comparisons, by bytes as above, spelled out because the view converts both ways with
    /// the standard types and either conversion would otherwise make them ambiguous. A null
    /// `const char*` compares as the empty text.
    ///@{
    friend bool operator==(const StringView& a, std::string_view b) noexcept { return a == StringView(b); }
    friend bool operator==(const StringView& a, const std::string& b) noexcept { return a == StringView(b); }
    friend bool operator==(const StringView& a, const char* b) noexcept { return a == StringView(b); }
    ///@}

    /// Orders by unsigned bytes over the common prefix, then by length. A difference in the prefix
    /// returns the byte comparison's own nonzero result (only its sign means anything); an equal
    /// prefix gives -1 when this view is shorter, 1 when longer, 0 when the sizes are equal.
    int compare(const StringView& other) const noexcept;

    /// The first index >= pos where `needle` occurs whole, or NoPosition. An empty needle is found
    /// at pos while pos < size(), and not at all when pos == size().
    uint64_t find(const StringView& needle, uint64_t pos = 0) const noexcept;
    /// The first index >= pos holding `character`, or NoPosition.
    uint64_t find_first_of(char character, uint64_t pos = 0) const noexcept;
    /// The last index <= pos holding `character`; pos at or past the end searches the whole view.
    uint64_t find_last_of(char character, uint64_t pos = NoPosition) const noexcept;
    /// The last index <= pos holding any character of `set`; an empty set never matches.
    uint64_t find_last_of(const StringView& set, uint64_t pos = NoPosition) const noexcept;

    /// The view of up to `count` characters from `pos`; empty with a null pointer when pos >= size().
    StringView substr(uint64_t pos, uint64_t count = NoPosition) const noexcept {
        if (pos >= size_) {
            return StringView();
        }
        const uint64_t rest = size_ - pos;
        return StringView(data_ + pos, count < rest ? count : rest);
    }

    /// Drops leading whitespace (space, tab, line feed, carriage return) in place.
    StringView& trimStart() noexcept {
        while (size_ != 0 && isWhiteSpace(data_[0])) {
            ++data_;
            --size_;
        }
        return *this;
    }
    /// Drops trailing whitespace in place.
    StringView& trimEnd() noexcept {
        while (size_ != 0 && isWhiteSpace(data_[size_ - 1])) {
            --size_;
        }
        return *this;
    }
    /// trimStart(), then trimEnd().
    StringView& trim() noexcept { return trimStart().trimEnd(); }

    /// The non-empty runs between any of the characters of `separators`, in order, pointing into
    /// this view's characters. An empty separator set yields the whole (non-empty) view.
    Pieces split(const StringView& separators) const;

    /// 64-bit FNV-1a over the bytes, zero-extended; equals fnv1a(bytes, size).
    uint64_t hash() const noexcept;
    /// 64-bit FNV-1a over the bytes with A-Z mapped to a-z, each byte sign-extended. Differs from
    /// hash() for any text holding a byte >= 0x80; stored hashes depend on that difference.
    uint64_t hashLowercase() const noexcept;

private:
    static int compareMemory(const char* a, const char* b, uint64_t n) noexcept;

    /// Space, tab, line feed and carriage return; vertical tab and form feed are not whitespace.
    static constexpr bool isWhiteSpace(char character) noexcept {
        const auto c = static_cast<unsigned char>(character);
        return c <= 32 && ((0x100002600ull >> c) & 1u) != 0;
    }

    const char* data_ = nullptr;
    uint64_t size_ = 0;
};

} // namespace Tarn
