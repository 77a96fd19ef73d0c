#include "ComObject.h"

namespace fh {

std::u16string ToUtf16(std::string_view s) {
    std::u16string out;
    size_t i = 0;
    while (i < s.size()) {
        auto c = static_cast<unsigned char>(s[i]);
        uint32_t cp = 0xFFFD;
        size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (len == 0 || i + len > s.size()) {
            i += 1;
        } else {
            cp = len == 1 ? c : len == 2 ? c & 0x1F : len == 3 ? c & 0x0F : c & 0x07;
            bool ok = true;
            for (size_t k = 1; k < len; ++k) {
                auto d = static_cast<unsigned char>(s[i + k]);
                if ((d >> 6) != 2) {
                    ok = false;
                    break;
                }
                cp = (cp << 6) | (d & 0x3F);
            }
            i += ok ? len : 1;
            if (!ok || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
                cp = 0xFFFD;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
    }
    return out;
}

std::string ToUtf8(const char16_t* p) {
    std::string out;
    if (!p)
        return out;
    while (*p) {
        uint32_t cp = *p++;
        if (cp >= 0xD800 && cp <= 0xDBFF && *p >= 0xDC00 && *p <= 0xDFFF)
            cp = 0x10000 + ((cp - 0xD800) << 10) + (*p++ - 0xDC00);
        else if (cp >= 0xD800 && cp <= 0xDFFF)
            cp = 0xFFFD;
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
    return out;
}

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

} // namespace fh
