// The module's two entry points: class factories by class id, and whether it may be unloaded.
#include "ClassFactory.h"
#include "SurroundRenderer.h"
#include "UpMix.h"

#include <new>

namespace sr {

std::atomic<int32_t>& ModuleCount() {
    static std::atomic<int32_t> count{0};
    return count;
}

namespace {

IUnknown* MakeRenderer(const CLSID&) {
    return static_cast<ISurroundRenderer*>(new (std::nothrow) CSurroundRenderer());
}

IUnknown* MakeUpMix(const CLSID&) {
    return static_cast<ISurroundRenderer*>(new (std::nothrow) CUpMix());
}

} // namespace

} // namespace sr

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
    if (clsid == nullptr || iid == nullptr || out == nullptr)
        return E_POINTER;
    *out = nullptr;
    IUnknown* (*make)(const CLSID&) = nullptr;
    if (*clsid == CLSID_SurroundRenderer)
        make = sr::MakeRenderer;
    else if (*clsid == CLSID_UpMix)
        make = sr::MakeUpMix;
    else
        return CLASS_E_CLASSNOTAVAILABLE;
    auto* factory = new (std::nothrow) sr::CClassFactory(make, *clsid);
    if (factory == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT hr = factory->QueryInterface(*iid, out);
    factory->Release();
    return hr;
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    return sr::ModuleCount().load() == 0 ? S_OK : S_FALSE;
}
