// The one pair of UTF-8 <-> UTF-16 helpers. Text inside the system is UTF-8; UTF-16 appears only
// where the system stores or passes it (exports, COM strings, stored formats, the peak-file hash).
#pragma once

#include <string>
#include <string_view>

namespace tw {

// Invalid sequences become U+FFFD; never throws.
std::u16string ToUtf16(std::string_view utf8);
std::string ToUtf8(std::u16string_view utf16);
// Null-safe: a null pointer gives an empty string.
std::string ToUtf8(const char16_t* zeroTerminated);

// Case folding for ASCII letters only, as the settings store and path comparisons need.
std::string AsciiLower(std::string_view text);
bool EqualsNoCase(std::string_view a, std::string_view b);

} // namespace tw
