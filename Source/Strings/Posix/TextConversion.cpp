#include <Tarn/Strings/TextConversion.h>

#include <cstdint>
#include <cwchar>

// Without the Win32 converters, the conversion is written out here with the same contract: stop at
// the first null, never fail, replace what is ill-formed by U+FFFD.
//
// UTF-8 decoding follows the Unicode "maximal subpart" practice: a lead byte that cannot start a
// sequence, or a well-started sequence that is cut short, becomes one U+FFFD, and decoding resumes
// at the byte that broke it. Overlong forms, UTF-8-encoded surrogates and values above U+10FFFF are
// ruled out by the ranges allowed for the second byte, so they too become U+FFFD per maximal part.
//
// wchar_t holds 32 bits here. widen() writes UTF-16 code units, one per element, so a string has
// the same length and elements as on Windows. narrow() reads UTF-16 (pairs of surrogates combine)
// and also takes any value up to U+10FFFF as a whole code point, so that UTF-32 text from the C
// library converts too. A surrogate that is not part of a pair, and any value above U+10FFFF (or
// negative), becomes U+FFFD.

namespace Tarn {

namespace {

constexpr char32_t Replacement = 0xFFFD;

void appendUtf16(std::wstring& out, char32_t cp) {
    if (cp < 0x10000) {
        out.push_back(static_cast<wchar_t>(cp));
    } else {
        cp -= 0x10000;
        out.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
    }
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        const char bytes[2] = {static_cast<char>(0xC0 | (cp >> 6)), static_cast<char>(0x80 | (cp & 0x3F))};
        out.append(bytes, 2);
    } else if (cp < 0x10000) {
        const char bytes[3] = {static_cast<char>(0xE0 | (cp >> 12)),
                               static_cast<char>(0x80 | ((cp >> 6) & 0x3F)),
                               static_cast<char>(0x80 | (cp & 0x3F))};
        out.append(bytes, 3);
    } else {
        const char bytes[4] = {
            static_cast<char>(0xF0 | (cp >> 18)), static_cast<char>(0x80 | ((cp >> 12) & 0x3F)),
            static_cast<char>(0x80 | ((cp >> 6) & 0x3F)), static_cast<char>(0x80 | (cp & 0x3F))};
        out.append(bytes, 4);
    }
}

bool isContinuation(uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

} // namespace

std::wstring widen(const char* text) {
    std::wstring out;
    if (text == nullptr) {
        return out;
    }
    const auto* s = reinterpret_cast<const uint8_t*>(text);
    while (*s != 0) {
        const uint8_t lead = *s;
        if (lead < 0x80) {
            out.push_back(static_cast<wchar_t>(lead));
            ++s;
            continue;
        }
        // Sequence length and the allowed range of the second byte, by lead byte.
        int length = 0;
        uint8_t low = 0x80;
        uint8_t high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0) {
                low = 0xA0; // shorter forms are overlong
            } else if (lead == 0xED) {
                high = 0x9F; // D800-DFFF are surrogates
            }
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0) {
                low = 0x90;
            } else if (lead == 0xF4) {
                high = 0x8F; // beyond U+10FFFF otherwise
            }
        }
        if (length == 0) {
            out.push_back(static_cast<wchar_t>(Replacement));
            ++s;
            continue;
        }
        char32_t cp = lead & (0xFF >> (length + 1));
        int taken = 1;
        for (; taken < length; ++taken) {
            const uint8_t byte = s[taken]; // the terminator stops this too: it is no continuation
            const bool valid = taken == 1 ? (byte >= low && byte <= high) : isContinuation(byte);
            if (!valid) {
                break;
            }
            cp = (cp << 6) | (byte & 0x3F);
        }
        s += taken;
        appendUtf16(out, taken == length ? cp : Replacement);
    }
    return out;
}

std::string narrow(const wchar_t* text) {
    std::string out;
    if (text == nullptr) {
        return out;
    }
    for (const wchar_t* w = text; *w != 0; ++w) {
        // Read through an unsigned type: wchar_t is signed here, and negative values are invalid.
        const auto unit = static_cast<uint32_t>(*w);
        if (unit < 0x80) {
            out.push_back(static_cast<char>(unit));
            continue;
        }
        char32_t cp = unit;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            const auto next = static_cast<uint32_t>(w[1]);
            if (next >= 0xDC00 && next <= 0xDFFF) {
                cp = 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
                ++w;
            } else {
                cp = Replacement;
            }
        } else if ((unit >= 0xDC00 && unit <= 0xDFFF) || unit > 0x10FFFF) {
            cp = Replacement;
        }
        appendUtf8(out, cp);
    }
    return out;
}

} // namespace Tarn
