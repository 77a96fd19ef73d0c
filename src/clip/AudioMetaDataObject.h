// The metadata object a host creates by CLSID_CAudioMetaData: IAudioMetaData over one
// CAudioMetaData, which loads the tag library when the object is made.
//
// Threads: host threads may call in at will; one lock serialises the calls.
#pragma once

#include "clip/AudioMetaData.h"

#include <tidework/metadata.h>

#include <atomic>
#include <mutex>

namespace tw {

class CAudioMetaDataObject final : public IAudioMetaData {
public:
    // A new object with one reference, the caller's.
    CAudioMetaDataObject();
    CAudioMetaDataObject(const CAudioMetaDataObject&) = delete;
    CAudioMetaDataObject& operator=(const CAudioMetaDataObject&) = delete;

    // Objects alive in this process, for the server's unload query.
    static int32_t LiveCount();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override;
    uint32_t Release() override;

    HRESULT Read(BSTR bstrPath) override;
    HRESULT Write(BSTR bstrPath) override;
    HRESULT ReleaseHandler() override;
    HRESULT GetText(int32_t nField, BSTR* pbstrValue) override;
    HRESULT SetText(int32_t nField, BSTR bstrValue) override;
    HRESULT GetNumber(int32_t nField, int32_t* pnValue) override;
    HRESULT SetNumber(int32_t nField, int32_t nValue) override;
    HRESULT GetMimeType(BSTR bstrExtension, BSTR* pbstrMimeType) override;

private:
    ~CAudioMetaDataObject();

    static std::atomic<int32_t> s_live;
    std::atomic<uint32_t> m_refs{1};
    std::mutex m_lock;
    CAudioMetaData m_data;
};

} // namespace tw
