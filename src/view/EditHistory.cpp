#include "view/EditHistory.h"

#include "dsp/TransformPlugin.h"
#include "platform/Messages.h"
#include "platform/StringTable.h"
#include "storage/FormatTime.h"
#include "view/UndoEntry.h"

#include <algorithm>

namespace tw {

namespace {

constexpr uint32_t kCommandColumn = 209;
constexpr uint32_t kSectionColumn = 210;
constexpr uint32_t kOriginal = 212;

} // namespace

CEditHistory::CEditHistory(CChildView& view) : m_view(view) {
    m_view.SetHistoryObserver(this);
    HistoryChanged();
}

// The bar lives inside the frame that owns the view and goes before it.
CEditHistory::~CEditHistory() {
    m_view.SetHistoryObserver(nullptr);
}

std::vector<CHistoryColumn> CEditHistory::Columns() {
    return {{LoadString(kCommandColumn), 90}, {LoadString(kSectionColumn), 148}};
}

void CEditHistory::HistoryChanged() {
    const WAVEFORMATEX* format = m_view.GetMedia().GetFormat();
    const int64_t rate = format != nullptr ? format->nSamplesPerSec : 1;
    const auto& undo = m_view.GetUndoList();
    m_rows.clear();
    m_rows.reserve(undo.size() + 1);
    // Newest first: walk the list from its tail.
    for (auto it = undo.rbegin(); it != undo.rend(); ++it) {
        const CUndoEntry& entry = **it;
        CHistoryRow row;
        row.command = entry.m_caption;
        const int64_t start = format != nullptr ? entry.m_selection.m_start : 0;
        const int64_t end = format != nullptr ? entry.m_selection.m_end : 0;
        row.section = FormatTime(start, rate) + " - " + FormatTime(end, rate);
        row.image = entry.m_transform != nullptr && entry.m_transform->GetBypass()
                        ? CHistoryRow::bypassedImage
                        : CHistoryRow::stageImage;
        m_rows.push_back(std::move(row));
    }
    CHistoryRow original;
    original.command = LoadString(kOriginal);
    original.image = CHistoryRow::originalImage;
    m_rows.push_back(std::move(original));
    m_stageCount = static_cast<int>(undo.size());
    m_marked = -1;
    m_selected.clear();
    ++m_revision;
}

int CEditHistory::StageIndexOfRow(int row) const {
    if (row < 0 || row >= m_stageCount)
        return -1;
    return m_stageCount - row - 1;
}

void CEditHistory::SetMarkedRow(int row) {
    ++m_revision;
    m_marked = row >= 0 && row < static_cast<int>(m_rows.size()) ? row : -1;
    m_selected.clear();
    if (m_marked >= 0)
        m_selected.push_back(m_marked);
}

void CEditHistory::SetSelectedRows(const std::vector<int>& rows) {
    ++m_revision;
    m_selected.clear();
    for (int row : rows)
        if (row >= 0 && row < static_cast<int>(m_rows.size()) &&
            std::find(m_selected.begin(), m_selected.end(), row) == m_selected.end())
            m_selected.push_back(row);
    if (std::find(m_selected.begin(), m_selected.end(), m_marked) == m_selected.end())
        m_marked = m_selected.empty() ? -1 : m_selected.front();
}

void CEditHistory::OnClick(int row) {
    SetMarkedRow(row);
    // The mark moved under a person's eyes: the view shows what the bar now points at at once.
    m_view.Invalidate();
    m_view.UpdateWindow();
}

void CEditHistory::OnDoubleClick(int row) {
    SetMarkedRow(row);
    const int index = StageIndexOfRow(row);
    if (index < 0)
        return;
    m_view.SelectStage(index);
    m_view.UpdateWindow();
}

std::vector<CMenuItem> CEditHistory::PopupMenu() const {
    std::vector<CMenuItem> menu;
    auto item = [this](uint32_t id, const char* text) {
        CMenuItem entry;
        entry.id = id;
        entry.text = text;
        CCmdUI ui(id);
        if (m_view.OnUpdateCmd(ui)) {
            entry.enabled = ui.State().enabled;
            entry.checked = ui.State().check != 0;
        }
        return entry;
    };
    menu.push_back(item(CChildView::kGoToStage, "Go To this Editing Stage"));
    CMenuItem separator;
    separator.separator = true;
    menu.push_back(separator);
    menu.push_back(item(CChildView::kChangeStageSettings, "Change Transform Settings..."));
    menu.push_back(item(CChildView::kBypassStage, "Bypass Transform"));
    menu.push_back(item(CChildView::kDeleteStage, "Delete Editing Stage"));
    return menu;
}

void CEditHistory::OnContextMenu(int row, int x, int y) {
    SetMarkedRow(row);
    const uint32_t chosen = Presentation().TrackPopupMenu(m_view.GetSafeHandle(), PopupMenu(), x, y);
    if (chosen != 0)
        m_view.OnCmdMsg(chosen);
    m_view.UpdateWindow();
}

CEditHistory::KeyResult CEditHistory::OnKeyDown(uint32_t key) {
    if (key == VK_TAB)
        return KeyResult::nextPane;
    if (key == VK_DELETE) {
        DeleteSelectedStages();
        return KeyResult::handled;
    }
    return KeyResult::none;
}

void CEditHistory::DeleteSelectedStages() {
    std::vector<int> indices;
    for (int row : m_selected) {
        const int index = StageIndexOfRow(row);
        if (index >= 0)
            indices.push_back(index);
    }
    // The popup's entries are disabled while the document plays; the key keeps the same rule.
    if (indices.empty() || m_view.IsPlaying())
        return;
    m_view.DeleteStages(indices.data(), static_cast<int>(indices.size()));
    m_view.UpdateWindow();
}

} // namespace tw
