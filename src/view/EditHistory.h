// The edit history bar's model: the rows its list shows for one view's undo list, the row that
// holds the list's selection mark, and what its clicks, keys and popup menu do. No widgets: the Qt
// bar reads Rows() after each change and reports a person's clicks and keys back here, on the
// document's thread.
#pragma once

#include "platform/Presentation.h"
#include "view/ChildView.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

// One line of the bar's list.
struct CHistoryRow {
    enum Image { stageImage = 0, originalImage = 1, bypassedImage = 2 };
    std::string command; // the stage's caption, "Original" on the bottom row
    std::string section; // "start - end" of the stage's selection; empty on the bottom row
    int image = stageImage;
    bool operator==(const CHistoryRow&) const = default;
};

struct CHistoryColumn {
    std::string title;
    int width = 0;
};

class CEditHistory : public IHistoryObserver {
public:
    // The list control inside the bar and the bar itself, as the frame names them.
    static constexpr uint32_t kListId = 6024;
    static constexpr uint32_t kBarId = 6023;

    // What a key in the bar asks of the frame.
    enum class KeyResult { none, handled, nextPane };

    // Observes `view` from now on and shows its lists as they stand.
    explicit CEditHistory(CChildView& view);
    ~CEditHistory() override;
    CEditHistory(const CEditHistory&) = delete;
    CEditHistory& operator=(const CEditHistory&) = delete;

    // Rebuilds every row from the view's undo list; the marks go, as they do when a list control
    // loses its items.
    void HistoryChanged() override;

    static std::vector<CHistoryColumn> Columns();
    // Newest stage first, "Original" last.
    const std::vector<CHistoryRow>& Rows() const { return m_rows; }
    // How many stages the rows show (the rows less the bottom one).
    int GetStageCount() const { return m_stageCount; }
    // Counts every change of the rows, the mark or the selection: the frame reads the rows again
    // only when it moved.
    uint64_t Revision() const { return m_revision; }
    // The undo list's index a row stands for; -1 for the "Original" row or a row that is not there.
    int StageIndexOfRow(int row) const;

    // The row holding the selection mark, -1 when none; the bar's commands act on it.
    int GetMarkedRow() const { return m_marked; }
    void SetMarkedRow(int row);
    // The rows selected in the list (the Del key takes them all); the marked row is among them.
    const std::vector<int>& GetSelectedRows() const { return m_selected; }
    void SetSelectedRows(const std::vector<int>& rows);

    // A person's actions on the list.
    void OnClick(int row);
    void OnDoubleClick(int row);
    // Marks the row, shows the popup menu at (x, y) and runs the chosen command on the view.
    void OnContextMenu(int row, int x, int y);
    KeyResult OnKeyDown(uint32_t key);

    // The popup menu for the marked row, each item in the state the view's rows give it.
    std::vector<CMenuItem> PopupMenu() const;

    // Deletes the stages of the selected rows in one go (the Del key of the list).
    void DeleteSelectedStages();

private:
    CChildView& m_view;
    std::vector<CHistoryRow> m_rows;
    std::vector<int> m_selected;
    int m_stageCount = 0;
    int m_marked = -1;
    uint64_t m_revision = 0;
};

} // namespace tw
