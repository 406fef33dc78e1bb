#include <Tarn/Strings/TextConversion.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using Tarn::narrow;
using Tarn::widen;

namespace {

// Wide strings compared as code-unit values, so one expectation serves 16- and 32-bit wchar_t.
std::vector<uint32_t> units(const std::wstring& text) {
    std::vector<uint32_t> out;
    for (const wchar_t c : text) {
        out.push_back(static_cast<uint32_t>(c));
    }
    return out;
}

std::wstring wide(std::initializer_list<uint32_t> values) {
    std::wstring out;
    for (const uint32_t v : values) {
        out.push_back(static_cast<wchar_t>(v));
    }
    return out;
}

const std::string Fffd = "\xEF\xBF\xBD";

} // namespace

TEST(TextConversion, WellFormedTextRoundTripsAsUtf16) {
    // G r ü ß e space € and U+1D11E (a supplementary character: a surrogate pair).
    const std::string utf8 = "Gr\xC3\xBC\xC3\x9F"
                             "e \xE2\x82\xAC\xF0\x9D\x84\x9E";
    const std::vector<uint32_t> utf16 = {'G', 'r', 0xFC, 0xDF, 'e', ' ', 0x20AC, 0xD834, 0xDD1E};
    EXPECT_EQ(units(widen(utf8)), utf16);
    EXPECT_EQ(units(widen(utf8.c_str())), utf16);
    EXPECT_EQ(narrow(widen(utf8)), utf8);
    EXPECT_EQ(narrow(wide({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xDBFF, 0xDFFF})),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF");
}

TEST(TextConversion, StopsAtTheFirstNullAndAcceptsNothing) {
    EXPECT_EQ(narrow(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(units(widen(std::string("ab\0cd", 5))), (std::vector<uint32_t>{'a', 'b'}));
    EXPECT_EQ(narrow(std::wstring()), "");
    EXPECT_TRUE(widen(std::string()).empty());
    EXPECT_EQ(narrow(static_cast<const wchar_t*>(nullptr)), "");
    EXPECT_TRUE(widen(static_cast<const char*>(nullptr)).empty());
    EXPECT_TRUE(widen(std::string("\0abc", 4)).empty());
}

TEST(TextConversion, IllFormedUtf8BecomesReplacementCharacters) {
    struct Case {
        const char* input;
        std::vector<uint32_t> expected;
    };
    const uint32_t R = 0xFFFD;
    const Case cases[] = {
        {"a\xFF"
         "b",
         {'a', R, 'b'}}, // never a lead byte
        {"a\x80"
         "b",
         {'a', R, 'b'}},     // stray continuation
        {"a\xC3", {'a', R}}, // cut short by the terminator
        {"\xE2\x82"
         "x",
         {R, 'x'}},           // cut short inside: one replacement
        {"\xC0\xAF", {R, R}}, // overlong '/'
        {"\xF0\x9D\x84"
         "A",
         {R, 'A'}}, // four-byte form missing its last byte
    };
    for (const Case& c : cases) {
        EXPECT_EQ(units(widen(c.input)), c.expected) << "input " << ::testing::PrintToString(c.input);
    }
}

TEST(TextConversion, LeadWithAForbiddenSecondByte) {
    // Overlong, surrogate and beyond-U+10FFFF forms whose lead byte looks valid. Every byte ends
    // up replaced, but converters split them differently: ours replaces each maximal subpart
    // (here every byte alone); the Windows converter observed under Wine takes the lead byte and
    // the forbidden second byte as one unit.
    const uint32_t R = 0xFFFD;
    struct Case {
        const char* input;
        std::size_t bytes;
    };
    for (const Case c : {Case{"\xE0\x80\xAF", 3}, Case{"\xED\xA0\x80", 3}, Case{"\xF4\x90\x80\x80", 4}}) {
        const std::vector<uint32_t> result = units(widen(std::string(c.input) + "z"));
        ASSERT_FALSE(result.empty());
        EXPECT_EQ(result.back(), uint32_t{'z'});
        const std::vector<uint32_t> replaced(result.begin(), result.end() - 1);
        const std::size_t expected = sizeof(wchar_t) == 4 ? c.bytes : c.bytes - 1;
        EXPECT_EQ(replaced, std::vector<uint32_t>(expected, R)) << ::testing::PrintToString(c.input);
    }
}

TEST(TextConversion, UnpairedSurrogatesBecomeReplacementCharacters) {
    EXPECT_EQ(narrow(wide({'a', 0xD800, 'b'})), "a" + Fffd + "b");
    EXPECT_EQ(narrow(wide({'a', 0xDC00})), "a" + Fffd);
    EXPECT_EQ(narrow(wide({0xDC00, 0xD800})), Fffd + Fffd); // reversed pair
    EXPECT_EQ(narrow(wide({0xD800})), Fffd);
}

TEST(TextConversion, ThirtyTwoBitWideCharactersAreTakenWhole) {
    if constexpr (sizeof(wchar_t) == 4) {
        EXPECT_EQ(narrow(wide({0x1D11E, 'x'})), "\xF0\x9D\x84\x9E"
                                                "x");
        EXPECT_EQ(narrow(wide({0x10FFFF})), "\xF4\x8F\xBF\xBF");
        EXPECT_EQ(narrow(wide({0x110000, 0xFFFFFFFF})), Fffd + Fffd);
    } else {
        GTEST_SKIP() << "wchar_t holds UTF-16 code units only";
    }
}
