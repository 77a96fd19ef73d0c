// Turns the path strings of transforms into nested menus: "EFFECTS\Delay\" with the text "Echo"
// puts "Echo" into the sub-menu "Delay" of the Effects menu. The tokens of the five transform menus
// are replaced by their titles in the present language, so a path finds the menu the person sees.
#pragma once

#include "platform/Presentation.h"

#include <cstdint>
#include <string>

namespace tw {

class CMenuStructure {
public:
    // Items are added to `root`, which must outlive this object.
    explicit CMenuStructure(std::vector<CMenuItem>& root) : m_root(&root) {}

    // Splits `path` at '\\'; every element but the last names a sub-menu, found by its text or made
    // at the end. The last element is "SEPARATOR" (a separator), empty (nothing) or the item's text.
    void AddPath(const std::string& path, uint32_t commandId, bool enabled = true);

    // The title of a transform menu token (VOLUME, TOOLS, EFFECTS, ENHANCEMENT, PLUGINS), or the
    // element itself when it is none of them.
    static std::string MenuTitle(const std::string& element);

private:
    std::vector<CMenuItem>* m_root;
};

} // namespace tw
