#include "frame/CustomizeDlg.h"

#include "frame/FrameLayout.h"
#include "frame/ToolbarButtons.h"

#include <algorithm>

namespace tw {

namespace {

bool Has(const std::vector<uint32_t>& list, uint32_t id) {
    return std::find(list.begin(), list.end(), id) != list.end();
}

} // namespace

CCustomizeDlg::CCustomizeDlg() : m_toolbars(DefaultToolbars()) {
    for (const CFrameLayout::Button& button : DefaultButtons())
        m_texts[button.id] = button.text;
    for (const CToolbarModel& toolbar : m_toolbars) {
        // Only the buttons the toolbar offers: a stale id in the settings is forgotten at the next OK.
        std::vector<uint32_t>& hidden = m_hidden[toolbar.id];
        const std::vector<uint32_t> stored = ReadHiddenButtons(toolbar.id);
        for (uint32_t id : toolbar.commands)
            if (id != 0 && Has(stored, id))
                hidden.push_back(id);
    }
}

std::string CCustomizeDlg::ButtonKey(uint32_t toolbar, uint32_t command) {
    return "button." + std::to_string(toolbar) + "." + std::to_string(command);
}

std::vector<uint32_t> CCustomizeDlg::Hidden(uint32_t toolbar) const {
    auto it = m_hidden.find(toolbar);
    return it != m_hidden.end() ? it->second : std::vector<uint32_t>();
}

std::vector<CDialogField> CCustomizeDlg::GetFormFields() const {
    std::vector<CDialogField> fields;
    for (const CToolbarModel& toolbar : m_toolbars) {
        CDialogField header;
        header.key = "toolbar." + std::to_string(toolbar.id);
        header.kind = CDialogField::Kind::Header;
        header.label = "Toolbar:";
        header.value = toolbar.title;
        fields.push_back(header);
        const std::vector<uint32_t> hidden = Hidden(toolbar.id);
        for (uint32_t id : toolbar.commands) {
            if (id == 0)
                continue;
            CDialogField check;
            check.key = ButtonKey(toolbar.id, id);
            check.kind = CDialogField::Kind::Check;
            auto text = m_texts.find(id);
            check.label = text != m_texts.end() ? text->second : std::to_string(id);
            check.value = Has(hidden, id) ? "0" : "1";
            check.live = true;
            fields.push_back(check);
        }
    }
    return fields;
}

void CCustomizeDlg::SetFormField(const std::string& key, const std::string& value) {
    if (key == kReset) {
        for (auto& [toolbar, hidden] : m_hidden)
            if (value.empty() || value == std::to_string(toolbar))
                hidden.clear();
        return;
    }
    for (const CToolbarModel& toolbar : m_toolbars)
        for (uint32_t id : toolbar.commands) {
            if (id == 0 || key != ButtonKey(toolbar.id, id))
                continue;
            std::vector<uint32_t>& hidden = m_hidden[toolbar.id];
            const bool shown = value != "0";
            if (shown)
                std::erase(hidden, id);
            else if (!Has(hidden, id)) {
                // Kept in the toolbar's order, so the stored text reads the same however it was set.
                hidden.push_back(id);
                std::vector<uint32_t> ordered;
                for (uint32_t button : toolbar.commands)
                    if (Has(hidden, button))
                        ordered.push_back(button);
                hidden = std::move(ordered);
            }
            return;
        }
}

void CCustomizeDlg::OnOK() {
    for (const CToolbarModel& toolbar : m_toolbars)
        WriteHiddenButtons(toolbar.id, Hidden(toolbar.id));
    EndDialog(1);
}

} // namespace tw
