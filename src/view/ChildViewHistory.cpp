// CChildView: undo, redo and the stages of the edit history. A stage is a copy of the event list;
// streams and effects are shared through the object pool, so going back costs a list swap.
#include "view/ChildView.h"

#include "dsp/TransformPlugin.h"
#include "platform/Messages.h"
#include "platform/StringTable.h"
#include "view/ApplyDialog.h"
#include "view/EditHistory.h"
#include "view/UndoEntry.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace tw {

namespace {

constexpr uint32_t kTrackSplitMoved = 201;
constexpr uint32_t kDeleteStagesQuestion = 205;
constexpr uint32_t kUndoText = 206;
constexpr uint32_t kRedoText = 207;
constexpr uint32_t kCrossFadeTime = 216;
constexpr uint32_t kSpliceMove = 224;
constexpr uint32_t kStagesNotDeleted = 226;

// Drags of one kind in a row are one stage: each mouse move would otherwise make its own.
bool IsCoalescedDrag(const std::string& caption) {
    return caption == LoadString(kCrossFadeTime) || caption == LoadString(kSpliceMove) ||
           caption == LoadString(kTrackSplitMoved);
}

void DeleteAll(std::list<CUndoEntry*>& list) {
    for (CUndoEntry* entry : list)
        delete entry;
    list.clear();
}

CUndoEntry* EntryAt(const std::list<CUndoEntry*>& list, int index) {
    if (index < 0 || static_cast<size_t>(index) >= list.size())
        return nullptr;
    return *std::next(list.begin(), index);
}

} // namespace

void CChildView::PushUndo(const std::string& caption, CTransformPlugin* transform) {
    DeleteAll(m_redoList);
    if (!m_undoList.empty() && IsCoalescedDrag(caption) && m_undoList.back()->m_caption == caption) {
        HistoryChanged();
        return;
    }
    auto* entry = new CUndoEntry;
    entry->m_caption = caption;
    entry->m_transform = transform;
    entry->m_selection = m_selection;
    entry->m_visible = m_viewSection;
    m_media.CopyTo(entry->m_media, CSection(0, m_media.GetLength()));
    m_undoList.push_back(entry);
    HistoryChanged();
}

void CChildView::Step(int count) {
    StopPlayback();
    if (count == 0)
        return;
    if (count < 0 && static_cast<size_t>(-static_cast<int64_t>(count)) > m_undoList.size())
        return;
    if (count > 0 && static_cast<size_t>(count) > m_redoList.size())
        return;
    std::list<CUndoEntry*>& from = count < 0 ? m_undoList : m_redoList;
    std::list<CUndoEntry*>& to = count < 0 ? m_redoList : m_undoList;
    for (int i = 0; i < std::abs(count); ++i) {
        CUndoEntry* stage = from.back();
        from.pop_back();
        // The present state becomes a stage first, so its streams and effects keep a reference
        // while the document lets go of them. The stage being left is deleted right after, so
        // both lists move instead of being copied.
        auto* present = new CUndoEntry;
        present->m_caption = stage->m_caption;
        present->m_transform = stage->m_transform;
        present->m_selection = m_selection;
        present->m_visible = m_viewSection;
        // A step moves whole lists: copying ten thousand events twice per step would cost time.
        m_media.MoveTo(present->m_media, false);
        to.push_back(present);

        stage->m_media.MoveTo(m_media, false);
        m_viewSection = stage->m_visible;
        m_selection = stage->m_selection;
        delete stage;
    }
    if (m_visualizer != nullptr)
        m_visualizer->Refresh();
    Invalidate();
    UpdateScrollBar();
    HistoryChanged();
    SetStatus(kIdleStatus);
    // The container follows undo and redo too, though the document's modified flag does not.
    RequestStateSave();
}

void CChildView::ClearHistory() {
    DeleteAll(m_undoList);
    DeleteAll(m_redoList);
    HistoryChanged();
}

void CChildView::HistoryChanged() {
    if (m_historyObserver != nullptr)
        m_historyObserver->HistoryChanged();
}

CTransformPlugin* CChildView::GetStageTransform(int index) const {
    const CUndoEntry* entry = EntryAt(m_undoList, index);
    if (entry == nullptr || entry->m_transform == nullptr)
        return nullptr;
    return entry->m_transform->GetHasPages() ? entry->m_transform : nullptr;
}

void CChildView::ReconfigureStage(int index) {
    CTransformPlugin* transform = GetStageTransform(index);
    if (transform == nullptr)
        return;
    CApplyDialog dialog(this, transform, CApplyDialog::reconfigureMode);
    if (dialog.DoModal(GetSafeHandle()) == IDOK)
        DocumentChanged();
}

void CChildView::ToggleStageBypass(int index) {
    CUndoEntry* entry = EntryAt(m_undoList, index);
    if (entry == nullptr || entry->m_transform == nullptr)
        return;
    // One instance serves the document, every stage and every read clone: the flip holds for all.
    entry->m_transform->SetBypass(!entry->m_transform->GetBypass());
    if (m_visualizer != nullptr)
        m_visualizer->Refresh();
    Invalidate();
    HistoryChanged();
    // The flag is part of the stored state: a recovery must find it as the person left it.
    RequestStateSave();
}

void CChildView::DeleteStages(const int* indices, int count) {
    if (indices == nullptr || count <= 0)
        return;
    if (ShowMessageBox(LoadString(kDeleteStagesQuestion), MB_YESNO | MB_ICONQUESTION, GetSafeHandle()) !=
        IDYES)
        return;
    std::vector<int> order(indices, indices + count);
    std::sort(order.begin(), order.end());
    order.erase(std::unique(order.begin(), order.end()), order.end());
    std::vector<CTransformPlugin*> removed;
    bool failed = false;
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        CUndoEntry* entry = EntryAt(m_undoList, *it);
        if (entry == nullptr)
            continue;
        if (entry->m_transform == nullptr) {
            failed = true;
            continue;
        }
        removed.push_back(entry->m_transform);
        m_undoList.erase(std::next(m_undoList.begin(), *it));
        delete entry;
    }
    for (CTransformPlugin* transform : removed) {
        for (CUndoEntry* entry : m_undoList)
            entry->m_media.RemoveTransform(transform);
        m_media.RemoveTransform(transform);
    }
    if (failed)
        ShowMessageBox(LoadString(kStagesNotDeleted), MB_ICONWARNING, GetSafeHandle());
    HistoryChanged();
    DocumentChanged();
}

void CChildView::SelectStage(int index) {
    const int undoCount = static_cast<int>(m_undoList.size());
    const int total = undoCount + static_cast<int>(m_redoList.size());
    const CUndoEntry* entry =
        index < undoCount ? EntryAt(m_undoList, index) : EntryAt(m_redoList, total - index - 1);
    if (entry == nullptr || entry->m_transform == nullptr)
        return;
    m_selection = m_media.SectionOfTransform(entry->m_transform);
    Invalidate();
}

void CChildView::AddHistoryCommands(CCommandTable& table) {
    table.AddCommand(kUndo, [this](uint32_t) { Step(-1); });
    table.AddUpdate(kUndo, [this](CCmdUI& ui) {
        ui.Enable(!m_undoList.empty() && Idle());
        ui.SetText(
            FormatString(kUndoText, m_undoList.empty() ? std::string() : m_undoList.back()->m_caption));
    });
    table.AddCommand(kRedo, [this](uint32_t) { Step(+1); });
    table.AddUpdate(kRedo, [this](CCmdUI& ui) {
        ui.Enable(!m_redoList.empty() && Idle());
        ui.SetText(
            FormatString(kRedoText, m_redoList.empty() ? std::string() : m_redoList.back()->m_caption));
    });

    // The bar's popup commands act on the row that holds its selection mark. Row r stands for the
    // undo list's index (count - r - 1); going to row r undoes r stages.
    auto markedRow = [this]() {
        const auto* bar = dynamic_cast<const CEditHistory*>(m_historyObserver);
        return bar != nullptr ? bar->GetMarkedRow() : -1;
    };
    auto markedStage = [this, markedRow]() {
        const int row = markedRow();
        const int count = static_cast<int>(m_undoList.size());
        return row >= 0 && row < count ? count - row - 1 : -1;
    };
    table.AddCommand(kGoToStage, [this, markedRow](uint32_t) {
        const int row = markedRow();
        if (row >= 0 && static_cast<size_t>(row) <= m_undoList.size())
            Step(-row);
    });
    // The three stage entries go together: a stage offers them when its transform has an editor.
    auto stageEffect = [this, markedStage]() -> CTransformPlugin* {
        return GetStageTransform(markedStage());
    };
    table.AddCommand(kChangeStageSettings, [this, markedStage](uint32_t) {
        if (Idle())
            ReconfigureStage(markedStage());
    });
    table.AddCommand(kBypassStage, [this, markedStage, stageEffect](uint32_t) {
        if (Idle() && stageEffect() != nullptr)
            ToggleStageBypass(markedStage());
    });
    table.AddCommand(kDeleteStage, [this, markedStage, stageEffect](uint32_t) {
        const int index = markedStage();
        if (Idle() && stageEffect() != nullptr)
            DeleteStages(&index, 1);
    });
    // Go To stays available: it stops a playback itself.
    table.AddUpdate(kGoToStage, [](CCmdUI& ui) { ui.Enable(true); });
    table.AddUpdate(kChangeStageSettings,
                    [this, stageEffect](CCmdUI& ui) { ui.Enable(stageEffect() != nullptr && Idle()); });
    table.AddUpdate(kBypassStage, [this, stageEffect](CCmdUI& ui) {
        const CTransformPlugin* transform = stageEffect();
        ui.Enable(transform != nullptr && Idle());
        ui.SetCheck(transform != nullptr && transform->GetBypass() ? 1 : 0);
    });
    table.AddUpdate(kDeleteStage,
                    [this, stageEffect](CCmdUI& ui) { ui.Enable(stageEffect() != nullptr && Idle()); });
}

} // namespace tw
