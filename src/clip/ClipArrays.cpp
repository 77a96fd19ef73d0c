#include "clip/ClipArrays.h"

#include "platform/Utf.h"

#include <cstring>

namespace tw {

CArrayAccess::CArrayAccess(SAFEARRAY* array, uint32_t elementBytes) : m_array(array) {
    if (m_array == nullptr || m_array->cDims != 1 || m_array->cbElements != elementBytes)
        return;
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(m_array, &data)))
        return;
    if (data == nullptr) {
        SafeArrayUnaccessData(m_array);
        return;
    }
    m_data = data;
    m_count = m_array->rgsabound[0].cElements;
}

CArrayAccess::~CArrayAccess() {
    if (m_data != nullptr)
        SafeArrayUnaccessData(m_array);
}

SAFEARRAY* MakeFloatArray(const float* values, size_t count) {
    if (count > 0xFFFFFFFFu)
        return nullptr;
    SAFEARRAY* array = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(count));
    if (array != nullptr && count > 0)
        std::memcpy(array->pvData, values, count * sizeof(float));
    return array;
}

SAFEARRAY* MakeByteArray(const std::vector<uint8_t>& bytes) {
    if (bytes.size() > 0xFFFFFFFFu)
        return nullptr;
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    if (array != nullptr && !bytes.empty())
        std::memcpy(array->pvData, bytes.data(), bytes.size());
    return array;
}

HRESULT GiveString(const std::string& text, BSTR* out) {
    if (out == nullptr)
        return E_POINTER;
    const std::u16string wide = ToUtf16(text);
    *out = SysAllocStringLen(wide.data(), static_cast<uint32_t>(wide.size()));
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

} // namespace tw
