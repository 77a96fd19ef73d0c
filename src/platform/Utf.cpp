#include "platform/Utf.h"

#include <tidework/utf16.h>

namespace tw {

std::u16string ToUtf16(std::string_view utf8) {
    return tidework::ToUtf16(utf8);
}

std::string ToUtf8(std::u16string_view utf16) {
    return tidework::ToUtf8(utf16);
}

std::string ToUtf8(const char16_t* zeroTerminated) {
    if (zeroTerminated == nullptr)
        return std::string();
    return ToUtf8(std::u16string_view(zeroTerminated));
}

std::string AsciiLower(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z')
            x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z')
            y = static_cast<char>(y - 'A' + 'a');
        if (x != y)
            return false;
    }
    return true;
}

} // namespace tw
