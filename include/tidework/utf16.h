// UTF-8 <-> UTF-16 conversion shared by the library, its component modules and plain hosts, which
// link nothing of each other. Invalid input becomes U+FFFD; nothing throws.
#pragma once

#include <string>
#include <string_view>

namespace tidework {

namespace utf_detail {

inline constexpr char32_t kReplacement = 0xFFFD;

inline void AppendUtf16(std::u16string& out, char32_t cp) {
    if (cp >= 0x10000) {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
        out.push_back(static_cast<char16_t>(cp));
    }
}

inline void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

} // namespace utf_detail

inline std::u16string ToUtf16(std::string_view utf8) {
    std::u16string out;
    out.reserve(utf8.size());
    size_t i = 0;
    const size_t n = utf8.size();
    while (i < n) {
        const unsigned char lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            out.push_back(lead);
            ++i;
            continue;
        }
        int extra;
        char32_t cp;
        char32_t minimum;
        if (lead >= 0xC2 && lead <= 0xDF) {
            extra = 1, cp = lead & 0x1F, minimum = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            extra = 2, cp = lead & 0x0F, minimum = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            extra = 3, cp = lead & 0x07, minimum = 0x10000;
        } else {
            out.push_back(utf_detail::kReplacement);
            ++i;
            continue;
        }
        // A truncated or broken sequence yields one U+FFFD for the maximal valid prefix, then
        // decoding resumes at the first byte that did not fit.
        size_t j = i + 1;
        int taken = 0;
        while (taken < extra && j < n && (static_cast<unsigned char>(utf8[j]) & 0xC0) == 0x80) {
            cp = (cp << 6) | (static_cast<unsigned char>(utf8[j]) & 0x3F);
            ++j;
            ++taken;
        }
        if (taken < extra || cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            out.push_back(utf_detail::kReplacement);
            i = j;
            continue;
        }
        utf_detail::AppendUtf16(out, cp);
        i = j;
    }
    return out;
}

inline std::string ToUtf8(std::u16string_view utf16) {
    std::string out;
    out.reserve(utf16.size());
    for (size_t i = 0; i < utf16.size(); ++i) {
        const char16_t unit = utf16[i];
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 && utf16[i + 1] <= 0xDFFF) {
                const char32_t cp = 0x10000 + ((char32_t(unit) - 0xD800) << 10) + (utf16[i + 1] - 0xDC00);
                utf_detail::AppendUtf8(out, cp);
                ++i;
            } else {
                utf_detail::AppendUtf8(out, utf_detail::kReplacement);
            }
        } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
            utf_detail::AppendUtf8(out, utf_detail::kReplacement);
        } else {
            utf_detail::AppendUtf8(out, unit);
        }
    }
    return out;
}

} // namespace tidework
