#include "clip/AudioMetaDataObject.h"

#include "platform/Utf.h"

namespace tw {

std::atomic<int32_t> CAudioMetaDataObject::s_live{0};

CAudioMetaDataObject::CAudioMetaDataObject() {
    ++s_live;
}

CAudioMetaDataObject::~CAudioMetaDataObject() {
    --s_live;
}

int32_t CAudioMetaDataObject::LiveCount() {
    return s_live.load();
}

HRESULT CAudioMetaDataObject::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IAudioMetaData) {
        *out = static_cast<IAudioMetaData*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

uint32_t CAudioMetaDataObject::AddRef() {
    return ++m_refs;
}

uint32_t CAudioMetaDataObject::Release() {
    const uint32_t left = --m_refs;
    if (left == 0)
        delete this;
    return left;
}

HRESULT CAudioMetaDataObject::Read(BSTR bstrPath) {
    if (bstrPath == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    return m_data.Read(ToUtf8(bstrPath));
}

HRESULT CAudioMetaDataObject::Write(BSTR bstrPath) {
    if (bstrPath == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    return m_data.Write(ToUtf8(bstrPath));
}

HRESULT CAudioMetaDataObject::ReleaseHandler() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_data.ReleaseHandler();
    return S_OK;
}

HRESULT CAudioMetaDataObject::GetText(int32_t nField, BSTR* pbstrValue) {
    if (pbstrValue == nullptr)
        return E_POINTER;
    *pbstrValue = nullptr;
    if (!CAudioMetaData::IsTextField(nField))
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    const std::u16string wide = ToUtf16(m_data.Text(nField));
    *pbstrValue = SysAllocStringLen(wide.c_str(), static_cast<uint32_t>(wide.size()));
    return *pbstrValue ? S_OK : E_OUTOFMEMORY;
}

HRESULT CAudioMetaDataObject::SetText(int32_t nField, BSTR bstrValue) {
    if (!CAudioMetaData::IsTextField(nField))
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    // A null BSTR is the empty string by COM's convention.
    m_data.SetText(nField, ToUtf8(bstrValue));
    return S_OK;
}

HRESULT CAudioMetaDataObject::GetNumber(int32_t nField, int32_t* pnValue) {
    if (pnValue == nullptr)
        return E_POINTER;
    *pnValue = 0;
    if (!CAudioMetaData::IsNumberField(nField))
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    *pnValue = m_data.Number(nField);
    return S_OK;
}

HRESULT CAudioMetaDataObject::SetNumber(int32_t nField, int32_t nValue) {
    if (!CAudioMetaData::IsNumberField(nField))
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    m_data.SetNumber(nField, nValue);
    return S_OK;
}

HRESULT CAudioMetaDataObject::GetMimeType(BSTR bstrExtension, BSTR* pbstrMimeType) {
    if (pbstrMimeType == nullptr)
        return E_POINTER;
    std::string mime;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        mime = m_data.MimeTypeOf(ToUtf8(bstrExtension));
    }
    const std::u16string wide = ToUtf16(mime);
    *pbstrMimeType = SysAllocStringLen(wide.c_str(), static_cast<uint32_t>(wide.size()));
    if (*pbstrMimeType == nullptr)
        return E_OUTOFMEMORY;
    return mime.empty() ? S_FALSE : S_OK;
}

} // namespace tw
