// The edit history bar's list on screen: the rows the frame publishes, newest stage first, each
// with its image. Clicks, the selection, the popup request and the keys the list owns (Tab, Del)
// go to the frame's thread, which decides what they do and publishes the list again.
#pragma once

#include "platform/Presentation.h"

#include <QTreeWidget>

#include <functional>

namespace tw {

class CHistoryBar : public QTreeWidget {
    Q_OBJECT
public:
    // `toView` turns a point on the screen into the view's coordinates, where the frame's popup
    // menus are placed.
    CHistoryBar(WindowHandle frame, std::function<QPoint(QPoint)> toView, QWidget* parent);

    void SetList(const CListModel& list);
    const CListModel& List() const { return m_list; }

protected:
    bool event(QEvent* event) override;

private:
    void Post(uint32_t action, int row, intptr_t lParam = 0);
    void SelectionChanged();
    int RowOf(QTreeWidgetItem* item) const;

    WindowHandle m_frame;
    std::function<QPoint(QPoint)> m_toView;
    CListModel m_list;
    bool m_applying = false;
};

// The three images of the history rows: a stage, the original, a bypassed stage.
QIcon HistoryImage(int image);

} // namespace tw
