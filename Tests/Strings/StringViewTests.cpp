#include <Tarn/Strings/StringView.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using Tarn::StringView;

namespace {

constexpr uint64_t NoPosition = StringView::NoPosition;

std::vector<std::string> strings(const StringView::Pieces& pieces) {
    std::vector<std::string> out;
    for (const StringView& piece : pieces) {
        out.push_back(piece.to_string());
    }
    return out;
}

} // namespace

TEST(StringView, ConstructionEqualityAndCompare) {
    static_assert(sizeof(StringView) == 16);
    EXPECT_EQ(StringView(static_cast<const char*>(nullptr)).data(), nullptr);
    const char text[] = "ab\0cd";
    EXPECT_EQ(StringView(text).size(), 2u);
    EXPECT_EQ(StringView(text, 5).to_string(), std::string(text, 5));

    EXPECT_TRUE(StringView() == StringView("x", 0)); // empty views are equal whatever the pointer
    // Mixed with the standard types in either order, without ambiguity.
    const std::string owned = "ab";
    const std::string_view standard = "ab";
    EXPECT_TRUE(StringView("ab") == standard && standard == StringView("ab"));
    EXPECT_TRUE(StringView("ab") == owned && "ab" == StringView(owned));
    EXPECT_TRUE(StringView("abc") != owned && standard != StringView("a"));

    EXPECT_TRUE(StringView("ab").compare("abc") == -1 && StringView("abc").compare("ab") == 1);
    EXPECT_EQ(StringView().compare(StringView()), 0);
    EXPECT_GT(StringView("\xE9").compare("z"), 0);   // bytes compare unsigned
    EXPECT_LT(StringView("abc").compare("abd0"), 0); // a prefix difference beats the length
}

TEST(StringView, FindAgreesWithAPlainScanAtEveryBoundary) {
    EXPECT_EQ(StringView("abc").find(""), 0u);
    EXPECT_EQ(StringView("abc").find("", 3), NoPosition); // an empty match at the end is none
    EXPECT_EQ(StringView().find(""), NoPosition);
    EXPECT_EQ(StringView("abc").find("a", NoPosition), NoPosition);
    // Near misses sharing first and last byte; a match may not be read past the view's end.
    EXPECT_EQ(StringView("axxxa ayyya axyza").find("axyza"), 12u);
    EXPECT_EQ(StringView("axxxa ayyya axyza", 16).find("axyza"), NoPosition);

    std::string hay;
    uint32_t state = 12345;
    for (int i = 0; i < 2000; ++i) {
        state = state * 1103515245u + 12345u;
        hay.push_back(static_cast<char>('a' + (state >> 16) % 3));
    }
    for (const std::string needle : {"abcab", "aaaaa", "cba", "b", "ccccccccccc", ""}) {
        for (const uint64_t pos : {0ull, 1ull, 7ull, 1990ull, 1999ull, 2000ull, 2001ull}) {
            uint64_t expected = NoPosition;
            for (uint64_t i = pos; i + needle.size() <= hay.size() && i < hay.size(); ++i) {
                if (hay.compare(i, needle.size(), needle) == 0) {
                    expected = i;
                    break;
                }
            }
            EXPECT_EQ(StringView(hay).find(needle, pos), expected) << needle << " at " << pos;
        }
    }
}

TEST(StringView, FindFirstAndLastOfAndSubstr) {
    const StringView aba("aba");
    EXPECT_TRUE(aba.find_first_of('a', 1) == 2u && aba.find_last_of('a') == 2u &&
                aba.find_last_of('a', 0) == 0u);
    EXPECT_TRUE(aba.find_first_of('a', 3) == NoPosition && aba.find_last_of('b', 0) == NoPosition);
    const StringView path("dir/sub\\file.txt");
    EXPECT_EQ(path.find_last_of(StringView("/\\")), 7u);
    EXPECT_EQ(path.find_last_of(StringView("/\\"), 6), 3u);
    EXPECT_EQ(path.find_last_of(StringView("")), NoPosition);
    EXPECT_EQ(StringView("a\xE9").find_last_of(StringView("\xE9")), 1u);

    const char* text = "abc";
    EXPECT_EQ(StringView(text).substr(3).data(), nullptr);
    EXPECT_EQ(StringView(text).substr(NoPosition).data(), nullptr);
    EXPECT_TRUE(StringView(text).substr(1, 100).data() == text + 1 &&
                StringView(text).substr(1, 100) == "bc");
    EXPECT_EQ(StringView(text).substr(1, NoPosition - 1), "bc"); // no overflow in pos + count
}

TEST(StringView, TrimKnowsExactlyFourWhiteSpaceCharacters) {
    const char text[] = " \t\vx \r\n";
    StringView view(text);
    EXPECT_EQ(&view.trim(), &view);
    EXPECT_EQ(view.data(), text + 2);
    EXPECT_EQ(view, "\vx"); // vertical tab is not whitespace
    EXPECT_EQ(StringView("\f\x01 a\x1F\xA0").trim(), "\f\x01 a\x1F\xA0");
    EXPECT_TRUE(StringView("  a  ").trimEnd() == "  a" && StringView("  a  ").trimStart() == "a  ");
    EXPECT_TRUE(StringView(" \r\n\t ").trim().empty());
}

TEST(StringView, SplitSkipsEmptyPiecesAndSpillsPastTen) {
    const char* text = "a,,b,";
    const StringView::Pieces pieces = StringView(text).split(",");
    EXPECT_EQ(strings(pieces), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(pieces[1].data(), text + 3);
    const auto whole = StringView(text).split("");
    ASSERT_EQ(whole.size(), 1u);
    EXPECT_TRUE(whole[0].data() == text && whole[0].size() == 5u);
    EXPECT_TRUE(StringView().split(",").empty());
    EXPECT_TRUE(StringView(",;,").split(",;").empty());
    EXPECT_EQ(strings(StringView(" k = v;x\xE9y").split(" =;\xE9")),
              (std::vector<std::string>{"k", "v", "x", "y"}));

    Tarn::Memory::Allocator* overflow = Tarn::Memory::Allocator::overflowAllocator();
    const uint64_t bytes = overflow->getAllocatedBytes();
    const uint64_t blocks = overflow->getAllocationCount();
    {
        EXPECT_TRUE(StringView("0 1 2 3 4 5 6 7 8 9").split(" ").isInline());
        EXPECT_EQ(overflow->getAllocationCount(), blocks);
        const auto eleven = StringView("0 1 2 3 4 5 6 7 8 9 10").split(" ");
        EXPECT_EQ(eleven.capacity(), 20u);
        EXPECT_EQ(eleven[10], "10");
        EXPECT_EQ(overflow->getAllocatedBytes(), bytes + 20 * sizeof(StringView));
    }
    EXPECT_EQ(overflow->getAllocationCount(), blocks);
    EXPECT_EQ(overflow->getAllocatedBytes(), bytes);
}
