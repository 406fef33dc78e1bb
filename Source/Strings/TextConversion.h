#pragma once

#include <Tarn/Foundation/Export.h>

#include <string>

namespace Tarn {

// Conversion between the library's UTF-8 strings and the platform's UTF-16 wide strings.
//
// Both directions stop at the first null character (the string overloads convert their
// null-terminated character sequence, so an embedded null ends the conversion) and never report
// an error: ill-formed input comes back with U+FFFD in place of each bad sequence, and only a
// failure of the platform converter itself yields an empty result. On Windows these are the
// system's own converters. Elsewhere wchar_t is 32 bits wide; widen() still produces UTF-16 code
// units (one per element, supplementary characters as surrogate pairs) so that lengths and
// contents agree with Windows, and narrow() accepts both UTF-16 and UTF-32 input.

/// The UTF-8 encoding of a null-terminated wide string; null gives an empty string.
TARN_API std::string narrow(const wchar_t* text);
/// The UTF-8 encoding of `text` up to its first null character.
TARN_API std::string narrow(const std::wstring& text);

/// The UTF-16 encoding of a null-terminated UTF-8 string; null gives an empty string.
TARN_API std::wstring widen(const char* text);
/// The UTF-16 encoding of `text` up to its first null character.
TARN_API std::wstring widen(const std::string& text);

} // namespace Tarn
