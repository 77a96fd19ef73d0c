// The module's two entry points: class factories by class id, and whether it may be unloaded.
#include "ComBase.h"
#include "ParamsPage.h"

#include <tidework/pages.h>

#include <new>

namespace tp {

namespace {

IUnknown* MakeParamsPage(const CLSID&) {
    return static_cast<IPropertyPage*>(new (std::nothrow) CParamsPage());
}

} // namespace

} // namespace tp

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
    const bool page = clsid != nullptr && *clsid == CLSID_TransformParamsPage;
    return twc::GetClassObject<tp::g_liveObjects>(page ? tp::MakeParamsPage : nullptr, clsid, iid, out);
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    return tp::g_liveObjects.load() == 0 ? S_OK : S_FALSE;
}
