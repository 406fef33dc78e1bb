// UTF-8 <-> UTF-16 conversion on arbitrary bytes, against a reference decoder written from the
// maximal-subpart rule rather than from the converter's lead-byte table: a sequence prefix is
// accepted while some completion of it can still encode a scalar value at that length.

#include "FuzzCheck.h"

#include <Tarn/Strings/TextConversion.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

constexpr char32_t Replacement = 0xFFFD;

// Whether the payload bits fixed so far (`bits`, `known` of `total` bits) leave room for a scalar
// value that needs exactly `length` bytes.
bool prefixCanComplete(uint32_t bits, int known, int total, int length) {
    const uint32_t lo = bits << (total - known);
    const uint32_t hi = lo | ((1u << (total - known)) - 1u);
    const uint32_t minimum[5] = {0, 0, 0x80, 0x800, 0x10000};
    const uint32_t maximum[5] = {0, 0x7F, 0x7FF, 0xFFFF, 0x10FFFF};
    const auto overlaps = [&](uint32_t a, uint32_t b) { return lo <= b && hi >= a; };
    if (length == 3) {
        return overlaps(0x800, 0xD7FF) || overlaps(0xE000, 0xFFFF);
    }
    return overlaps(minimum[length], maximum[length]);
}

std::u32string referenceDecode(const std::string& bytes, bool& wellFormed) {
    std::u32string out;
    wellFormed = true;
    std::size_t i = 0;
    const std::size_t end = bytes.find('\0') == std::string::npos ? bytes.size() : bytes.find('\0');
    while (i < end) {
        const auto lead = static_cast<uint8_t>(bytes[i]);
        int length = 0;
        if (lead < 0x80) {
            length = 1;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
        }
        if (length == 1) {
            out.push_back(lead);
            ++i;
            continue;
        }
        const int total = length == 2 ? 11 : length == 3 ? 16 : 21;
        int known = 7 - length;
        uint32_t bits = length == 0 ? 0 : lead & (0x7Fu >> length);
        int taken = 0;
        if (length != 0 && prefixCanComplete(bits, known, total, length)) {
            taken = 1;
            while (taken < length && i + taken < end) {
                const auto next = static_cast<uint8_t>(bytes[i + taken]);
                if ((next & 0xC0) != 0x80 ||
                    !prefixCanComplete((bits << 6) | (next & 0x3F), known + 6, total, length)) {
                    break;
                }
                bits = (bits << 6) | (next & 0x3F);
                known += 6;
                ++taken;
            }
        }
        if (length != 0 && taken == length) {
            out.push_back(bits);
            i += static_cast<std::size_t>(length);
        } else {
            out.push_back(Replacement);
            wellFormed = false;
            i += taken == 0 ? 1 : static_cast<std::size_t>(taken);
        }
    }
    return out;
}

std::wstring toUtf16(const std::u32string& text) {
    std::wstring out;
    for (char32_t c : text) {
        if (c >= 0x10000) {
            out.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            out.push_back(static_cast<wchar_t>(c));
        }
    }
    return out;
}

std::string toUtf8(const std::u32string& text) {
    std::string out;
    for (char32_t c : text) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// Wide input as code points: a high surrogate directly followed by a low one is one character,
// every other surrogate, negative value or value above U+10FFFF is replaced.
std::u32string referenceWide(const std::wstring& text, bool& wellFormed) {
    std::u32string out;
    wellFormed = true;
    for (std::size_t i = 0; i < text.size() && text[i] != 0; ++i) {
        const auto unit = static_cast<uint32_t>(text[i]);
        const bool high = unit >= 0xD800 && unit <= 0xDBFF;
        const bool low = unit >= 0xDC00 && unit <= 0xDFFF;
        if (high && i + 1 < text.size()) {
            const auto next = static_cast<uint32_t>(text[i + 1]);
            if (next >= 0xDC00 && next <= 0xDFFF) {
                out.push_back(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
                ++i;
                continue;
            }
        }
        if (high || low || unit > 0x10FFFF) {
            out.push_back(Replacement);
            wellFormed = false;
        } else {
            out.push_back(unit);
        }
    }
    return out;
}

void checkWide(const std::wstring& wide) {
    bool wellFormed = false;
    const std::u32string expected = referenceWide(wide, wellFormed);
    const std::string narrowed = Tarn::narrow(wide);
    TARN_FUZZ_CHECK(narrowed == toUtf8(expected));
    TARN_FUZZ_CHECK(Tarn::narrow(wide.c_str()) == narrowed);
    if (wellFormed) {
        // Well-formed wide text comes back as UTF-16 code units, whatever width it went in with.
        TARN_FUZZ_CHECK(Tarn::widen(narrowed) == toUtf16(expected));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool once = (Tarn::Fuzz::failOnAssertion(), true);
    (void)once;

    // The bytes as UTF-8.
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    bool wellFormed = false;
    const std::u32string characters = referenceDecode(bytes, wellFormed);
    const std::wstring wide = Tarn::widen(bytes);
    TARN_FUZZ_CHECK(wide == toUtf16(characters));
    TARN_FUZZ_CHECK(Tarn::widen(bytes.c_str()) == wide);
    if (wellFormed) {
        TARN_FUZZ_CHECK(Tarn::narrow(wide) == bytes.substr(0, bytes.find('\0')));
    } else {
        TARN_FUZZ_CHECK(Tarn::narrow(wide).find("\xEF\xBF\xBD") != std::string::npos);
    }

    // The bytes as 16-bit units (what Windows holds) and as 32-bit values (what the C library
    // holds on Linux), little-endian.
    std::wstring units;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        units.push_back(static_cast<wchar_t>(data[i] | data[i + 1] << 8));
    }
    checkWide(units);
    std::wstring values;
    for (std::size_t i = 0; i + 3 < size; i += 4) {
        uint32_t value;
        std::memcpy(&value, data + i, 4);
        values.push_back(static_cast<wchar_t>(value));
    }
    checkWide(values);

    TARN_FUZZ_CHECK(Tarn::narrow(static_cast<const wchar_t*>(nullptr)).empty());
    TARN_FUZZ_CHECK(Tarn::widen(static_cast<const char*>(nullptr)).empty());
    return 0;
}
