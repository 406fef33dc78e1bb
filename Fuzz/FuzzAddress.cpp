// Address text as it arrives from configuration or a peer. IPv4 text is accepted exactly when a
// strict dotted-quad reader accepts it (four decimal octets of at most 255, no leading zeros, no
// other characters) and gives 0.0.0.0 otherwise; every address prints as its dotted octets and
// reads back as itself. IPv6 text gives :: or an address whose text reads back as the same address;
// sixteen arbitrary bytes round-trip through their text.

#include "FuzzCheck.h"

#include <Tarn/Network/Addr.h>

#include <fuzzer/FuzzedDataProvider.h>
#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

using Tarn::Network::AddrIn;
using Tarn::Network::AddrIn6;

namespace {

std::optional<AddrIn> dottedQuad(const std::string& text) {
    uint8_t octets[4];
    std::size_t at = 0;
    for (int i = 0; i < 4; ++i) {
        if (i != 0) {
            if (at >= text.size() || text[at] != '.') {
                return std::nullopt;
            }
            ++at;
        }
        const std::size_t start = at;
        unsigned value = 0;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at - start < 4) {
            value = value * 10 + static_cast<unsigned>(text[at] - '0');
            ++at;
        }
        const std::size_t digits = at - start;
        if (digits == 0 || digits > 3 || value > 255 || (digits > 1 && text[start] == '0')) {
            return std::nullopt;
        }
        octets[i] = static_cast<uint8_t>(value);
    }
    if (at != text.size()) {
        return std::nullopt;
    }
    return AddrIn(octets);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool once = (Tarn::Fuzz::failOnAssertion(), true);
    (void)once;

    FuzzedDataProvider input(data, size);
    uint8_t raw[16] = {};
    input.ConsumeData(raw, sizeof raw);
    // Text goes in as a C string: it ends at its first null.
    std::string text = input.ConsumeRandomLengthString(64);
    text = text.substr(0, text.find('\0'));

    const AddrIn v4(raw);
    const std::string dotted = std::to_string(raw[0]) + "." + std::to_string(raw[1]) + "." +
                               std::to_string(raw[2]) + "." + std::to_string(raw[3]);
    TARN_FUZZ_CHECK(v4.string() == dotted);
    TARN_FUZZ_CHECK(AddrIn(dotted) == v4);
    TARN_FUZZ_CHECK(v4[0] == raw[0] && v4[3] == raw[3] && v4[4] == raw[0]);
    TARN_FUZZ_CHECK(v4.is_multicast() == (raw[0] >= 224 && raw[0] <= 239));
    TARN_FUZZ_CHECK(AddrIn(static_cast<uint32_t>(raw[0]) << 24 | raw[1] << 16 | raw[2] << 8 | raw[3]) == v4);

    const std::optional<AddrIn> expected = dottedQuad(text);
    const AddrIn parsed(text);
    TARN_FUZZ_CHECK(parsed == expected.value_or(AddrIn()));
    TARN_FUZZ_CHECK(AddrIn(text.c_str()) == parsed);

    in6_addr platform;
    std::memcpy(&platform, raw, sizeof raw);
    const AddrIn6 v6(platform);
    TARN_FUZZ_CHECK(std::memcmp(v6.data(), raw, sizeof raw) == 0);
    TARN_FUZZ_CHECK(AddrIn6(v6.string().c_str()) == v6);
    TARN_FUZZ_CHECK(v6.is_multicast() == (raw[0] == 0xFF));

    const AddrIn6 zero;
    const AddrIn6 parsed6(text.c_str());
    if (!(parsed6 == zero)) {
        TARN_FUZZ_CHECK(AddrIn6(parsed6.string().c_str()) == parsed6);
    }
    TARN_FUZZ_CHECK(zero.string() == "::");
    return 0;
}
