// The module's two entry points: class factories by class id, and whether it may be unloaded.
#include "Catalogue.h"
#include "ClassFactory.h"
#include "PluginManager.h"

#include <new>

namespace bt {

std::atomic<int32_t>& ModuleCount() {
    static std::atomic<int32_t> count{0};
    return count;
}

namespace {

IUnknown* MakeManager(const CLSID&) {
    return static_cast<IPluginManager*>(new (std::nothrow) CPluginManager());
}

IUnknown* MakeEffect(const CLSID& classId) {
    const CatalogueEntry* entry = FindEntry(classId);
    return entry != nullptr ? entry->create() : nullptr;
}

} // namespace

} // namespace bt

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
    if (clsid == nullptr || iid == nullptr || out == nullptr)
        return E_POINTER;
    *out = nullptr;
    IUnknown* (*make)(const CLSID&) = nullptr;
    if (*clsid == CLSID_BuiltinPluginManager)
        make = bt::MakeManager;
    else if (bt::FindEntry(*clsid) != nullptr)
        make = bt::MakeEffect;
    else
        return CLASS_E_CLASSNOTAVAILABLE;
    auto* factory = new (std::nothrow) bt::CClassFactory(make, *clsid);
    if (factory == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT hr = factory->QueryInterface(*iid, out);
    factory->Release();
    return hr;
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    return bt::ModuleCount().load() == 0 ? S_OK : S_FALSE;
}
