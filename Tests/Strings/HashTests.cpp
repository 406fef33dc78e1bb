#include <Tarn/Strings/Hash.h>
#include <Tarn/Strings/StringView.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <utility>

using Tarn::StringView;

namespace {

const uint8_t* bytesOf(const char* text) {
    return reinterpret_cast<const uint8_t*>(text);
}

constexpr uint64_t OffsetBasis = 0xCBF29CE484222325ull;

} // namespace

TEST(Fnv1a, PublishedVectorsAgreeAcrossAllAsciiForms) {
    struct Vector {
        const char* text;
        uint64_t expected;
    };
    // From the FNV reference test suite (64-bit FNV-1a).
    const Vector vectors[] = {{"", OffsetBasis},
                              {"a", 0xAF63DC4C8601EC8Cull},
                              {"foobar", 0x85944171F73967E8ull},
                              {"chongo was here!\n", 0x46810940EFF5F915ull}};
    for (const Vector& v : vectors) {
        SCOPED_TRACE(v.text);
        const StringView view(v.text);
        EXPECT_EQ(Tarn::fnv1a(v.text), v.expected);
        EXPECT_EQ(Tarn::fnv1a(bytesOf(v.text), view.size()), v.expected);
        EXPECT_EQ(view.hash(), v.expected);
        EXPECT_EQ(view.hashLowercase(), v.expected); // no capitals in any of them
    }
    EXPECT_EQ(Tarn::fnv1a(nullptr), OffsetBasis);
    EXPECT_EQ(StringView().hash(), OffsetBasis);
    EXPECT_EQ(StringView().hashLowercase(), OffsetBasis);
}

TEST(Fnv1a, HighBytesAreSignExtendedByTheCharacterFormsOnly) {
    // References computed independently: zero-extended 0xE9 vs 0xFFFFFFFFFFFFFFE9.
    const char single[] = "\xE9";
    EXPECT_EQ(Tarn::fnv1a(bytesOf(single), 1), 0xAF64644C8602D3A4ull);
    EXPECT_EQ(StringView(single).hash(), 0xAF64644C8602D3A4ull);
    EXPECT_EQ(Tarn::fnv1a(single), 0x509C33B379FE2EA4ull);
    EXPECT_EQ(StringView(single).hashLowercase(), 0x509C33B379FE2EA4ull);

    // "Café" in UTF-8: lower-casing touches only the C, the two high bytes keep the forms apart.
    const StringView cafe("Caf\xC3\xA9");
    EXPECT_EQ(cafe.hash(), 0x061BE9A13F8F0129ull);
    EXPECT_EQ(cafe.hashLowercase(), 0x481C8E3ACEF6BB89ull);
    EXPECT_EQ(Tarn::fnv1a("caf\xC3\xA9"), cafe.hashLowercase());
}

TEST(Fnv1a, LowercaseHashFoldsOnlyAsciiCapitals) {
    EXPECT_EQ(StringView("ABC").hashLowercase(), StringView("abc").hash());
    EXPECT_EQ(StringView("abc").hash(), 0xE71FA2190541574Bull);
    // The neighbours of the A-Z range are not letters and stay as they are.
    EXPECT_NE(StringView("@[").hashLowercase(), StringView("`{").hash());
    EXPECT_EQ(StringView("@[").hashLowercase(), StringView("@[").hash());
    // Only the viewed bytes count, not what follows them.
    EXPECT_EQ(StringView("abcdef", 3).hash(), StringView("abc").hash());
}

TEST(Murmur2, EveryTailLengthMatchesTheReference) {
    // The bytes carry high bits so that a sign-extending tail would show. References computed
    // independently from the algorithm's definition (seed 0, little-endian blocks).
    const std::array<uint8_t, 16> input = {0xA5, 0x43, 0xE1, 0x7F, 0x1D, 0xBB, 0x59, 0xF7,
                                           0x95, 0x33, 0xD1, 0x6F, 0x0D, 0xAB, 0x49, 0xE7};
    const uint64_t expected[17] = {0x0000000000000000ull, 0xA81C04A88C37D676ull, 0x79F22E5B0C0EDB84ull,
                                   0xB8BB0962C1C8D35Cull, 0xCA57D499B8EE24AAull, 0x1A309227F475D58Eull,
                                   0x27FEDE88C436A80Eull, 0x6BEC3ED6D850E29Bull, 0xCDC4F9B3733FDDC1ull,
                                   0x8147B77A16437B0Aull, 0x8E22B3154158A58Eull, 0xD726F1737C922CC6ull,
                                   0x86FC715F72CF8B8Bull, 0x2BE511BA52866BC3ull, 0x127A0D6EF5EB5A32ull,
                                   0x214506F3B8E71E1Aull, 0xF9554A987032C284ull};
    for (uint64_t length = 0; length <= 16; ++length) {
        EXPECT_EQ(Tarn::murmur2(input.data(), length), expected[length]) << "length " << length;
    }
}

TEST(Murmur2, LongerInputsMixEveryBlock) {
    // The same byte rule as above continued to 40 bytes: odd and even block counts with and
    // without a tail.
    uint8_t input[40];
    for (int i = 0; i < 40; ++i) {
        input[i] = static_cast<uint8_t>(0x9E * (i + 1) + 7);
    }
    const std::pair<uint64_t, uint64_t> expected[] = {{23, 0x1AB5F5DBFB2253A3ull},
                                                      {24, 0xB7D85E9658542CD3ull},
                                                      {25, 0x7F65AA06E8D484E5ull},
                                                      {39, 0x3EAFE38902A61977ull},
                                                      {40, 0xE562446BCD411152ull}};
    for (const auto& [length, hash] : expected) {
        EXPECT_EQ(Tarn::murmur2(input, length), hash) << "length " << length;
    }
}

TEST(Murmur2, UnalignedInputHashesLikeAligned) {
    alignas(8) uint8_t buffer[40] = {};
    for (int i = 0; i < 40; ++i) {
        buffer[i] = static_cast<uint8_t>(i * 29 + 3);
    }
    alignas(8) uint8_t copy[32];
    std::copy(buffer + 3, buffer + 35, copy);
    EXPECT_EQ(Tarn::murmur2(buffer + 3, 32), Tarn::murmur2(copy, 32));
    EXPECT_EQ(Tarn::murmur2(nullptr, 0), 0u);
}
