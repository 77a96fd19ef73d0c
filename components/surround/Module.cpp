// The module's two entry points: class factories by class id, and whether it may be unloaded.
#include "ComBase.h"
#include "SurroundRenderer.h"
#include "UpMix.h"

#include <new>

namespace sr {

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
    twc::MakeObject make = nullptr;
    if (clsid != nullptr && *clsid == CLSID_SurroundRenderer)
        make = sr::MakeRenderer;
    else if (clsid != nullptr && *clsid == CLSID_UpMix)
        make = sr::MakeUpMix;
    return twc::GetClassObject<sr::g_liveObjects>(make, clsid, iid, out);
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    return sr::g_liveObjects.load() == 0 ? S_OK : S_FALSE;
}
