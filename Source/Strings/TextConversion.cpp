#include <Tarn/Strings/TextConversion.h>

namespace Tarn {

// The owned-string forms convert the null-terminated sequence on purpose: an embedded null ends
// the text exactly as it would for a caller holding only the pointer.

std::string narrow(const std::wstring& text) {
    return narrow(text.c_str());
}

std::wstring widen(const std::string& text) {
    return widen(text.c_str());
}

} // namespace Tarn
