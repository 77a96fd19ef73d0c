#include "ClassFactory.h"

namespace tp {

CClassFactory::CClassFactory(IUnknown* (*make)()) : m_make(make) {}

HRESULT CClassFactory::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory)
        return Give(static_cast<IClassFactory*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (outer != nullptr)
        return CLASS_E_NOAGGREGATION;
    IUnknown* object = m_make();
    if (object == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
}

HRESULT CClassFactory::LockServer(int32_t lock) {
    if (lock != 0)
        ++ModuleCount();
    else
        --ModuleCount();
    return S_OK;
}

} // namespace tp
