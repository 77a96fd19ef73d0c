// The frame's bars on screen: the edit history list shows the stages and its clicks, popup and keys
// reach the document; the status panes; a bar closed by its own button stays in step with its
// toggle; the Window menu lists the documents; files dropped on the frame open.
#include "OnScreen.h"

#include "gui/HistoryBar.h"
#include "platform/Messages.h"

#include <QAbstractButton>
#include <QAction>
#include <QContextMenuEvent>
#include <QDockWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QTest>
#include <QTimer>
#include <QUrl>

namespace tw {
namespace {

using namespace test;

class FrameBars : public OnScreen {
protected:
    // Two plain deletes make two stages (newest first in the list, "Original" below them).
    void MakeStages() {
        document->Call([](CMainFrame& f) {
            for (int64_t start : {1000, 5000}) {
                f.GetView().SetSelection(CSection(start, start + 441));
                f.OnCmdMsg(CChildView::kDelete);
            }
            f.PublishIdle();
        });
    }
    QPoint RowCentre(CHistoryBar* bar, int row) {
        return bar->visualItemRect(bar->topLevelItem(row)).center();
    }
};

TEST_F(FrameBars,
       TheHistoryListShowsTheStagesAndItsClicksAndPopupReachTheDocument_AndTheHostBarShowsForAClip) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    window->Action(32770)->trigger();
    ASSERT_TRUE(Pump([&] { return window->Bar(32770)->isVisible(); }));
    MakeStages();
    CHistoryBar* bar = window->HistoryBar();
    ASSERT_NE(bar, nullptr);
    ASSERT_TRUE(Pump([&] { return bar->topLevelItemCount() == 3; }));
    EXPECT_EQ(bar->headerItem()->text(0).toStdString(), bar->List().columns[0].title);
    EXPECT_EQ(bar->topLevelItem(2)->text(0), "Original");
    EXPECT_TRUE(bar->topLevelItem(0)->text(1).contains(" - "));

    // A plain click marks the row on the document's side.
    QTest::mouseClick(bar->viewport(), Qt::LeftButton, Qt::NoModifier, RowCentre(bar, 1));
    int marked = -1;
    ASSERT_TRUE(Pump([&] {
        document->Call([&](CMainFrame& f) { marked = f.GetEditHistory()->GetMarkedRow(); });
        return marked == 1;
    }));
    // The popup at the row; its "Go To" undoes down to the row.
    QContextMenuEvent menuEvent(QContextMenuEvent::Mouse, RowCentre(bar, 1),
                                bar->viewport()->mapToGlobal(RowCentre(bar, 1)));
    QCoreApplication::sendEvent(bar->viewport(), &menuEvent);
    QMenu* popup = nullptr;
    ASSERT_TRUE(
        Pump([&] { return (popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) != nullptr; }));
    QStringList texts;
    QAction* goTo = nullptr;
    for (QAction* action : popup->actions()) {
        texts << action->text();
        if (action->text() == "Go To this Editing Stage")
            goTo = action;
    }
    EXPECT_TRUE(texts.contains("Bypass Transform"));
    ASSERT_NE(goTo, nullptr);
    SaveShot(*window, "edit-history");
    goTo->trigger();
    popup->hide();
    EXPECT_TRUE(Pump([&] { return bar->topLevelItemCount() == 2; }));
    size_t stages = 0;
    document->Call([&](CMainFrame& f) { stages = f.GetView().GetUndoList().size(); });
    EXPECT_EQ(stages, 1u);

    // The host bar shows while the frame edits a clip; the layout comes again and the document's
    // states still hold (one stage to undo).
    ASSERT_NE(window->Bar(6094), nullptr);
    EXPECT_FALSE(window->Bar(6094)->isVisible());
    document->Call([](CMainFrame& f) { f.ShowHostBar(true); });
    EXPECT_TRUE(Pump([&] { return window->Bar(6094)->isVisible(); }));
    EXPECT_TRUE(window->Action(57643)->isEnabled());
    SaveShot(*window, "host-bar");
    document->Call([](CMainFrame& f) { f.ShowHostBar(false); });
    EXPECT_TRUE(Pump([&] { return !window->Bar(6094)->isVisible(); }));
}

TEST_F(FrameBars, PanesBarsAndTheWindowMenuFollowTheDocuments) {
    DocumentThread first(wav);
    DocumentThread second(wav);
    ASSERT_TRUE(first.Ok() && second.Ok());
    CFrameWindow* window = Window(first.Frame());
    ASSERT_NE(window, nullptr);
    ASSERT_NE(Window(second.Frame()), nullptr);

    window->Action(57642)->trigger(); // Select All
    EXPECT_TRUE(Pump([&] { return window->StatusPaneText(1) == "Selected:00:00:00:000 - 00:00:02:000"; }))
        << window->StatusPaneText(1);
    EXPECT_EQ(window->StatusPaneText(2).rfind("Viewed:", 0), 0u);

    // The bar's own close button asks the frame, whose check then goes off.
    window->Action(32820)->trigger();
    ASSERT_TRUE(Pump([&] { return window->Bar(32820)->isVisible(); }));
    window->Bar(32820)->close();
    EXPECT_TRUE(
        Pump([&] { return !window->Bar(32820)->isVisible() && !window->Action(32820)->isChecked(); }));

    window->RefreshWindowMenu();
    QMenu* menu = nullptr;
    for (QAction* top : window->menuBar()->actions())
        if (top->text().remove('&') == "Window")
            menu = top->menu();
    ASSERT_NE(menu, nullptr);
    QStringList entries;
    for (QAction* action : menu->actions())
        if (!action->isSeparator())
            entries << action->text() + (action->isChecked() ? " *" : "");
    ASSERT_EQ(entries.size(), 3);
    EXPECT_TRUE(entries[0].startsWith("&1 ") && entries[0].endsWith(" *")) << entries[0].toStdString();
    EXPECT_TRUE(entries[1].startsWith("&2 ") && !entries[1].endsWith(" *")) << entries[1].toStdString();
    EXPECT_EQ(entries[2], "Close &All Windows");
}

TEST_F(FrameBars, TheSessionsEndAsksOnceUnderTheSystemsTitleAndCancelKeepsItGoing) {
    DocumentThread first(wav);
    DocumentThread second(wav);
    ASSERT_TRUE(first.Ok() && second.Ok());
    ASSERT_NE(Window(first.Frame()), nullptr);
    ASSERT_NE(Window(second.Frame()), nullptr);
    // Answers each box as it shows, with the button of `role`, noting what it said.
    QStringList seen;
    QMessageBox::ButtonRole role = QMessageBox::RejectRole;
    QTimer answerer;
    QObject::connect(&answerer, &QTimer::timeout, [&] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(w); box != nullptr && box->isVisible()) {
                seen << box->windowTitle() + "|" + box->text();
                for (QAbstractButton* button : box->buttons())
                    if (box->buttonRole(button) == role) {
                        button->click();
                        return;
                    }
            }
    });
    answerer.start(20);
    EXPECT_FALSE(presentation->EndSession());
    ASSERT_EQ(seen.size(), 1);
    EXPECT_TRUE(
        seen[0].startsWith("The session is going to end|To close Vond Tidewright and turn off your computer"))
        << seen[0].toStdString();
    role = QMessageBox::AcceptRole;
    EXPECT_TRUE(presentation->EndSession());
    EXPECT_EQ(seen.size(), 2); // agreed in the first window; the second is not asked again
}

TEST_F(FrameBars, FilesDroppedOnAnEmptyFrameOpenInIt) {
    ASSERT_NO_FATAL_FAILURE(Open(""));
    auto* data = new QMimeData;
    data->setUrls({QUrl::fromLocalFile(QString::fromStdString(wav))});
    QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(50, 50), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window, &drop);
    int64_t length = 0;
    EXPECT_TRUE(Pump([&] {
        document->Call([&](CMainFrame& f) { length = f.GetView().GetMedia().GetLength(); });
        return length == 88200;
    }));
    delete data;
}

} // namespace
} // namespace tw
