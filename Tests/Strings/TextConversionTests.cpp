#include <Tarn/Strings/TextConversion.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using Tarn::narrow;
using Tarn::widen;

namespace {

// Wide strings as code-unit values, so one expectation serves 16- and 32-bit wchar_t.
std::vector<uint32_t> units(const std::wstring& text) {
    return std::vector<uint32_t>(text.begin(), text.end());
}

std::wstring wide(std::initializer_list<uint32_t> values) {
    std::wstring out;
    for (const uint32_t v : values) {
        out.push_back(static_cast<wchar_t>(v));
    }
    return out;
}

const uint32_t R = 0xFFFD;
const std::string Fffd = "\xEF\xBF\xBD";

} // namespace

TEST(TextConversion, WellFormedTextRoundTripsUpToTheFirstNull) {
    // "Grüße €" and U+1D11E, a supplementary character that becomes a surrogate pair.
    const std::string utf8 = "Gr\xC3\xBC\xC3\237e \xE2\x82\xAC\xF0\x9D\x84\x9E";
    EXPECT_EQ(units(widen(utf8)),
              (std::vector<uint32_t>{'G', 'r', 0xFC, 0xDF, 'e', ' ', 0x20AC, 0xD834, 0xDD1E}));
    EXPECT_EQ(narrow(widen(utf8)), utf8);
    // Every encoded-length boundary.
    EXPECT_EQ(narrow(wide({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xDBFF, 0xDFFF})),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF");
    if constexpr (sizeof(wchar_t) == 4) { // 32-bit wide characters are taken whole
        EXPECT_EQ(narrow(wide({0x1D11E, 0x10FFFF})), "\xF0\x9D\x84\x9E\xF4\x8F\xBF\xBF");
        EXPECT_EQ(narrow(wide({0x110000, 0xFFFFFFFF})), Fffd + Fffd);
    }
    // Both directions stop at the first null.
    EXPECT_EQ(narrow(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(units(widen(std::string("ab\0cd", 5))), (std::vector<uint32_t>{'a', 'b'}));
    EXPECT_TRUE(widen(std::string("\0abc", 4)).empty());
    EXPECT_EQ(narrow(static_cast<const wchar_t*>(nullptr)), "");
    EXPECT_TRUE(widen(static_cast<const char*>(nullptr)).empty());
}

TEST(TextConversion, IllFormedInputBecomesReplacementCharacters) {
    const std::pair<const char*, std::vector<uint32_t>> cases[] = {
        {"a\377b", {'a', R, 'b'}},   // never a lead byte
        {"a\200b", {'a', R, 'b'}},   // stray continuation
        {"a\xC3", {'a', R}},         // cut short by the terminator
        {"\xE2\x82x", {R, 'x'}},     // cut short inside: one replacement
        {"\xC0\xAF", {R, R}},        // overlong '/': C0 never starts a sequence
        {"\360\235\204A", {R, 'A'}}, // four-byte form missing its last byte
    };
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(units(widen(input)), expected) << ::testing::PrintToString(input);
    }
    EXPECT_EQ(narrow(wide({'a', 0xD800, 'b'})), "a" + Fffd + "b");
    EXPECT_EQ(narrow(wide({0xDC00, 0xD800})), Fffd + Fffd); // a reversed pair
    EXPECT_EQ(narrow(wide({'a', 0xDC00})), "a" + Fffd);
    // Overlong, surrogate and beyond-U+10FFFF forms behind a valid-looking lead. Every byte is
    // replaced, but converters split them differently: ours replaces each maximal subpart (every
    // byte alone here); the Windows converter, as observed under Wine, takes the lead and the
    // forbidden second byte as one unit.
    for (const std::string input : {"\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        const std::size_t replaced = sizeof(wchar_t) == 4 ? input.size() : input.size() - 1;
        std::vector<uint32_t> expected(replaced, R);
        expected.push_back('z');
        EXPECT_EQ(units(widen(input + "z")), expected) << ::testing::PrintToString(input);
    }
}
