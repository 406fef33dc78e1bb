#include <Tarn/Strings/TextConversion.h>

#include <windows.h>

namespace Tarn {

std::string narrow(const wchar_t* text) {
    if (text == nullptr) {
        return {};
    }
    // The first call measures, terminator included; a failed measure means an empty result.
    const int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (length <= 0) {
        return {};
    }
    std::string result(static_cast<size_t>(length), '\0');
    const int written = WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), length, nullptr, nullptr);
    if (written <= 0) {
        return {};
    }
    result.resize(static_cast<size_t>(written) - 1);
    return result;
}

std::wstring widen(const char* text) {
    if (text == nullptr) {
        return {};
    }
    const int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (length <= 0) {
        return {};
    }
    std::wstring result(static_cast<size_t>(length), L'\0');
    const int written = MultiByteToWideChar(CP_UTF8, 0, text, -1, result.data(), length);
    if (written <= 0) {
        return {};
    }
    result.resize(static_cast<size_t>(written) - 1);
    return result;
}

} // namespace Tarn
