// Category words as a user types them (command line, configuration text): parseCategoryString
// must match exactly the six words in any ASCII case, and give Debug for everything else,
// including texts that differ only by a byte with the high bit set, an embedded null or a prefix.

#include "FuzzCheck.h"

#include <Tarn/Logging/LogManager.h>

#include <cstddef>
#include <cstdint>
#include <string>

using Tarn::Logging::Category;

namespace {

Category reference(const std::string& text) {
    static const struct {
        const char* word;
        Category category;
    } words[] = {{"trace", Category::Trace},     {"debug", Category::Debug}, {"info", Category::Info},
                 {"warning", Category::Warning}, {"error", Category::Error}, {"fatal", Category::Fatal}};
    std::string lower = text;
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    for (const auto& entry : words) {
        if (lower == entry.word) {
            return entry.category;
        }
    }
    return Category::Debug;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool once = (Tarn::Fuzz::failOnAssertion(), true);
    (void)once;

    const std::string text(reinterpret_cast<const char*>(data), size);
    TARN_FUZZ_CHECK(Tarn::Logging::parseCategoryString(Tarn::StringView(text.data(), text.size())) ==
                    reference(text));
    return 0;
}
