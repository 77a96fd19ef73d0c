// The list of transforms the system offers, gathered from the plug-in manager components (LADSPA
// effects, the built-in transforms, LV2 effects, in that order), and the one place that makes
// transform instances by id. Menus show the list; a menu command's id leads back to its entry.
//
// One object serves the whole program (TransformManager()). Every document thread may use it; a
// lock keeps the list whole, and lookups hand out copies of entries. The list is built on first use
// and again after it was marked invalid (a settings page changed something).
#pragma once

#include "core/Object.h"
#include "dsp/PluginInfo.h"
#include "dsp/TransformMenu.h"

#include <tidework/com.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tw {

class CTransformBase;
class CTransformPlugin;

class CTransformManager : public CObject {
public:
    // Command ids of entries: the frame routes 2000 to 3000 to transforms, and ids above are the
    // effect tag's preset popup, so entries past 3000 are not listed.
    static constexpr int32_t kFirstId = 2000;
    static constexpr int32_t kLastId = 3000;
    // What a manager is asked to do before it is listed: look again at what it knows, or search
    // its folders anew.
    enum BuildMode : int32_t { kRefresh = 1, kRescan = 2 };

    // Lists the three managers of the system.
    CTransformManager();
    // Lists the given managers in this order (tests, and hosts that bring their own).
    explicit CTransformManager(std::vector<CLSID> managers);

    // The start-up's part (tkInitDLL, the clip server's InitServer): builds the list unless one
    // stands, asking each manager to refresh what it knows rather than search its folders, so a
    // second start costs nothing and the first menu finds the list ready.
    void Start();
    // Mark the list invalid and build it again.
    void Refresh();
    void Rescan();
    // Builds the list unless it is valid. Managers that cannot be made are left out in silence.
    void BuildList(int32_t mode);
    void Invalidate();
    bool IsValid() const;

    // A copy of the list, built first when needed.
    std::vector<CPluginInfo> GetEntries();
    // The entry with that command id.
    std::optional<CPluginInfo> FindById(int32_t id);
    // An instance of the entry's transform with the entry's preset; null when there is no entry or
    // the transform cannot be made. The caller owns the result.
    CTransformPlugin* CreateById(int32_t id);
    // See CTransformPlugin::Create.
    static CTransformPlugin* CreateTransform(const GUID& classId, const GUID& subId, int32_t presetNumber);

    // Appends the entries of one manager to `list` (ids from 2000), then the entries the user has
    // disabled (id -1, enabled 0), for the settings pages. Nothing when the manager cannot be made.
    // Entries past the command range are listed with id -1, so a page can still disable them.
    void EnumerateManager(const CLSID& managerClassId, std::vector<CPluginInfo>& list, bool rescan);

    // Inserts an item for every entry with a menu path at `position` of `menu` (-1 or past the end:
    // appended). An item is disabled when its flags hold a forbidden bit or lack a required one.
    void FillMenu(TransformMenu& menu, int32_t position, uint32_t requiredFlags, uint32_t forbiddenFlags);

    // The LV2 manager's file list; false when the manager has none or refuses. Success rebuilds
    // the list.
    bool AddVstFile(const std::string& path);
    bool ScanVstFolder(const std::string& path, bool recursive);
    // Takes an entry out of a manager's list, or brings it back. The list is rebuilt at next use.
    bool ToggleTransform(const CLSID& managerClassId, const GUID& classId, const GUID& subId);
    // How many entries a manager offers after refreshing; 0 when it cannot be made.
    int32_t GetEntryCount(const CLSID& managerClassId);

private:
    // Steps of one manager's listing; `nextId` runs on across managers. Entries that would get an
    // id past kLastId are dropped, or kept with id -1 when `keepPastRange` is set.
    static void ListManager(const CLSID& managerClassId, int32_t mode, std::vector<CPluginInfo>& list,
                            int32_t& nextId, bool keepPastRange = false);

    mutable std::recursive_mutex m_lock;
    bool m_valid = false;
    std::vector<CPluginInfo> m_list;
    std::vector<CLSID> m_managers;
};

// The program's manager.
CTransformManager& TransformManager();

// For the loader of a document body: the transform of a stored record, made from its two ids
// without a preset. Null when the class is not available (the document then names string 218).
CTransformBase* MakeTransformForBody(const GUID& classId, const GUID& subId);

} // namespace tw
