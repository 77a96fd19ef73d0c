#include "dsp/ComText.h"

#include "platform/Utf.h"

#include <string_view>

namespace tw {

std::string TakeBstr(BSTR text) {
    if (text == nullptr)
        return {};
    std::string result = ToUtf8(std::u16string_view(text, SysStringLen(text)));
    SysFreeString(text);
    return result;
}

std::string GuidText(const GUID& guid) {
    char16_t text[40] = {};
    if (StringFromGUID2(guid, text, 40) == 0)
        return {};
    return ToUtf8(text);
}

bool IsNullGuid(const GUID& guid) {
    return guid == GUID{};
}

} // namespace tw
