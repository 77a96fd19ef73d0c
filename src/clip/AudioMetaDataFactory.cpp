#include "clip/AudioMetaDataFactory.h"

#include "clip/AudioMetaDataObject.h"
#include "platform/ComRegistry.h"

#include <tidework/metadata.h>

namespace tw {

CAudioMetaDataFactory& CAudioMetaDataFactory::Instance() {
    static CAudioMetaDataFactory factory;
    return factory;
}

HRESULT CAudioMetaDataFactory::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
        *out = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CAudioMetaDataFactory::CreateInstance(IUnknown* outer, const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (outer != nullptr)
        return CLASS_E_NOAGGREGATION;
    auto* object = new CAudioMetaDataObject;
    const HRESULT hr = object->QueryInterface(iid, out);
    // The query holds the caller's reference; the creation reference goes, and with it the object
    // when the interface was refused.
    object->Release();
    return hr;
}

HRESULT CAudioMetaDataFactory::LockServer(int32_t lock) {
    if (lock != 0)
        ++m_locks;
    else if (m_locks.load() > 0)
        --m_locks;
    return S_OK;
}

namespace {

HRESULT GetAudioMetaDataClassObject(const IID& iid, void** out) {
    return CAudioMetaDataFactory::Instance().QueryInterface(iid, out);
}

} // namespace

void RegisterMetaDataClasses() {
    RegisterClassObject(CLSID_CAudioMetaData, &GetAudioMetaDataClassObject, "CAudioMetaData Object");
}

} // namespace tw
