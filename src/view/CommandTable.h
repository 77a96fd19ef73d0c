// The rows through which a window answers commands: a command row runs the command, an update
// row tells the item's enable state, check and text. One id may have both; the first row that
// covers an id is the one that counts, so a later row for the same id is shadowed.
#pragma once

#include "platform/Presentation.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

namespace tw {

// The state an update row fills in; starts enabled, unchecked, with the item's own text.
class CCmdUI {
public:
    explicit CCmdUI(uint32_t id) { m_state.id = id; }
    uint32_t GetId() const { return m_state.id; }
    void Enable(bool enable = true) { m_state.enabled = enable; }
    void SetCheck(int check = 1) { m_state.check = check; }
    void SetRadio(bool on = true) {
        m_state.radio = true;
        m_state.check = on ? 1 : 0;
    }
    void SetText(const std::string& text) {
        m_state.hasText = true;
        m_state.text = text;
    }
    const CCommandState& State() const { return m_state; }

private:
    CCommandState m_state;
};

class CCommandTable {
public:
    using Handler = std::function<void(uint32_t id)>;
    using Updater = std::function<void(CCmdUI& ui)>;

    void AddCommand(uint32_t first, uint32_t last, Handler handler) {
        m_commands.push_back({first, last, std::move(handler)});
    }
    void AddCommand(uint32_t id, Handler handler) { AddCommand(id, id, std::move(handler)); }
    void AddUpdate(uint32_t first, uint32_t last, Updater updater) {
        m_updates.push_back({first, last, std::move(updater)});
    }
    void AddUpdate(uint32_t id, Updater updater) { AddUpdate(id, id, std::move(updater)); }

    // Runs the first command row for `id`; false when no row takes it.
    bool Dispatch(uint32_t id) const {
        for (const CommandRow& row : m_commands)
            if (id >= row.first && id <= row.last) {
                row.handler(id);
                return true;
            }
        return false;
    }
    // Fills `ui` from the first update row for its id; false when no row has it.
    bool Update(CCmdUI& ui) const {
        for (const UpdateRow& row : m_updates)
            if (ui.GetId() >= row.first && ui.GetId() <= row.last) {
                row.updater(ui);
                return true;
            }
        return false;
    }
    bool HasCommand(uint32_t id) const {
        for (const CommandRow& row : m_commands)
            if (id >= row.first && id <= row.last)
                return true;
        return false;
    }
    // Every single id with an update row, ranges spelled out, in row order without repeats.
    std::vector<uint32_t> UpdateIds() const {
        std::vector<uint32_t> ids;
        for (const UpdateRow& row : m_updates)
            for (uint32_t id = row.first; id <= row.last && id >= row.first; ++id)
                if (std::find(ids.begin(), ids.end(), id) == ids.end())
                    ids.push_back(id);
        return ids;
    }

private:
    struct CommandRow {
        uint32_t first, last;
        Handler handler;
    };
    struct UpdateRow {
        uint32_t first, last;
        Updater updater;
    };
    std::vector<CommandRow> m_commands;
    std::vector<UpdateRow> m_updates;
};

} // namespace tw
