#include "PluginManager.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string>

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

// What each catalogue entry's effect tells of itself, in catalogue order: its factory preset names
// and whether it has pages. Asked once from the effects themselves, so that the list and the
// effects' own interfaces never disagree.
struct EffectFacts {
    std::vector<std::u16string> presetNames;
    bool hasPages = false;
};

EffectFacts AskEffect(const CatalogueEntry& entry) {
    EffectFacts facts;
    ITransform* effect = entry.create();
    if (effect == nullptr)
        return facts;
    CAUUID pages{0, nullptr};
    facts.hasPages = SUCCEEDED(effect->GetPages(&pages)) && pages.cElems > 0;
    std::free(pages.pElems);
    void* out = nullptr;
    if (SUCCEEDED(effect->QueryInterface(IID_ITransformPresets, &out))) {
        auto* presets = static_cast<ITransformPresets*>(out);
        int32_t count = 0;
        if (FAILED(presets->GetCount(&count)))
            count = 0;
        for (int32_t i = 0; i < count; ++i) {
            BSTR name = nullptr;
            if (SUCCEEDED(presets->GetName(i, &name)) && name != nullptr)
                facts.presetNames.emplace_back(name, SysStringLen(name));
            else
                facts.presetNames.emplace_back();
            SysFreeString(name);
        }
        presets->Release();
    }
    effect->Release();
    return facts;
}

const EffectFacts& FactsOf(const CatalogueEntry* entry) {
    static const std::vector<EffectFacts> all = [] {
        std::vector<EffectFacts> facts;
        for (const CatalogueEntry& e : Catalogue())
            facts.push_back(AskEffect(e));
        return facts;
    }();
    return all[static_cast<size_t>(entry - Catalogue().data())];
}

const std::vector<std::u16string>& PresetNamesOf(const CatalogueEntry* entry) {
    return FactsOf(entry).presetNames;
}

// "Name[n]": the system makes the effect and selects preset n.
std::u16string PresetEntryName(const CatalogueEntry& entry, int32_t preset) {
    std::u16string name = entry.name;
    name += u'[';
    for (char c : std::to_string(preset))
        name += static_cast<char16_t>(c);
    name += u']';
    return name;
}

// Each of the effect's menu paths leads into a sub-menu of its presets, whose item is the preset's
// name (a path without a final backslash names the item itself).
std::u16string PresetMenuPaths(const CatalogueEntry& entry, const std::u16string& presetName) {
    std::u16string result;
    std::u16string paths = entry.menuPaths;
    while (!paths.empty()) {
        const size_t feed = paths.find(u'\n');
        std::u16string path = paths.substr(0, feed);
        paths = feed == std::u16string::npos ? std::u16string() : paths.substr(feed + 1);
        if (path.empty())
            continue;
        if (path.back() == u'\\')
            path += entry.name;
        if (!result.empty())
            result += u'\n';
        result += path + u" Presets\\" + presetName;
    }
    return result;
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

std::vector<CPluginManager::Listed> CPluginManager::Enabled() {
    std::vector<const CatalogueEntry*> effects;
    {
        std::lock_guard lock(ListLock());
        const auto& disabled = DisabledList();
        for (const auto& entry : Catalogue())
            if (std::find(disabled.begin(), disabled.end(), &entry) == disabled.end())
                effects.push_back(&entry);
    }
    // The effects keep their places at the head of the list; their presets follow.
    std::vector<Listed> list;
    for (const CatalogueEntry* entry : effects)
        list.push_back(Listed{entry, -1});
    for (const CatalogueEntry* entry : effects) {
        const auto count = static_cast<int32_t>(PresetNamesOf(entry).size());
        for (int32_t preset = 0; preset < count; ++preset)
            list.push_back(Listed{entry, preset});
    }
    return list;
}

std::vector<const CatalogueEntry*> CPluginManager::Disabled() {
    std::lock_guard lock(ListLock());
    return DisabledList();
}

CPluginManager::Listed CPluginManager::EnabledAt(int32_t index) {
    const auto list = Enabled();
    return index >= 0 && index < static_cast<int32_t>(list.size()) ? list[index] : Listed{};
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
    const CatalogueEntry* entry = EnabledAt(index).entry;
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *classId = entry->classId;
    return S_OK;
}

HRESULT CPluginManager::GetSubId(int32_t index, GUID* subId) {
    if (subId == nullptr)
        return E_POINTER;
    if (EnabledAt(index).entry == nullptr)
        return DISP_E_BADINDEX;
    *subId = kNullGuid;
    return S_OK;
}

HRESULT CPluginManager::GetName(int32_t index, BSTR* name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    const Listed listed = EnabledAt(index);
    if (listed.entry == nullptr)
        return DISP_E_BADINDEX;
    if (listed.preset < 0)
        return MakeBstr(listed.entry->name, name);
    return MakeBstr(PresetEntryName(*listed.entry, listed.preset).c_str(), name);
}

HRESULT CPluginManager::GetMenuPaths(int32_t index, BSTR* paths) {
    if (paths == nullptr)
        return E_POINTER;
    *paths = nullptr;
    const Listed listed = EnabledAt(index);
    if (listed.entry == nullptr)
        return DISP_E_BADINDEX;
    if (listed.preset < 0)
        return MakeBstr(listed.entry->menuPaths, paths);
    const std::u16string& presetName = PresetNamesOf(listed.entry)[static_cast<size_t>(listed.preset)];
    return MakeBstr(PresetMenuPaths(*listed.entry, presetName).c_str(), paths);
}

HRESULT CPluginManager::GetHasDialog(int32_t index, VARIANT_BOOL* has) {
    if (has == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = EnabledAt(index).entry;
    if (entry == nullptr)
        return DISP_E_BADINDEX;
    *has = FactsOf(entry).hasPages ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT CPluginManager::GetFlags(int32_t index, uint32_t* flags) {
    if (flags == nullptr)
        return E_POINTER;
    const CatalogueEntry* entry = EnabledAt(index).entry;
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
