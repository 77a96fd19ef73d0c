// The options sheet and the device settings of a frame as windows, off-screen: the sheet's pages
// are tabs, the dither check frees the filter box at once, and a missing folder answered No brings
// the window back to the Directories tab on that folder's field. Pictures of each tab and of the
// device settings go to the build folder.
#include "OnScreen.h"

#include "gui/DialogWindow.h"

#include "audio/DeviceChain.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "platform/Settings.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>

namespace tw::test {
namespace {

using OptionsWindows = OnScreen;

// The dialog window the document thread opens with `open`, laid out as a person sees it.
CDialogWindow* OpenOn(DocumentThread& document, std::function<void(CMainFrame&)> open) {
    document.Start(std::move(open));
    CDialogWindow* window = FindShown<CDialogWindow>();
    Settle(0.1);
    return window;
}

void ClickOk(CDialogWindow& window) {
    window.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
}

TEST_F(OptionsWindows, TheSheetShowsItsPagesAsTabsAndANoToAMissingFolderReturnsToIt) {
    ASSERT_NO_FATAL_FAILURE(Open(""));
    CDialogWindow* window = OpenOn(*document, [](CMainFrame& frame) { frame.OpenOptions(0); });
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Editor Options");
    auto* tabs = window->findChild<QTabWidget*>();
    ASSERT_NE(tabs, nullptr);
    ASSERT_EQ(tabs->count(), 3);
    const char* shots[] = {"options-view", "options-directories", "options-audio"};
    const char* titles[] = {"View", "Directories", "Save/Output Settings"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(tabs->tabText(i), titles[i]);
        tabs->setCurrentIndex(i);
        Settle(0.1);
        SaveShot(*window, shots[i]);
    }
    auto* filter = window->findChild<QComboBox*>("noiseShaping");
    EXPECT_FALSE(filter->isEnabled());
    window->findChild<QCheckBox*>("dithering")->click();
    EXPECT_TRUE(Pump([&] { return filter->isEnabled(); }));

    // OK from the last tab with a folder that is not there; No: back on the folder's field.
    auto* temporary = window->findChild<QLineEdit*>("temporary");
    const QString missing = QString::fromStdString(home.root + "/not-there");
    temporary->setText(missing);
    ClickOk(*window);
    QMessageBox* box = Find<QMessageBox>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "The folder " + missing +
                               " does not exist. Are you sure you want to change the folder setting?");
    box->button(QMessageBox::No)->click();
    EXPECT_TRUE(Pump([&] { return tabs->currentIndex() == 1 && window->focusWidget() == temporary; }));
    EXPECT_EQ(GetSettingInt("AudioOutput", "Dithering", -1), -1);

    window->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
    EXPECT_TRUE(Pump([] { return QApplication::activeModalWidget() == nullptr; }));
}

TEST_F(OptionsWindows, TheDeviceSettingsListTheChainAndTakeTheChosenOutput) {
    auto device = [](const char* name) { return std::make_shared<CVirtualDevice>(name); };
    CVirtualDeviceMgr chain({device("Line"), device("Mic")}, {device("Speakers")});
    chain.Append(new CVirtualDeviceMgr({device("Desk")}, {device("Phones"), device("Room")}));
    SetDeviceChain(&chain);
    struct Uninstall {
        ~Uninstall() { SetDeviceChain(nullptr); }
    } uninstall;
    ASSERT_NO_FATAL_FAILURE(Open(""));
    CDialogWindow* window = OpenOn(*document, [](CMainFrame& frame) { frame.OpenDeviceSettings(); });
    ASSERT_NE(window, nullptr);
    SaveShot(*window, "device-settings");
    EXPECT_EQ(window->windowTitle(), "Device Settings");
    auto* output = window->findChild<QComboBox*>("output");
    EXPECT_EQ(window->findChild<QComboBox*>("input")->currentText(), "Virtual: Line");
    EXPECT_EQ(output->currentText(), "Virtual: Phones");
    output->setCurrentIndex(2);
    ClickOk(*window);
    EXPECT_TRUE(Pump([] { return GetSettingInt("Audio", "OutputDevice", -1) == 2; }));
}

} // namespace
} // namespace tw::test
