// The application's own windows on screen: the About box, Customize with its toolbar and button
// lists and Reset, and the recent files in the File menu.
#include "OnScreen.h"

#include "frame/AboutDlg.h"
#include "frame/FrameLayout.h"
#include "frame/RecentFileList.h"
#include "gui/AboutWindow.h"
#include "gui/CustomizeWindow.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QToolBar>
#include <QTreeWidget>

namespace tw {
namespace {

using namespace test;
using AppDialogs = OnScreen;

QListWidgetItem* ItemNamed(QListWidget* list, const QString& text) {
    const QList<QListWidgetItem*> found = list->findItems(text, Qt::MatchExactly);
    return found.isEmpty() ? nullptr : found.front();
}

TEST_F(AppDialogs, AboutShowsTheVersionAndTheLibraries_AndCustomizeHidesAButtonThatResetShowsAgain) {
    ASSERT_NO_FATAL_FAILURE(Open(""));
    std::atomic<int> ended{0};
    document->Start([&](CMainFrame& f) {
        f.OnCmdMsg(CMainFrame::kAbout);
        ++ended;
    });
    CAboutWindow* about = Find<CAboutWindow>();
    ASSERT_NE(about, nullptr);
    EXPECT_EQ(about->windowTitle(), "About Vond Tidewright");
    EXPECT_EQ(about->findChild<QLabel*>("product")->text(), "Vond Tidewright");
    EXPECT_EQ(about->findChild<QLabel*>("version")->text().toStdString(),
              "Version: " + CAboutDlg::VersionText());
    auto* libraries = about->findChild<QTreeWidget*>("libraries");
    ASSERT_NE(libraries, nullptr);
    EXPECT_GE(libraries->topLevelItemCount(), 7);
    EXPECT_TRUE(libraries->topLevelItem(0)->text(0).startsWith("Qt "));
    // Only informs: no Cancel.
    auto* buttons = about->findChild<QDialogButtonBox*>();
    ASSERT_NE(buttons, nullptr);
    EXPECT_EQ(buttons->buttons().size(), 1);
    Settle(0.2);
    SaveShot(*about, "about");
    buttons->button(QDialogButtonBox::Ok)->click();
    ASSERT_TRUE(Pump([&] { return ended.load() == 1; }));

    QAction* market = window->Action(32885);
    ASSERT_NE(market, nullptr);
    ASSERT_TRUE(window->Toolbar(bars::kStandardToolbar)->actions().contains(market));
    document->Start([&](CMainFrame& f) {
        f.OnCmdMsg(CMainFrame::kCustomize);
        ++ended;
    });
    CCustomizeWindow* customize = Find<CCustomizeWindow>();
    ASSERT_NE(customize, nullptr);
    // The standard toolbar is the one chosen at first.
    EXPECT_EQ(customize->ToolbarList()->currentItem()->text(), "Standard");
    EXPECT_EQ(customize->ButtonList()->count(), 13);
    QListWidgetItem* item = ItemNamed(customize->ButtonList(), "Market");
    ASSERT_NE(item, nullptr);
    item->setCheckState(Qt::Unchecked);
    // Reset goes to the dialog, whose answer ticks the button again.
    customize->ResetButton()->click();
    ASSERT_TRUE(Pump([&] {
        QListWidgetItem* now = ItemNamed(customize->ButtonList(), "Market");
        return now != nullptr && now->checkState() == Qt::Checked;
    }));
    ItemNamed(customize->ButtonList(), "Market")->setCheckState(Qt::Unchecked);
    ItemNamed(customize->ButtonList(), "Zoom Selection")->setCheckState(Qt::Unchecked);
    // The transport's buttons are their own.
    customize->ToolbarList()->setCurrentRow(1);
    EXPECT_EQ(customize->ButtonList()->count(), 5);
    EXPECT_NE(ItemNamed(customize->ButtonList(), "Record"), nullptr);
    customize->ToolbarList()->setCurrentRow(0);
    EXPECT_EQ(ItemNamed(customize->ButtonList(), "Market")->checkState(), Qt::Unchecked);
    Settle(0.2);
    SaveShot(*customize, "customize");
    customize->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    ASSERT_TRUE(Pump([&] { return ended.load() == 2; }));

    QToolBar* standard = window->Toolbar(bars::kStandardToolbar);
    EXPECT_TRUE(Pump([&] { return !standard->actions().contains(market); }));
    EXPECT_FALSE(standard->actions().contains(window->Action(32800)));
    EXPECT_TRUE(standard->actions().contains(window->Action(57600)));
    EXPECT_EQ(standard->windowTitle(), "Standard");
}

TEST_F(AppDialogs, TheFileMenuListsRecentFilesWithTheirPaths_AndAnEntryOpensInTheEmptyDocument) {
    const std::string other = home.root + "/other take.wav";
    std::filesystem::copy_file(wav, other);
    ASSERT_TRUE(CRecentFileList::Update([&](CRecentFileList& list) {
        return list.Add(home.root + "/session/../chord.wav") && list.Add(other);
    }));
    ASSERT_NO_FATAL_FAILURE(Open(""));
    QMenu* file = window->menuBar()->actions().front()->menu();
    ASSERT_EQ(file->title(), "&File");
    QAction* first = window->Action(CRecentFileList::kFirstCommand);
    QAction* second = window->Action(CRecentFileList::kFirstCommand + 1);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_TRUE(file->actions().contains(first));
    EXPECT_EQ(first->text(), "&1 other take.wav");
    EXPECT_EQ(first->statusTip().toStdString(), other);
    EXPECT_EQ(second->statusTip().toStdString(), wav);

    file->popup(window->mapToGlobal(QPoint(10, 30)));
    file->setActiveAction(second);
    Settle(0.2);
    SaveShot(*file, "file-menu-recent");
    file->hide();

    second->trigger();
    std::string name;
    EXPECT_TRUE(Pump([&] {
        document->Call([&](CMainFrame& f) { name = f.GetView().GetFileName(); });
        return name == wav;
    }));
}

} // namespace
} // namespace tw
