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

TEST(StringView, ConstructionAndConversions) {
    static_assert(sizeof(StringView) == 16);
    static_assert(StringView::NoPosition == 0xFFFFFFFFFFFFFFFFull);

    const StringView none(static_cast<const char*>(nullptr));
    EXPECT_EQ(none.data(), nullptr);
    EXPECT_EQ(none.size(), 0u);
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_EQ(none.to_string(), "");

    const char text[] = "ab\0cd";
    const StringView terminated(text);
    EXPECT_EQ(terminated.size(), 2u);
    const StringView sized(text, 5);
    EXPECT_EQ(sized.length(), 5u);
    EXPECT_EQ(sized.to_string(), std::string(text, 5));
    EXPECT_EQ(sized.end() - sized.begin(), 5);
    EXPECT_EQ(sized.to_string_view().data(), text);

    const std::string owned = "owned";
    const StringView ofOwned(owned);
    EXPECT_EQ(ofOwned.data(), owned.data());
    EXPECT_EQ(static_cast<std::string_view>(ofOwned), "owned");
}

TEST(StringView, EqualityAndCompare) {
    const char a[] = "same";
    const char b[] = "same";
    EXPECT_TRUE(StringView(a) == StringView(b));
    EXPECT_TRUE(StringView() == StringView("x", 0)); // empty views equal whatever the pointer
    EXPECT_TRUE(StringView("ab") != StringView("abc"));

    EXPECT_EQ(StringView("ab").compare("abc"), -1);
    EXPECT_EQ(StringView("abc").compare("ab"), 1);
    EXPECT_EQ(StringView("abc").compare("abc"), 0);
    EXPECT_EQ(StringView().compare(StringView()), 0);
    EXPECT_EQ(StringView().compare("a"), -1);
    // Bytes compare unsigned: 0xE9 sorts after 'z'.
    EXPECT_GT(StringView("\xE9").compare("z"), 0);
    EXPECT_LT(StringView("abd").compare("abe"), 0);
    EXPECT_LT(StringView("abc").compare("abd0"), 0); // prefix difference beats the length
}

TEST(StringView, FindBoundaries) {
    const StringView abc("abc");
    EXPECT_EQ(abc.find(""), 0u);
    EXPECT_EQ(abc.find("", 2), 2u);
    EXPECT_EQ(abc.find("", 3), NoPosition);
    EXPECT_EQ(abc.find("", 4), NoPosition);
    EXPECT_EQ(StringView().find(""), NoPosition);
    EXPECT_EQ(abc.find("abc"), 0u);
    EXPECT_EQ(abc.find("abcd"), NoPosition);
    EXPECT_EQ(abc.find("c"), 2u);
    EXPECT_EQ(abc.find("c", 3), NoPosition);
    EXPECT_EQ(abc.find("bc", 1), 1u);
    EXPECT_EQ(abc.find("bc", 2), NoPosition);
    EXPECT_EQ(abc.find("a", NoPosition), NoPosition);
    EXPECT_EQ(abc.find("", NoPosition), NoPosition);

    // Candidates that share first and last byte but differ inside; the match must not be read
    // past the view's end.
    const std::string text = "axxxa ayyya axyza";
    EXPECT_EQ(StringView(text).find("axyza"), 12u);
    EXPECT_EQ(StringView(text.data(), 16).find("axyza"), NoPosition);
    EXPECT_EQ(StringView("aaaab").find("aab"), 2u);
}

TEST(StringView, FindAgreesWithAPlainScan) {
    std::string hay;
    uint32_t state = 12345;
    for (int i = 0; i < 2000; ++i) {
        state = state * 1103515245u + 12345u;
        hay.push_back(static_cast<char>('a' + (state >> 16) % 3));
    }
    const StringView view(hay);
    for (const char* needle : {"abcab", "aaaaa", "cba", "b", "ccccccccccc"}) {
        const StringView n(needle);
        for (uint64_t pos : {0ull, 1ull, 7ull, 1990ull, 1999ull, 2000ull}) {
            uint64_t expected = NoPosition;
            for (uint64_t i = pos; i + n.size() <= hay.size(); ++i) {
                if (hay.compare(i, n.size(), needle) == 0) {
                    expected = i;
                    break;
                }
            }
            EXPECT_EQ(view.find(n, pos), expected) << needle << " at " << pos;
        }
    }
}

TEST(StringView, FindFirstAndLastOf) {
    const StringView aba("aba");
    EXPECT_EQ(aba.find_first_of('a'), 0u);
    EXPECT_EQ(aba.find_first_of('a', 1), 2u);
    EXPECT_EQ(aba.find_first_of('a', 3), NoPosition);
    EXPECT_EQ(aba.find_first_of('z'), NoPosition);

    EXPECT_EQ(aba.find_last_of('a', 0), 0u);
    EXPECT_EQ(aba.find_last_of('a'), 2u);
    EXPECT_EQ(aba.find_last_of('a', 1), 0u);
    EXPECT_EQ(aba.find_last_of('b', 0), NoPosition);
    EXPECT_EQ(aba.find_last_of('a', 100), 2u);
    EXPECT_EQ(StringView().find_last_of('a'), NoPosition);

    const StringView path("dir/sub\\file.txt");
    EXPECT_EQ(path.find_last_of(StringView("/\\")), 7u);
    EXPECT_EQ(path.find_last_of(StringView("/\\"), 6), 3u);
    EXPECT_EQ(path.find_last_of(StringView("")), NoPosition);
    EXPECT_EQ(StringView("a\xE9").find_last_of(StringView("\xE9")), 1u);
}

TEST(StringView, Substr) {
    const char* text = "abc";
    const StringView abc(text);
    const StringView atEnd = abc.substr(3);
    EXPECT_TRUE(atEnd.empty());
    EXPECT_EQ(atEnd.data(), nullptr);
    EXPECT_EQ(abc.substr(NoPosition).data(), nullptr);
    const StringView tail = abc.substr(1, 100);
    EXPECT_EQ(tail, StringView("bc"));
    EXPECT_EQ(tail.data(), text + 1);
    EXPECT_EQ(abc.substr(0, 0).data(), text);
    EXPECT_EQ(abc.substr(1, NoPosition - 1), StringView("bc")); // no overflow in pos + count
}

TEST(StringView, TrimStopsAtNonWhiteSpace) {
    const char text[] = " \t\vx \r\n";
    StringView view(text);
    StringView& same = view.trim();
    EXPECT_EQ(&same, &view);
    EXPECT_EQ(view, StringView("\vx"));
    EXPECT_EQ(view.data(), text + 2);

    // Form feed and vertical tab are not whitespace; every control below 32 except the four is kept.
    EXPECT_EQ(StringView("\f a \f").trim(), StringView("\f a \f"));
    EXPECT_EQ(StringView("\x01 a\x1F").trim(), StringView("\x01 a\x1F"));
    EXPECT_EQ(StringView("\xA0 a").trimStart(), StringView("\xA0 a"));
    EXPECT_EQ(StringView("  a  ").trimEnd(), StringView("  a"));
    EXPECT_EQ(StringView("  a  ").trimStart(), StringView("a  "));
    EXPECT_TRUE(StringView(" \r\n\t ").trim().empty());
    EXPECT_TRUE(StringView().trim().empty());
}

TEST(StringView, SplitSkipsEmptyPieces) {
    const char* text = "a,,b,";
    const StringView::Pieces pieces = StringView(text).split(",");
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0].data(), text);
    EXPECT_EQ(pieces[1].data(), text + 3);
    EXPECT_EQ(strings(pieces), (std::vector<std::string>{"a", "b"}));

    const auto whole = StringView(text).split("");
    ASSERT_EQ(whole.size(), 1u);
    EXPECT_EQ(whole[0].data(), text);
    EXPECT_EQ(whole[0].size(), 5u);

    EXPECT_TRUE(StringView().split(",").empty());
    EXPECT_TRUE(StringView(",;,").split(",;").empty());
    EXPECT_EQ(strings(StringView(" key = value ;x").split(" =;")),
              (std::vector<std::string>{"key", "value", "x"}));
    EXPECT_EQ(strings(StringView("a\xE9"
                                 "b")
                          .split("\xE9")),
              (std::vector<std::string>{"a", "b"}));
}

TEST(StringView, SplitSpillsPastTenPiecesThroughTheOverflowAllocator) {
    Tarn::Memory::Allocator* overflow = Tarn::Memory::Allocator::overflowAllocator();
    const uint64_t bytesBefore = overflow->getAllocatedBytes();
    const uint64_t blocksBefore = overflow->getAllocationCount();
    {
        const auto ten = StringView("0 1 2 3 4 5 6 7 8 9").split(" ");
        EXPECT_EQ(ten.size(), 10u);
        EXPECT_TRUE(ten.isInline());
        EXPECT_EQ(overflow->getAllocationCount(), blocksBefore);
    }
    {
        const auto eleven = StringView("0 1 2 3 4 5 6 7 8 9 10").split(" ");
        ASSERT_EQ(eleven.size(), 11u);
        EXPECT_EQ(eleven.capacity(), 20u);
        EXPECT_EQ(eleven[10], StringView("10"));
        EXPECT_EQ(overflow->getAllocationCount(), blocksBefore + 1);
        EXPECT_EQ(overflow->getAllocatedBytes(), bytesBefore + 20 * sizeof(StringView));
    }
    EXPECT_EQ(overflow->getAllocationCount(), blocksBefore);
    EXPECT_EQ(overflow->getAllocatedBytes(), bytesBefore);
}
