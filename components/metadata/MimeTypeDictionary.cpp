#include "MimeTypeDictionary.h"

#include "Formats.h"
#include "RefCounted.h"

namespace vmd {

CMimeTypeDictionary& CMimeTypeDictionary::Instance() {
    static CMimeTypeDictionary dictionary;
    return dictionary;
}

CMimeTypeDictionary::CMimeTypeDictionary() {
    for (int i = 0; i < FormatCount(); ++i) {
        const FormatRow& row = FormatAt(i);
        m_rows.push_back(Row{ToUtf16(row.extension), ToUtf16(row.mimeType), ToUtf16(row.container)});
    }
}

HRESULT CMimeTypeDictionary::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IMimeTypeDictionary)
        return Give(static_cast<IMimeTypeDictionary*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

int32_t CMimeTypeDictionary::GetCount() {
    return static_cast<int32_t>(m_rows.size());
}

const char16_t* CMimeTypeDictionary::GetExtension(int32_t index) {
    return InRange(index) ? m_rows[index].extension.c_str() : nullptr;
}

const char16_t* CMimeTypeDictionary::GetMimeType(int32_t index) {
    return InRange(index) ? m_rows[index].mimeType.c_str() : nullptr;
}

const char16_t* CMimeTypeDictionary::GetContainerFormat(int32_t index) {
    return InRange(index) ? m_rows[index].container.c_str() : nullptr;
}

const char16_t* CMimeTypeDictionary::FindMimeType(const char16_t* extension) {
    const std::u16string wanted = ToUtf16(Lower(ToUtf8(extension)));
    for (const Row& row : m_rows)
        if (row.extension == wanted)
            return row.mimeType.c_str();
    return nullptr;
}

} // namespace vmd
