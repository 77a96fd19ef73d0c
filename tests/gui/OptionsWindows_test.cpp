// The options sheet and the device settings of a frame as windows, off-screen: the sheet's pages
// are tabs, the dither check greys the filter box at once, a missing folder answered No brings the
// window back to the Directories tab on that folder's field, and the device boxes list the chain.
// Pictures of each tab and of the device settings go to the build folder.
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
#include <QTest>

namespace tw::test {
namespace {

class OptionsWindows : public OnScreen {
protected:
    // The dialog window the document thread opened with `open`, laid out as a person sees it.
    CDialogWindow* Open(DocumentThread& document, std::function<void(CMainFrame&)> open) {
        document.Start(std::move(open));
        CDialogWindow* window = Find<CDialogWindow>();
        if (window != nullptr)
            Pump([] { return false; }, 0.1);
        return window;
    }
    static void ClickOk(CDialogWindow& window) {
        window.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    }
};

TEST_F(OptionsWindows, TheSheetShowsItsPagesAsTabsAndANoToAMissingFolderReturnsToIt) {
    DocumentThread document("");
    ASSERT_TRUE(document.Ok());
    CDialogWindow* window = Open(document, [](CMainFrame& frame) { frame.OpenOptions(0); });
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Editor Options");
    auto* tabs = window->findChild<QTabWidget*>();
    ASSERT_NE(tabs, nullptr);
    ASSERT_EQ(tabs->count(), 3);
    EXPECT_EQ(tabs->tabText(0), "View");
    EXPECT_EQ(tabs->tabText(1), "Directories");
    EXPECT_EQ(tabs->tabText(2), "Save/Output Settings");
    EXPECT_EQ(tabs->currentIndex(), 0);
    const char* shots[] = {"options-view", "options-directories", "options-audio"};
    for (int i = 0; i < 3; ++i) {
        tabs->setCurrentIndex(i);
        Pump([] { return false; }, 0.1);
        SaveShot(*window, shots[i]);
    }

    // Dither greys and frees the filter box while the sheet is up.
    auto* filter = window->findChild<QComboBox*>("noiseShaping");
    ASSERT_NE(filter, nullptr);
    EXPECT_FALSE(filter->isEnabled());
    window->findChild<QCheckBox*>("dithering")->click();
    EXPECT_TRUE(Pump([&] { return filter->isEnabled(); }));
    window->findChild<QComboBox*>("resolution")->setCurrentIndex(2);

    // A folder that is not there, OK from another tab, No: back on the folder's field.
    auto* temporary = window->findChild<QLineEdit*>("temporary");
    ASSERT_NE(temporary, nullptr);
    auto* browse = temporary->parentWidget()->findChild<QPushButton*>();
    ASSERT_NE(browse, nullptr);
    EXPECT_EQ(browse->text(), "...");
    const QString missing = QString::fromStdString(home.root + "/not-there");
    temporary->setText(missing);
    tabs->setCurrentIndex(2);
    ClickOk(*window);
    QMessageBox* box = Find<QMessageBox>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "The folder " + missing +
                               " does not exist. Are you sure you want to change the folder setting?");
    box->button(QMessageBox::No)->click();
    EXPECT_TRUE(Pump([&] { return tabs->currentIndex() == 1; }));
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->focusWidget(), temporary);
    EXPECT_EQ(GetSettingInt("AudioOutput", "Resolution", -1), -1);

    // Yes this time: everything is written and the sheet goes.
    ClickOk(*window);
    box = nullptr;
    ASSERT_TRUE(Pump([&] { return (box = Find<QMessageBox>()) != nullptr; }));
    box->button(QMessageBox::Yes)->click();
    EXPECT_TRUE(Pump([] { return QApplication::activeModalWidget() == nullptr; }));
    EXPECT_TRUE(Pump([] { return GetSettingInt("AudioOutput", "Resolution", -1) == 24; }));
    EXPECT_EQ(GetSettingInt("AudioOutput", "Dithering", -1), 1);
    EXPECT_EQ(GetSettingString("Directories", "Temporary", ""), missing.toStdString());
}

TEST_F(OptionsWindows, TheDeviceSettingsListTheChainAndTakeTheChosenOutput) {
    auto device = [](const char* name) { return std::make_shared<CVirtualDevice>(name); };
    CVirtualDeviceMgr chain({device("Line"), device("Mic")}, {device("Speakers")});
    chain.Append(new CVirtualDeviceMgr({device("Desk")}, {device("Phones"), device("Room")}));
    SetDeviceChain(&chain);
    struct Uninstall {
        ~Uninstall() { SetDeviceChain(nullptr); }
    } uninstall;
    DocumentThread document("");
    ASSERT_TRUE(document.Ok());
    CDialogWindow* window = Open(document, [](CMainFrame& frame) { frame.OpenDeviceSettings(); });
    ASSERT_NE(window, nullptr);
    SaveShot(*window, "device-settings");
    EXPECT_EQ(window->windowTitle(), "Device Settings");
    auto* input = window->findChild<QComboBox*>("input");
    auto* output = window->findChild<QComboBox*>("output");
    ASSERT_NE(input, nullptr);
    ASSERT_NE(output, nullptr);
    EXPECT_EQ(input->count(), 3);
    EXPECT_EQ(input->currentText(), "Virtual: Line");
    EXPECT_EQ(output->itemText(2), "Virtual: Room");
    // Nothing stored: the first output behind the chain's head.
    EXPECT_EQ(output->currentText(), "Virtual: Phones");
    output->setCurrentIndex(2);
    ClickOk(*window);
    EXPECT_TRUE(Pump([] { return QApplication::activeModalWidget() == nullptr; }));
    EXPECT_TRUE(Pump([] { return GetSettingInt("Audio", "OutputDevice", -1) == 2; }));
    EXPECT_EQ(GetSettingInt("Audio", "InputDevice", -1), 0);
}

} // namespace
} // namespace tw::test
