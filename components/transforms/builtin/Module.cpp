// The module's two entry points: class factories by class id, and whether it may be unloaded.
#include "Catalogue.h"
#include "ComBase.h"
#include "PluginManager.h"

#include <new>

namespace bt {

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
    twc::MakeObject make = nullptr;
    if (clsid != nullptr && *clsid == CLSID_BuiltinPluginManager)
        make = bt::MakeManager;
    else if (clsid != nullptr && bt::FindEntry(*clsid) != nullptr)
        make = bt::MakeEffect;
    return twc::GetClassObject<bt::g_liveObjects>(make, clsid, iid, out);
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    return bt::g_liveObjects.load() == 0 ? S_OK : S_FALSE;
}
