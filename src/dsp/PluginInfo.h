// One entry of the list of available transforms: what a plug-in manager reported for one menu path
// of one transform, with the command id the menus use for it. A transform offered under two paths
// gives two entries with the same class. Plain value; copied freely between threads.
#pragma once

#include "core/Object.h"

#include <tidework/com.h>

#include <cstdint>
#include <string>

namespace tw {

class CPluginInfo : public CObject {
public:
    // Command id from 2000 up, in list order across the managers; -1 for a disabled entry.
    int32_t m_id = -1;
    GUID m_classId{};
    std::string m_name;
    // Backslash-separated menu path; empty for a disabled entry (which then has no menu item).
    std::string m_menuPath;
    int32_t m_hasDialog = 0;
    // Preset chosen when the entry is made: the number in square brackets of the reported name.
    int32_t m_presetNumber = -1;
    // Channel layouts handled (kLayout* of transform.h) and the component's own bits.
    uint32_t m_flags = 0;
    GUID m_subId{};
    // 1 for an entry of a manager's list, 0 for one the user has disabled.
    int32_t m_enabled = 0;
};

} // namespace tw
