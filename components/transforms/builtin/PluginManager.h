// The built-in transforms manager: lists the effects of the catalogue that the user has not
// disabled, and moves entries between the enabled and disabled lists. The disabled list lives in
// memory for as long as the module is loaded, shared by every manager object, since the system makes
// a new manager each time it rebuilds its menus.
//
// The list is every enabled effect in catalogue order, then each enabled effect's factory presets as
// entries of their own: named "Effect[n]", so that the system makes the effect and selects preset n,
// with a menu path into a "<Effect> Presets" sub-menu whose item is the preset's name. Disabling an
// effect takes its presets with it.
#pragma once

#include "Catalogue.h"
#include "ComBase.h"

#include <vector>

namespace bt {

class CPluginManager : public CRefCount, public IPluginManager, public IPluginManagerControl {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    // IPluginManager
    HRESULT GetCount(int32_t* count) override;
    HRESULT GetClassId(int32_t index, GUID* classId) override;
    HRESULT GetSubId(int32_t index, GUID* subId) override;
    HRESULT GetName(int32_t index, BSTR* name) override;
    HRESULT GetMenuPaths(int32_t index, BSTR* paths) override;
    HRESULT GetHasDialog(int32_t index, VARIANT_BOOL* has) override;
    HRESULT GetFlags(int32_t index, uint32_t* flags) override;

    // IPluginManagerControl
    HRESULT Rescan(int32_t level) override;
    HRESULT Refresh(int32_t level) override;
    HRESULT GetDisabledCount(int32_t* count) override;
    HRESULT GetDisabledClassId(int32_t index, GUID* classId) override;
    HRESULT GetDisabledSubId(int32_t index, GUID* subId) override;
    HRESULT GetDisabledName(int32_t index, BSTR* name) override;
    HRESULT GetDisabledFlags(int32_t index, uint32_t* flags) override;
    HRESULT Toggle(GUID classId, GUID subId) override;

private:
    // One entry of the list: an effect, or one of its factory presets.
    struct Listed {
        const CatalogueEntry* entry = nullptr;
        int32_t preset = -1; // index for ITransformPresets::Select; -1 for the effect itself
    };

    // Snapshots taken under the module's lock, so that a Toggle on another thread cannot move an
    // entry between reading a count and reading an entry's fields.
    static std::vector<Listed> Enabled();
    static std::vector<const CatalogueEntry*> Disabled();
    static Listed EnabledAt(int32_t index);
    static const CatalogueEntry* DisabledAt(int32_t index);
};

} // namespace bt
