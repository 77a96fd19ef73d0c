#include "clip/WaveClipFactory.h"

#include "clip/ClipClasses.h"
#include "clip/WaveClip.h"
#include "dsp/MediaMakers.h"
#include "platform/ComRegistry.h"

namespace tw {

CWaveClipFactory& CWaveClipFactory::Instance() {
    static CWaveClipFactory factory;
    return factory;
}

HRESULT CWaveClipFactory::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
        *out = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CWaveClipFactory::CreateInstance(IUnknown* outer, const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (outer != nullptr)
        return CLASS_E_NOAGGREGATION;
    auto* clip = new CWaveClip;
    const HRESULT hr = clip->QueryInterface(iid, out);
    // The query holds the caller's reference; the creation reference goes, and with it the clip when
    // the interface was refused.
    clip->Release();
    return hr;
}

HRESULT CWaveClipFactory::LockServer(int32_t lock) {
    if (lock != 0)
        ++m_locks;
    else if (m_locks.load() > 0)
        --m_locks;
    return S_OK;
}

namespace {

HRESULT GetWaveClipClassObject(const IID& iid, void** out) {
    return CWaveClipFactory::Instance().QueryInterface(iid, out);
}

} // namespace

void RegisterClipClasses() {
    // Clips load bodies (serialisations, projects) that may hold generated streams and transforms,
    // which only dsp can make.
    RegisterMediaMakers();
    RegisterClassObject(CLSID_CWaveClip, &GetWaveClipClassObject, "CWaveClip Object");
}

} // namespace tw
