// The module's two entry points: class factories by class id, and whether it may be unloaded.
#include "ClassFactory.h"
#include "ParamsPage.h"

#include <tidework/pages.h>

#include <new>

namespace tp {

std::atomic<int32_t>& ModuleCount() {
    static std::atomic<int32_t> count{0};
    return count;
}

namespace {

IUnknown* MakeParamsPage() {
    return static_cast<IPropertyPage*>(new (std::nothrow) CParamsPage());
}

} // namespace

} // namespace tp

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
    if (clsid == nullptr || iid == nullptr || out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (*clsid != CLSID_TransformParamsPage)
        return CLASS_E_CLASSNOTAVAILABLE;
    auto* factory = new (std::nothrow) tp::CClassFactory(tp::MakeParamsPage);
    if (factory == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT hr = factory->QueryInterface(*iid, out);
    factory->Release();
    return hr;
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    return tp::ModuleCount().load() == 0 ? S_OK : S_FALSE;
}
