#include "frame/ToolbarButtons.h"

#include "platform/Settings.h"

#include <algorithm>
#include <charconv>

namespace tw {

namespace {

constexpr const char* kSection = "Workspace";

std::string Key(uint32_t toolbar) {
    return "HiddenButtons" + std::to_string(toolbar);
}

} // namespace

std::vector<uint32_t> ReadHiddenButtons(uint32_t toolbar) {
    const std::string text = GetSettingString(kSection, Key(toolbar), "");
    std::vector<uint32_t> hidden;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(',', start);
        if (end == std::string::npos)
            end = text.size();
        uint32_t id = 0;
        const char* first = text.data() + start;
        const char* last = text.data() + end;
        while (first < last && *first == ' ')
            ++first;
        const auto [stop, error] = std::from_chars(first, last, id);
        if (error == std::errc() && stop == last && id != 0 &&
            std::find(hidden.begin(), hidden.end(), id) == hidden.end())
            hidden.push_back(id);
        start = end + 1;
    }
    return hidden;
}

void WriteHiddenButtons(uint32_t toolbar, const std::vector<uint32_t>& hidden) {
    if (hidden.empty()) {
        DeleteSetting(kSection, Key(toolbar));
        return;
    }
    std::string text;
    for (uint32_t id : hidden)
        text += (text.empty() ? "" : ",") + std::to_string(id);
    PutSettingString(kSection, Key(toolbar), text);
}

void RemoveButtons(CToolbarModel& toolbar, const std::vector<uint32_t>& hidden) {
    std::vector<uint32_t> kept;
    for (uint32_t id : toolbar.commands) {
        if (id != 0 && std::find(hidden.begin(), hidden.end(), id) != hidden.end()) {
            toolbar.hidden.push_back(id);
            continue;
        }
        // A separator only between two buttons.
        if (id == 0 && (kept.empty() || kept.back() == 0))
            continue;
        kept.push_back(id);
    }
    while (!kept.empty() && kept.back() == 0)
        kept.pop_back();
    toolbar.commands = std::move(kept);
}

void ApplyHiddenButtons(std::vector<CToolbarModel>& toolbars) {
    for (CToolbarModel& toolbar : toolbars)
        RemoveButtons(toolbar, ReadHiddenButtons(toolbar.id));
}

} // namespace tw
