#include "gui/HistoryBar.h"

#include "frame/MainFrame.h"
#include "platform/Messages.h"
#include "platform/Window.h"

#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>

namespace tw {

QIcon HistoryImage(int image) {
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor wave = image == 1 ? QColor(110, 110, 110) : QColor(40, 100, 190);
    // A small waveform: the stage's audio. The original's is grey, a bypassed stage's is crossed out.
    QPainterPath path;
    path.moveTo(3, 16);
    for (int x = 3; x <= 29; ++x)
        path.lineTo(x, 16 + ((x % 6) < 3 ? -1 : 1) * (3 + (x * 7) % 9));
    painter.setPen(QPen(wave, 2));
    painter.drawPath(path);
    if (image == 2) {
        painter.setPen(QPen(QColor(200, 40, 40), 3));
        painter.drawLine(5, 5, 27, 27);
        painter.drawLine(27, 5, 5, 27);
    }
    return QIcon(pixmap);
}

CHistoryBar::CHistoryBar(WindowHandle frame, std::function<QPoint(QPoint)> toView, QWidget* parent)
    : QTreeWidget(parent), m_frame(frame), m_toView(std::move(toView)) {
    setObjectName("historyList");
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setContextMenuPolicy(Qt::CustomContextMenu);
    setAllColumnsShowFocus(true);
    header()->setStretchLastSection(true);
    connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
        // A click with Ctrl or Shift only changes the selection; a plain one moves the mark.
        if (QGuiApplication::keyboardModifiers() == Qt::NoModifier)
            Post(CMainFrame::click, RowOf(item));
    });
    connect(this, &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) { Post(CMainFrame::doubleClick, RowOf(item)); });
    connect(this, &QTreeWidget::itemSelectionChanged, this, &CHistoryBar::SelectionChanged);
    connect(this, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QTreeWidgetItem* item = itemAt(at);
        if (item == nullptr)
            return;
        const QPoint inView = m_toView ? m_toView(viewport()->mapToGlobal(at)) : at;
        Post(CMainFrame::contextMenu, RowOf(item), MakePoint(inView.x(), inView.y()));
    });
}

void CHistoryBar::Post(uint32_t action, int row, intptr_t lParam) {
    CWindow::PostMessage(m_frame, CMainFrame::kHistoryMessage,
                         CMainFrame::HistoryParam(static_cast<CMainFrame::HistoryAction>(action), row),
                         lParam);
}

int CHistoryBar::RowOf(QTreeWidgetItem* item) const {
    return item != nullptr ? indexOfTopLevelItem(item) : -1;
}

void CHistoryBar::SelectionChanged() {
    if (m_applying)
        return;
    // The whole selection, in order: the frame rebuilds it from these posts before anything the
    // person does next arrives.
    Post(CMainFrame::selectNone, -1);
    for (int row = 0; row < topLevelItemCount(); ++row)
        if (topLevelItem(row)->isSelected())
            Post(CMainFrame::selectAdd, row);
}

void CHistoryBar::SetList(const CListModel& list) {
    m_applying = true;
    if (list.columns != m_list.columns) {
        QStringList titles;
        for (const CListModel::Column& column : list.columns)
            titles << QString::fromStdString(column.title);
        setHeaderLabels(titles);
        for (int i = 0; i < static_cast<int>(list.columns.size()); ++i)
            setColumnWidth(i, list.columns[static_cast<size_t>(i)].width);
    }
    if (list.rows != m_list.rows) {
        clear();
        QList<QTreeWidgetItem*> items;
        for (const CListModel::Row& row : list.rows) {
            auto* item = new QTreeWidgetItem;
            for (int i = 0; i < static_cast<int>(row.cells.size()); ++i)
                item->setText(i, QString::fromStdString(row.cells[static_cast<size_t>(i)]));
            item->setIcon(0, HistoryImage(row.image));
            items << item;
        }
        addTopLevelItems(items);
    }
    clearSelection();
    for (int row : list.selected)
        if (QTreeWidgetItem* item = topLevelItem(row))
            item->setSelected(true);
    if (QTreeWidgetItem* marked = topLevelItem(list.marked))
        setCurrentItem(marked, 0, QItemSelectionModel::NoUpdate);
    m_list = list;
    m_applying = false;
}

bool CHistoryBar::event(QEvent* event) {
    // Tab and Del belong to the list's own rules (the next pane; delete the selected stages), not to
    // the window's focus chain or the item view's editing.
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Tab || key == Qt::Key_Delete) {
            Post(CMainFrame::key, currentItem() != nullptr ? RowOf(currentItem()) : -1,
                 key == Qt::Key_Tab ? VK_TAB : VK_DELETE);
            return true;
        }
    }
    return QTreeWidget::event(event);
}

} // namespace tw
