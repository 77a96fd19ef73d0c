// The recording console as a window, off-screen, over a document recording from the virtual card:
// its buttons and settings reach the console on the document's thread, what the console publishes
// (the record button's state and tooltip, the position, the meters) is what the window shows, and
// the window goes when the console ends, by OK or by itself. A picture of it is written to the
// build folder.
#include "OnScreen.h"

#include "gui/DialogWindow.h"
#include "gui/RecordConsoleWindow.h"
#include "gui/controls/FlatButton.h"
#include "gui/controls/LEDMeter.h"

#include "audio/DeviceChain.h"
#include "audio/RecordTestSupport.h"
#include "platform/Settings.h"
#include "view/RecordDialog.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTest>

#include <functional>

namespace tw {
namespace {

using namespace test;

class RecordConsoleWindowTest : public OnScreen {
protected:
    void SetUp() override {
        OnScreen::SetUp();
        SetDeviceChain(card.devices.get());
        PutSettingInt("Audio", "OutputDevice", 0);
    }
    void TearDown() override {
        SetDeviceChain(nullptr);
        OnScreen::TearDown();
    }
    // Runs Record from the frame's menu and waits for the console's window.
    void OpenConsole() {
        ASSERT_NE(window->Action(32771), nullptr);
        window->Action(32771)->trigger();
        ASSERT_NE(console = Find<CRecordConsoleWindow>(), nullptr);
    }
    // What the console itself holds, read on its thread.
    RecordConsoleFields Fields() {
        RecordConsoleFields fields;
        document->Call([&, handle = console->Handle()](CMainFrame&) {
            if (auto* dialog = dynamic_cast<CRecordDialog*>(CWindow::FromHandle(handle)))
                fields = dialog->GetFields();
        });
        return fields;
    }
    int64_t Length() {
        int64_t length = -1;
        document->Call([&](CMainFrame& f) { length = f.GetView().GetMedia().GetLength(); });
        return length;
    }
    static bool ConsoleShown() {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (qobject_cast<CRecordConsoleWindow*>(w) != nullptr && w->isVisible())
                return true;
        return false;
    }
    static void Click(QWidget* widget) {
        ASSERT_NE(widget, nullptr);
        // Near the left edge: on a check box or radio that is its mark, wherever its text ends.
        QTest::mouseClick(widget, Qt::LeftButton, Qt::NoModifier,
                          QPoint(std::min(10, widget->width() / 2), widget->height() / 2));
    }

    VirtualCard card;
    CRecordConsoleWindow* console = nullptr;
};

TEST_F(RecordConsoleWindowTest, TheRecordButtonTogglesInTheConsoleAndShowsWhatItAnswers) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    ASSERT_NO_FATAL_FAILURE(OpenConsole());
    EXPECT_EQ(console->windowTitle(), "Recording Console");
    auto* record = console->findChild<CFlatButton*>("record");
    auto* begin = console->findChild<CFlatButton*>("goToBegin");
    auto* end = console->findChild<CFlatButton*>("goToEnd");
    auto* position = console->findChild<QLabel*>("position");
    ASSERT_TRUE(record && begin && end && position);
    EXPECT_EQ(record->toolTip(), "Record");
    EXPECT_EQ(position->text(), "00:00:00:000");
    const QImage paused = record->grab().toImage();

    Click(record);
    ASSERT_TRUE(Pump([&] { return Fields().recording && record->toolTip() == "Pause"; }));
    EXPECT_TRUE(record->IsPressed());
    EXPECT_NE(record->grab().toImage(), paused); // the pause symbol in place of the record symbol
    EXPECT_FALSE(begin->isEnabled());
    EXPECT_FALSE(end->isEnabled());
    // The position counts as the console writes, and the window shows the console's text.
    ASSERT_TRUE(Pump([&] {
        const RecordConsoleFields f = Fields();
        return f.position >= "00:00:00:300" && position->text().toStdString() == f.position;
    }));
    SaveShot(*console, "record-console");

    Click(record);
    ASSERT_TRUE(Pump([&] { return !Fields().recording && record->toolTip() == "Record"; }));
    EXPECT_FALSE(record->IsPressed());
    ASSERT_TRUE(Pump([&] { return begin->isEnabled() && end->isEnabled(); }));
    // A block on its way when the button went up still counts; then the position stands.
    Settle(0.3);
    const QString reached = position->text();
    EXPECT_EQ(reached.toStdString(), Fields().position);
    Click(begin);
    EXPECT_TRUE(Pump([&] { return position->text() == "00:00:00:000"; }));
    Click(end);
    EXPECT_TRUE(Pump([&] { return position->text() == reached; }));

    // OK hands the take to the document, and the window goes with the console.
    console->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_GE(Length() - 88200, 44100 * 3 / 10);
}

TEST_F(RecordConsoleWindowTest, SettingsReachTheConsoleAndStayAsSet_AndTheMetersShowItsLevels) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    ASSERT_NO_FATAL_FAILURE(OpenConsole());
    auto* monitoring = console->findChild<QCheckBox*>("monitoring");
    auto* overwrite = console->findChild<QRadioButton*>("overwrite");
    auto* insert = console->findChild<QRadioButton*>("insert");
    auto* level = console->findChild<QSlider*>("level");
    ASSERT_TRUE(monitoring && overwrite && insert && level);
    EXPECT_TRUE(insert->isChecked());
    EXPECT_EQ(level->value(), 100);

    struct Case {
        const char* name;
        std::function<void()> act;
        std::function<bool(const RecordConsoleFields&)> reached; // in the console
        std::function<bool()> shown;                             // in the window, after the answer
    };
    const Case cases[] = {
        {"monitoring on", [&] { Click(monitoring); }, [](const auto& f) { return f.monitoring; },
         [&] { return monitoring->isChecked(); }},
        {"overwrite", [&] { Click(overwrite); }, [](const auto& f) { return f.overwrite; },
         [&] { return overwrite->isChecked() && !insert->isChecked(); }},
        {"level a page down", [&] { QTest::keyClick(level, Qt::Key_PageDown); },
         [](const auto& f) { return f.level == 90; }, [&] { return level->value() == 90; }},
        {"insert", [&] { Click(insert); }, [](const auto& f) { return !f.overwrite; },
         [&] { return insert->isChecked(); }},
        {"monitoring off", [&] { Click(monitoring); }, [](const auto& f) { return !f.monitoring; },
         [&] { return !monitoring->isChecked(); }},
    };
    for (const Case& c : cases) {
        c.act();
        EXPECT_TRUE(Pump([&] { return c.reached(Fields()); })) << c.name;
        // The console publishes every 65 ms meanwhile; none of it undoes what was set.
        Settle(0.2);
        EXPECT_TRUE(c.shown()) << c.name;
    }
    // The line box offers what the input's mixer has, and nothing to pick without one.
    auto* lines = console->findChild<QComboBox*>("lines");
    ASSERT_NE(lines, nullptr);
    const RecordConsoleFields fields = Fields();
    EXPECT_EQ(lines->count(), static_cast<int>(fields.lines.size()));
    EXPECT_EQ(lines->isEnabled(), !fields.lines.empty());

    auto* meter0 = console->findChild<CLEDMeter*>("meter0");
    auto* meter1 = console->findChild<CLEDMeter*>("meter1");
    ASSERT_TRUE(meter0 && meter1);
    // The card's input swings to about -8.7 dB on both channels: the console meters it before
    // anything is recorded, and each meter sits on the console's value for its channel.
    ASSERT_TRUE(Pump([&] {
        const RecordConsoleFields f = Fields();
        return f.meter0 > 50 && f.meter1 > 50 && console->Shown().meter0 == f.meter0 &&
               console->Shown().meter1 == f.meter1;
    }));
    Settle(0.3);
    const RecordConsoleFields f = Fields();
    EXPECT_NEAR(meter0->Level(0), f.meter0 / 100.0f, 0.02f);
    EXPECT_NEAR(meter1->Level(0), f.meter1 / 100.0f, 0.02f);

    // A silent input: the console's meters drop to 0, and the window's fall after them (at the
    // meter's own pace).
    card.line->SetSignal([](int64_t, int32_t) { return 0.0f; });
    ASSERT_TRUE(Pump([&] { return Fields().meter0 == 0; }));
    const float loud = f.meter0 / 100.0f;
    EXPECT_TRUE(Pump([&] { return meter0->Level(0) < loud - 0.2f && meter1->Level(0) < loud - 0.2f; }, 3.0));
    console->reject();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_EQ(Length(), 88200);
}

TEST_F(RecordConsoleWindowTest, AnInputThatVanishesWhileRecordingEndsTheWindowAndKeepsTheTake) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    ASSERT_NO_FATAL_FAILURE(OpenConsole());
    Click(console->findChild<CFlatButton*>("record"));
    ASSERT_TRUE(Pump([&] { return Fields().position >= "00:00:00:200"; }));
    card.line->SetPresent(false);
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_GE(Length() - 88200, 44100 / 5);
    // No box: nothing failed that the person must hear of.
    for (QWidget* w : QApplication::topLevelWidgets())
        EXPECT_FALSE(w->isVisible() && w->inherits("QMessageBox"));
}

TEST_F(RecordConsoleWindowTest, ANewDocumentAsksForItsFormatInAWindowBeforeTheConsoleOpens) {
    ASSERT_NO_FATAL_FAILURE(Open(""));
    ASSERT_TRUE(Pump([&] { return window->Action(32771) != nullptr && window->Action(32771)->isEnabled(); }));
    window->Action(32771)->trigger();
    CDialogWindow* format = Find<CDialogWindow>();
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->windowTitle(), "Sample Format Settings");
    EXPECT_FALSE(ConsoleShown());
    // Mono at 22050 Hz.
    auto* rate = format->findChild<QComboBox*>("rate");
    auto* stereo = format->findChild<QCheckBox*>("stereo");
    ASSERT_TRUE(rate && stereo);
    rate->setEditText("22050 Hz");
    Click(stereo);
    format->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();

    ASSERT_NE(console = Find<CRecordConsoleWindow>(), nullptr);
    WAVEFORMATEX taken{};
    document->Call([&, handle = console->Handle()](CMainFrame&) {
        if (auto* dialog = dynamic_cast<CRecordDialog*>(CWindow::FromHandle(handle)))
            taken = dialog->GetFormat();
    });
    EXPECT_EQ(taken.nSamplesPerSec, 22050u);
    EXPECT_EQ(taken.nChannels, 1);
    console->reject();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_EQ(Length(), 0);
}

} // namespace
} // namespace tw
