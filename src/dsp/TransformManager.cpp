#include "dsp/TransformManager.h"

#include "dsp/ComText.h"
#include "dsp/TransformPlugin.h"
#include "platform/ComQuery.h"
#include "platform/Utf.h"

#include <tidework/transform.h>

#include <algorithm>

namespace tw {

namespace {

// In-process, local and remote servers, as the managers have always been asked.
constexpr uint32_t kCreateContext = 23;

IPluginManager* MakeManager(const CLSID& classId) {
    void* out = nullptr;
    if (FAILED(CoCreateInstance(classId, nullptr, kCreateContext, IID_IPluginManager, &out)))
        return nullptr;
    return static_cast<IPluginManager*>(out);
}

// The text a BSTR getter hands out, "" when it fails.
template <class Getter> std::string Text(Getter&& get) {
    BSTR text = nullptr;
    const HRESULT hr = get(&text);
    if (FAILED(hr)) {
        SysFreeString(text);
        return {};
    }
    return TakeBstr(text);
}

// The number at the start of `text` as _wtoi reads it: blanks, a sign, digits; 0 without digits.
int32_t LeadingNumber(const std::string& text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        negative = text[i++] == '-';
    int64_t value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        value = std::min<int64_t>(value * 10 + (text[i] - '0'), int64_t{INT32_MAX} + 1);
    value = negative ? -value : value;
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

// A manager names a preset of a transform as "Name[n]": the entry makes the transform and selects
// preset n. Brackets the other way round are part of the name.
void SplitPreset(const std::string& reported, std::string& name, int32_t& preset) {
    const size_t open = reported.find('[');
    const size_t close = reported.find(']');
    if (open != std::string::npos && close != std::string::npos && open < close) {
        preset = LeadingNumber(reported.substr(open + 1, close - open - 1));
        name = reported.substr(0, open);
    } else {
        preset = -1;
        name = reported;
    }
}

std::vector<std::string> SplitPath(const std::string& path) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t slash = path.find('\\', start);
        parts.push_back(path.substr(start, slash == std::string::npos ? std::string::npos : slash - start));
        if (slash == std::string::npos)
            return parts;
        start = slash + 1;
    }
}

IVstPluginList* MakeFileList() {
    void* out = nullptr;
    if (FAILED(CoCreateInstance(CLSID_Lv2PluginManager, nullptr, kCreateContext, IID_IVstPluginList, &out)))
        return nullptr;
    return static_cast<IVstPluginList*>(out);
}

} // namespace

CTransformManager::CTransformManager()
    : CTransformManager({CLSID_LadspaPluginManager, CLSID_BuiltinPluginManager, CLSID_Lv2PluginManager}) {}

CTransformManager::CTransformManager(std::vector<CLSID> managers) : m_managers(std::move(managers)) {}

void CTransformManager::Start() {
    BuildList(kRefresh);
}

void CTransformManager::Refresh() {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    m_valid = false;
    BuildList(kRefresh);
}

void CTransformManager::Rescan() {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    m_valid = false;
    BuildList(kRescan);
}

void CTransformManager::Invalidate() {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    m_valid = false;
}

bool CTransformManager::IsValid() const {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    return m_valid;
}

void CTransformManager::ListManager(const CLSID& managerClassId, int32_t mode, std::vector<CPluginInfo>& list,
                                    int32_t& nextId, bool keepPastRange) {
    IPluginManager* manager = MakeManager(managerClassId);
    if (manager == nullptr)
        return;
    if (auto* control = Query<IPluginManagerControl>(manager, IID_IPluginManagerControl)) {
        if (mode == kRescan)
            control->Rescan(-1);
        else
            control->Refresh(-1);
        control->Release();
    }
    int32_t count = 0;
    if (FAILED(manager->GetCount(&count)))
        count = 0;
    for (int32_t index = 0; index < count; ++index) {
        std::string paths = Text([&](BSTR* text) { return manager->GetMenuPaths(index, text); });
        while (!paths.empty()) {
            const size_t feed = paths.find('\n');
            CPluginInfo info;
            info.m_menuPath = paths.substr(0, feed);
            paths = feed == std::string::npos ? std::string() : paths.substr(feed + 1);

            SplitPreset(Text([&](BSTR* text) { return manager->GetName(index, text); }), info.m_name,
                        info.m_presetNumber);
            if (nextId > kLastId) {
                // No command could reach it: a menu item past the range would do nothing, or
                // pick a preset of the effect tag's popup.
                if (!keepPastRange)
                    continue;
                info.m_id = -1;
            } else {
                info.m_id = nextId++;
            }
            info.m_enabled = 1;
            VARIANT_BOOL hasDialog = VARIANT_FALSE;
            if (SUCCEEDED(manager->GetHasDialog(index, &hasDialog)))
                info.m_hasDialog = hasDialog == VARIANT_TRUE ? 1 : 0;
            if (FAILED(manager->GetFlags(index, &info.m_flags)))
                info.m_flags = 0;
            if (FAILED(manager->GetClassId(index, &info.m_classId)))
                info.m_classId = GUID{};
            if (FAILED(manager->GetSubId(index, &info.m_subId)))
                info.m_subId = GUID{};
            list.push_back(std::move(info));
        }
    }
    manager->Release();
}

void CTransformManager::BuildList(int32_t mode) {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    if (m_valid)
        return;
    m_list.clear();
    int32_t nextId = kFirstId;
    for (const CLSID& manager : m_managers)
        ListManager(manager, mode, m_list, nextId);
    m_valid = true;
}

std::vector<CPluginInfo> CTransformManager::GetEntries() {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    BuildList(kRefresh);
    return m_list;
}

std::optional<CPluginInfo> CTransformManager::FindById(int32_t id) {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    BuildList(kRefresh);
    for (const CPluginInfo& info : m_list)
        if (info.m_id == id)
            return info;
    return std::nullopt;
}

CTransformPlugin* CTransformManager::CreateById(int32_t id) {
    const std::optional<CPluginInfo> info = FindById(id);
    if (!info)
        return nullptr;
    return CreateTransform(info->m_classId, info->m_subId, info->m_presetNumber);
}

CTransformPlugin* CTransformManager::CreateTransform(const GUID& classId, const GUID& subId,
                                                     int32_t presetNumber) {
    return CTransformPlugin::Create(classId, subId, presetNumber);
}

void CTransformManager::EnumerateManager(const CLSID& managerClassId, std::vector<CPluginInfo>& list,
                                         bool rescan) {
    int32_t nextId = kFirstId;
    ListManager(managerClassId, rescan ? kRescan : kRefresh, list, nextId, /*keepPastRange=*/true);

    IPluginManager* manager = MakeManager(managerClassId);
    if (manager == nullptr)
        return;
    auto* control = Query<IPluginManagerControl>(manager, IID_IPluginManagerControl);
    manager->Release();
    if (control == nullptr)
        return;
    int32_t count = 0;
    if (FAILED(control->GetDisabledCount(&count)))
        count = 0;
    for (int32_t index = 0; index < count; ++index) {
        CPluginInfo info;
        info.m_id = -1;
        info.m_presetNumber = -1;
        info.m_enabled = 0;
        info.m_hasDialog = 0;
        info.m_name = Text([&](BSTR* text) { return control->GetDisabledName(index, text); });
        if (FAILED(control->GetDisabledFlags(index, &info.m_flags)))
            info.m_flags = 0;
        if (FAILED(control->GetDisabledClassId(index, &info.m_classId)))
            info.m_classId = GUID{};
        if (FAILED(control->GetDisabledSubId(index, &info.m_subId)))
            info.m_subId = GUID{};
        list.push_back(std::move(info));
    }
    control->Release();
}

void CTransformManager::FillMenu(TransformMenu& menu, int32_t position, uint32_t requiredFlags,
                                 uint32_t forbiddenFlags) {
    std::vector<TransformMenuItem> items;
    {
        std::lock_guard<std::recursive_mutex> lock(m_lock);
        BuildList(kRefresh);
        for (const CPluginInfo& info : m_list) {
            const std::string text = info.m_hasDialog != 0 ? info.m_name + "..." : info.m_name;
            if (info.m_menuPath.empty())
                continue;
            // A path that ends in a separator names a sub-menu, and the item is the transform's
            // name; otherwise the path names the item itself.
            const std::string full =
                info.m_menuPath.back() == '\\' ? info.m_menuPath + text : info.m_menuPath;
            std::vector<std::string> parts = SplitPath(full);
            TransformMenuItem item;
            item.text = parts.back();
            parts.pop_back();
            for (std::string& part : parts)
                if (!part.empty())
                    item.subMenus.push_back(std::move(part));
            item.id = info.m_id;
            item.enabled =
                (info.m_flags & forbiddenFlags) == 0 && (info.m_flags & requiredFlags) == requiredFlags;
            items.push_back(std::move(item));
        }
    }
    const size_t at = position < 0 || static_cast<size_t>(position) > menu.items.size()
                          ? menu.items.size()
                          : static_cast<size_t>(position);
    menu.items.insert(menu.items.begin() + static_cast<std::ptrdiff_t>(at), items.begin(), items.end());
}

bool CTransformManager::AddVstFile(const std::string& path) {
    IVstPluginList* files = MakeFileList();
    if (files == nullptr)
        return false;
    const std::u16string wide = ToUtf16(path);
    BSTR text = SysAllocStringLen(wide.data(), static_cast<uint32_t>(wide.size()));
    const HRESULT hr = files->AddFile(text);
    SysFreeString(text);
    files->Release();
    if (FAILED(hr))
        return false;
    Refresh();
    return true;
}

bool CTransformManager::ScanVstFolder(const std::string& path, bool recursive) {
    IVstPluginList* files = MakeFileList();
    if (files == nullptr)
        return false;
    const std::u16string wide = ToUtf16(path);
    BSTR text = SysAllocStringLen(wide.data(), static_cast<uint32_t>(wide.size()));
    const HRESULT hr = files->ScanFolder(text, recursive ? VARIANT_TRUE : VARIANT_FALSE);
    SysFreeString(text);
    files->Release();
    Refresh();
    return SUCCEEDED(hr);
}

bool CTransformManager::ToggleTransform(const CLSID& managerClassId, const GUID& classId, const GUID& subId) {
    IPluginManager* manager = MakeManager(managerClassId);
    if (manager == nullptr)
        return false;
    auto* control = Query<IPluginManagerControl>(manager, IID_IPluginManagerControl);
    manager->Release();
    if (control == nullptr)
        return false;
    const HRESULT hr = control->Toggle(classId, subId);
    control->Release();
    Invalidate();
    return SUCCEEDED(hr);
}

int32_t CTransformManager::GetEntryCount(const CLSID& managerClassId) {
    IPluginManager* manager = MakeManager(managerClassId);
    if (manager == nullptr)
        return 0;
    if (auto* control = Query<IPluginManagerControl>(manager, IID_IPluginManagerControl)) {
        control->Refresh(-1);
        control->Release();
    }
    int32_t count = 0;
    if (FAILED(manager->GetCount(&count)) || count < 0)
        count = 0;
    manager->Release();
    return count;
}

CTransformManager& TransformManager() {
    // Never destroyed: document threads may still ask for it while the process ends.
    static CTransformManager* manager = new CTransformManager;
    return *manager;
}

CTransformBase* MakeTransformForBody(const GUID& classId, const GUID& subId) {
    return CTransformManager::CreateTransform(classId, subId, -1);
}

} // namespace tw
