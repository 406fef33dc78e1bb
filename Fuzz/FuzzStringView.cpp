// StringView's searches, comparison, slicing, trimming, splitting and hashes on arbitrary text,
// each against a plain scan or the standard view. The text sits in a block of exactly its size,
// so ASan reports any read past its end (the searches use memchr and memcmp fast paths).

#include "FuzzCheck.h"

#include <Tarn/Strings/StringView.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

using Tarn::StringView;

namespace {

constexpr uint64_t None = StringView::NoPosition;

uint64_t plainFind(std::string_view text, std::string_view needle, uint64_t pos) {
    if (needle.empty()) {
        return pos < text.size() ? pos : None;
    }
    for (uint64_t i = pos; i < text.size() && needle.size() <= text.size() - i; ++i) {
        if (text.substr(i, needle.size()) == needle) {
            return i;
        }
    }
    return None;
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

uint64_t fnv1a(std::string_view text, bool lowerAndSignExtend) {
    uint64_t hash = 0xCBF29CE484222325ull;
    for (char c : text) {
        if (lowerAndSignExtend && c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c + 32);
        }
        const uint64_t unit = lowerAndSignExtend
                                  ? static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(c)))
                                  : static_cast<uint64_t>(static_cast<unsigned char>(c));
        hash = (hash ^ unit) * 0x100000001B3ull;
    }
    return hash;
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool once = (Tarn::Fuzz::failOnAssertion(), true);
    (void)once;

    FuzzedDataProvider input(data, size);
    const std::string textSource = input.ConsumeRandomLengthString(512);
    const std::string needleSource = input.ConsumeRandomLengthString(16);
    const std::string set = input.ConsumeRandomLengthString(8);
    const std::string otherSource = input.ConsumeRandomLengthString(64);
    const auto chooseIndex = [&](std::size_t length) {
        const uint64_t raw = input.ConsumeIntegral<uint64_t>();
        return input.ConsumeBool() ? raw : raw % (length + 2);
    };

    // Exact-size copies: nothing after the last character for a search to read by mistake.
    const std::unique_ptr<char[]> textBlock(new char[textSource.size()]);
    std::copy(textSource.begin(), textSource.end(), textBlock.get());
    const std::unique_ptr<char[]> needleBlock(new char[needleSource.size()]);
    std::copy(needleSource.begin(), needleSource.end(), needleBlock.get());
    const StringView text(textBlock.get(), textSource.size());
    const StringView needle(needleBlock.get(), needleSource.size());
    const std::string_view plain(textBlock.get(), textSource.size());

    const uint64_t pos = chooseIndex(plain.size());
    TARN_FUZZ_CHECK(text.find(needle, pos) == plainFind(plain, needle.to_string_view(), pos));
    // A needle taken from the text itself is always found, at or before where it was taken.
    const uint64_t from = chooseIndex(plain.size());
    if (from < plain.size()) {
        const StringView piece = text.substr(from, 1 + from % 7);
        TARN_FUZZ_CHECK(text.find(piece) <= from);
    }
    const char character = needleSource.empty() ? '\0' : needleSource[0];
    TARN_FUZZ_CHECK(text.find_first_of(character, pos) == plain.find(character, pos));
    TARN_FUZZ_CHECK(text.find_last_of(character, pos) == plain.rfind(character, pos));
    TARN_FUZZ_CHECK(text.find_last_of(StringView(set), pos) == plain.find_last_of(set, pos));
    TARN_FUZZ_CHECK(text.find_last_of(StringView(set)) == plain.find_last_of(set));

    const StringView other(otherSource);
    const int expected = sign(plain.compare(otherSource));
    TARN_FUZZ_CHECK(sign(text.compare(other)) == expected);
    if (plain.substr(0, otherSource.size()) == std::string_view(otherSource).substr(0, plain.size())) {
        TARN_FUZZ_CHECK(text.compare(other) == expected); // equal prefix: exactly -1, 0 or 1
    }
    TARN_FUZZ_CHECK((text == other) == (plain == otherSource));

    const uint64_t count = chooseIndex(plain.size());
    const StringView slice = text.substr(pos, count);
    if (pos >= plain.size()) {
        TARN_FUZZ_CHECK(slice.empty() && slice.data() == nullptr);
    } else {
        TARN_FUZZ_CHECK(slice.to_string_view() == plain.substr(pos, count));
        TARN_FUZZ_CHECK(slice.data() == text.data() + pos);
    }

    StringView trimmed = text;
    trimmed.trim();
    std::size_t first = 0;
    std::size_t last = plain.size();
    while (first < last && isSpace(plain[first])) {
        ++first;
    }
    while (last > first && isSpace(plain[last - 1])) {
        --last;
    }
    TARN_FUZZ_CHECK(trimmed.size() == last - first &&
                    (trimmed.empty() || trimmed.data() == text.data() + first));

    // The pieces are the non-empty runs between separators, in order, inside the text.
    const StringView::Pieces pieces = text.split(StringView(set));
    std::vector<std::string_view> runs;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= plain.size(); ++i) {
        if (i == plain.size() || set.find(plain[i]) != std::string::npos) {
            if (i > start) {
                runs.push_back(plain.substr(start, i - start));
            }
            start = i + 1;
        }
    }
    TARN_FUZZ_CHECK(pieces.size() == runs.size());
    for (std::size_t i = 0; i < runs.size() && i < pieces.size(); ++i) {
        TARN_FUZZ_CHECK(pieces[i].data() == runs[i].data() && pieces[i].size() == runs[i].size());
    }

    TARN_FUZZ_CHECK(text.hash() == fnv1a(plain, false));
    TARN_FUZZ_CHECK(text.hashLowercase() == fnv1a(plain, true));
    return 0;
}
