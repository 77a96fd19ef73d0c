// The menu items FillMenu produces, as plain data that the window layer turns into real menus.
// Sub-menus are named by path, so the same sub-menu reached by several items is one sub-menu.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

struct TransformMenuItem {
    std::string text;                  // what the item shows
    std::vector<std::string> subMenus; // sub-menu names from the top menu down; empty: top level
    int32_t id = 0;                    // command id (2000 and up)
    bool enabled = true;
};

struct TransformMenu {
    std::vector<TransformMenuItem> items; // in menu order
};

} // namespace tw
