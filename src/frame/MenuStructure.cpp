#include "frame/MenuStructure.h"

#include "platform/StringTable.h"

#include <utility>

namespace tw {

std::string CMenuStructure::MenuTitle(const std::string& element) {
    static const std::pair<const char*, uint32_t> kTokens[] = {
        {"VOLUME", 195}, {"TOOLS", 196}, {"EFFECTS", 198}, {"ENHANCEMENT", 197}, {"PLUGINS", 525}};
    for (const auto& [token, string] : kTokens)
        if (element == token)
            return LoadString(string);
    return element;
}

void CMenuStructure::AddPath(const std::string& path, uint32_t commandId, bool enabled) {
    std::vector<std::string> elements;
    size_t from = 0;
    for (size_t at; (at = path.find('\\', from)) != std::string::npos; from = at + 1)
        elements.push_back(path.substr(from, at - from));
    elements.push_back(path.substr(from));

    std::vector<CMenuItem>* menu = m_root;
    for (size_t i = 0; i + 1 < elements.size(); ++i) {
        const std::string title = MenuTitle(elements[i]);
        CMenuItem* found = nullptr;
        for (CMenuItem& item : *menu)
            if (!item.separator && item.id == 0 && item.text == title)
                found = &item;
        if (found == nullptr) {
            CMenuItem popup;
            popup.text = title;
            menu->push_back(popup);
            found = &menu->back();
        }
        menu = &found->popup;
    }
    const std::string& last = elements.back();
    if (last == "SEPARATOR") {
        CMenuItem separator;
        separator.separator = true;
        menu->push_back(separator);
    } else if (!last.empty()) {
        CMenuItem item;
        item.id = commandId;
        item.text = last;
        item.enabled = enabled;
        menu->push_back(item);
    }
}

} // namespace tw
