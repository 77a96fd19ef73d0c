#include "RefCounted.h"

#include <tidework/utf16.h>

namespace vmd {

std::string ToUtf8(const char16_t* utf16) {
    return utf16 ? tidework::ToUtf8(std::u16string_view(utf16)) : std::string();
}

std::u16string ToUtf16(std::string_view utf8) {
    return tidework::ToUtf16(utf8);
}

std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

} // namespace vmd
