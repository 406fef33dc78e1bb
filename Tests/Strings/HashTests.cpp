#include <Tarn/Strings/Hash.h>
#include <Tarn/Strings/StringView.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

using Tarn::StringView;

namespace {

constexpr uint64_t OffsetBasis = 0xCBF29CE484222325ull;

const uint8_t* bytesOf(const char* text) {
    return reinterpret_cast<const uint8_t*>(text);
}

} // namespace

TEST(Fnv1a, PublishedVectorsAgreeAcrossAllAsciiForms) {
    // From the FNV reference test suite (64-bit FNV-1a).
    const std::pair<const char*, uint64_t> vectors[] = {{"", OffsetBasis},
                                                        {"a", 0xAF63DC4C8601EC8Cull},
                                                        {"foobar", 0x85944171F73967E8ull},
                                                        {"chongo was here!\n", 0x46810940EFF5F915ull}};
    for (const auto& [text, expected] : vectors) {
        const StringView view(text);
        EXPECT_EQ(Tarn::fnv1a(text), expected) << text;
        EXPECT_EQ(Tarn::fnv1a(bytesOf(text), view.size()), expected) << text;
        EXPECT_EQ(view.hash(), expected) << text;
        EXPECT_EQ(view.hashLowercase(), expected) << text; // no capitals in any of them
    }
    EXPECT_EQ(Tarn::fnv1a(nullptr), OffsetBasis);
    EXPECT_EQ(StringView().hashLowercase(), OffsetBasis);
    EXPECT_EQ(StringView("abcdef", 3).hash(), StringView("abc").hash()); // only the viewed bytes
}

TEST(Fnv1a, HighBytesAreSignExtendedByTheCharacterFormsOnly) {
    // References computed independently: 0xE9 zero-extended vs 0xFFFFFFFFFFFFFFE9.
    const char single[] = "\xE9";
    EXPECT_EQ(Tarn::fnv1a(bytesOf(single), 1), 0xAF64644C8602D3A4ull);
    EXPECT_EQ(StringView(single).hash(), 0xAF64644C8602D3A4ull);
    EXPECT_EQ(Tarn::fnv1a(single), 0x509C33B379FE2EA4ull);
    EXPECT_EQ(StringView(single).hashLowercase(), 0x509C33B379FE2EA4ull);

    // "Café" in UTF-8: lower-casing touches only the C; the high bytes keep the forms apart.
    const StringView cafe("Caf\xC3\xA9");
    EXPECT_EQ(cafe.hash(), 0x061BE9A13F8F0129ull);
    EXPECT_EQ(cafe.hashLowercase(), 0x481C8E3ACEF6BB89ull);
    EXPECT_EQ(Tarn::fnv1a("caf\xC3\xA9"), cafe.hashLowercase());

    EXPECT_EQ(StringView("ABC").hashLowercase(), 0xE71FA2190541574Bull); // = hash of "abc"
    // '@' and '[' border the capitals and are left alone.
    EXPECT_EQ(StringView("@[").hashLowercase(), StringView("@[").hash());
}

TEST(Murmur2, EveryTailLengthAndBlockCountMatchesTheReference) {
    // Bytes with high bits set, so a sign-extending tail would show. References computed
    // independently from the algorithm's definition (seed 0, little-endian blocks).
    uint8_t input[40];
    for (int i = 0; i < 40; ++i) {
        input[i] = static_cast<uint8_t>(0x9E * (i + 1) + 7);
    }
    const std::pair<uint64_t, uint64_t> expected[] = {
        {0, 0x0000000000000000ull},  {1, 0xA81C04A88C37D676ull},  {2, 0x79F22E5B0C0EDB84ull},
        {3, 0xB8BB0962C1C8D35Cull},  {4, 0xCA57D499B8EE24AAull},  {5, 0x1A309227F475D58Eull},
        {6, 0x27FEDE88C436A80Eull},  {7, 0x6BEC3ED6D850E29Bull},  {8, 0xCDC4F9B3733FDDC1ull},
        {9, 0x8147B77A16437B0Aull},  {10, 0x8E22B3154158A58Eull}, {11, 0xD726F1737C922CC6ull},
        {12, 0x86FC715F72CF8B8Bull}, {13, 0x2BE511BA52866BC3ull}, {14, 0x127A0D6EF5EB5A32ull},
        {15, 0x214506F3B8E71E1Aull}, {16, 0xF9554A987032C284ull}, {23, 0x1AB5F5DBFB2253A3ull},
        {24, 0xB7D85E9658542CD3ull}, {25, 0x7F65AA06E8D484E5ull}, {39, 0x3EAFE38902A61977ull},
        {40, 0xE562446BCD411152ull}};
    for (const auto& [length, hash] : expected) {
        EXPECT_EQ(Tarn::murmur2(input, length), hash) << "length " << length;
    }
    EXPECT_EQ(Tarn::murmur2(nullptr, 0), 0u);
}
