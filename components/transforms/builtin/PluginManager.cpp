#include "PluginManager.h"

#include <algorithm>
#include <mutex>

namespace bt {

namespace {

constexpr GUID kNullGuid = {};

std::mutex& ListLock() {
    static std::mutex lock;
    return lock;
}

// Disabled entries in the order they were disabled.
std::vector<const CatalogueEntry*>& DisabledList() {
    static std::vector<const CatalogueEntry*> list;
    return list;
}

} // namespace

HRESULT CPluginManager::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPluginManager)
        return Give(static_cast<IPluginManager*>(this), out);
    if (iid == IID_IPluginManagerControl)
        return Give(static_cast<IPluginManagerControl*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

std::vector<const CatalogueEntry*> CPluginManager::Enabled() {
    std::lock_guard lock(ListLock());
    const auto& disabled = DisabledList();
    std::vector<const CatalogueEntry*> list;
    for (const auto& entry : Catalogue())
        if (std::find(disabled.begin(), disabled.end(), &entry) == disabled.end())
            list.push_back(&entry);
    return list;
}

std::vector<const CatalogueEntry*> CPluginManager::Disabled() {
    std::lock_guard lock(ListLock());
    return DisabledList();
}

const CatalogueEntry* CPluginManager::EnabledAt(int32_t index) {
    const auto list = Enabled();
    return index >= 0 && index < static_cast<int32_t>(list.size()) ? list[index] : nullptr;
}

const CatalogueEntry* CPluginManager::DisabledAt(int32_t index) {
    const auto list = Disabled();
    return index >= 0 && index < static_cast<int32_t>(list.size()) ? list[index] : nullptr;
}

HRESULT CPluginManager::GetCount(int32_t* count) {
    if (count == nullptr)
        return E_POINTER;
    *count = static_cast<int32_t>(Enabled().size());
    return S_OK;
}

HRESULT CPluginManager::GetClassId(int32_t index, GUID* classId) {
    if (classId == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = EnabledAt(index);
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *classId = entry->classId;
    return S_OK;
}

HRESULT CPluginManager::GetSubId(int32_t index, GUID* subId) {
    if (subId == nullptr)
        return E_POINTER;
    if (EnabledAt(index) == nullptr)
        return DISP_E_BADINDEX;
    *subId = kNullGuid;
    return S_OK;
}

HRESULT CPluginManager::GetName(int32_t index, BSTR* name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    const CatalogueEntry* entry = EnabledAt(index);
    return entry != nullptr ? MakeBstr(entry->name, name) : DISP_E_BADINDEX;
}

HRESULT CPluginManager::GetMenuPaths(int32_t index, BSTR* paths) {
    if (paths == nullptr)
        return E_POINTER;
    *paths = nullptr;
    const CatalogueEntry* entry = EnabledAt(index);
    return entry != nullptr ? MakeBstr(entry->menuPaths, paths) : DISP_E_BADINDEX;
}

HRESULT CPluginManager::GetHasDialog(int32_t index, VARIANT_BOOL* has) {
    if (has == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = EnabledAt(index);
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *has = entry->hasDialog ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT CPluginManager::GetFlags(int32_t index, uint32_t* flags) {
    if (flags == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = EnabledAt(index);
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *flags = entry->flags;
    return S_OK;
}

// The built-in list is fixed at build time: there is nothing to look for on disk, and both levels
// of rebuilding keep the user's disabled entries.
HRESULT CPluginManager::Rescan(int32_t level) {
    return S_OK;
}

HRESULT CPluginManager::Refresh(int32_t level) {
    return S_OK;
}

HRESULT CPluginManager::GetDisabledCount(int32_t* count) {
    if (count == nullptr)
        return E_POINTER;
    *count = static_cast<int32_t>(Disabled().size());
    return S_OK;
}

HRESULT CPluginManager::GetDisabledClassId(int32_t index, GUID* classId) {
    if (classId == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = DisabledAt(index);
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *classId = entry->classId;
    return S_OK;
}

HRESULT CPluginManager::GetDisabledSubId(int32_t index, GUID* subId) {
    if (subId == nullptr)
        return E_POINTER;
    if (DisabledAt(index) == nullptr)
        return DISP_E_BADINDEX;
    *subId = kNullGuid;
    return S_OK;
}

HRESULT CPluginManager::GetDisabledName(int32_t index, BSTR* name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    const CatalogueEntry* entry = DisabledAt(index);
    return entry != nullptr ? MakeBstr(entry->name, name) : DISP_E_BADINDEX;
}

HRESULT CPluginManager::GetDisabledFlags(int32_t index, uint32_t* flags) {
    if (flags == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = DisabledAt(index);
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *flags = entry->flags;
    return S_OK;
}

HRESULT CPluginManager::Toggle(GUID classId, GUID subId) {
    const CatalogueEntry* entry = FindEntry(classId);
    if (entry == nullptr || subId != kNullGuid)
        return E_INVALIDARG;
    std::lock_guard lock(ListLock());
    auto& disabled = DisabledList();
    auto it = std::find(disabled.begin(), disabled.end(), entry);
    if (it != disabled.end())
        disabled.erase(it);
    else
        disabled.push_back(entry);
    return S_OK;
}

} // namespace bt
