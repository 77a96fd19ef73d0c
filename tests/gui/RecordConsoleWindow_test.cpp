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
    CRecordConsoleWindow* OpenConsole(DocumentThread& document) {
        CFrameWindow* frame = Window(document.Frame());
        if (frame == nullptr || frame->Action(32771) == nullptr)
            return nullptr;
        frame->Action(32771)->trigger();
        return Find<CRecordConsoleWindow>();
    }
    // What the console itself holds, read on its thread.
    static RecordConsoleFields Fields(DocumentThread& document, const CRecordConsoleWindow& window) {
        RecordConsoleFields fields;
        const WindowHandle handle = window.Handle();
        document.Call([&](CMainFrame&) {
            if (auto* console = dynamic_cast<CRecordDialog*>(CWindow::FromHandle(handle)))
                fields = console->GetFields();
        });
        return fields;
    }
    static int64_t Length(DocumentThread& document) {
        int64_t length = -1;
        document.Call([&](CMainFrame& f) { length = f.GetView().GetMedia().GetLength(); });
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
};

TEST_F(RecordConsoleWindowTest, TheRecordButtonTogglesInTheConsoleAndShowsWhatItAnswers) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    CRecordConsoleWindow* window = OpenConsole(document);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Recording Console");
    auto* record = window->findChild<CFlatButton*>("record");
    auto* begin = window->findChild<CFlatButton*>("goToBegin");
    auto* end = window->findChild<CFlatButton*>("goToEnd");
    auto* position = window->findChild<QLabel*>("position");
    ASSERT_TRUE(record && begin && end && position);
    EXPECT_EQ(record->toolTip(), "Record");
    EXPECT_EQ(position->text(), "00:00:00:000");
    const QImage paused = record->grab().toImage();

    Click(record);
    ASSERT_TRUE(Pump([&] { return Fields(document, *window).recording && record->toolTip() == "Pause"; }));
    EXPECT_TRUE(record->IsPressed());
    EXPECT_NE(record->grab().toImage(), paused); // the pause symbol in place of the record symbol
    EXPECT_FALSE(begin->isEnabled());
    EXPECT_FALSE(end->isEnabled());
    // The position counts as the console writes, and the window shows the console's text.
    ASSERT_TRUE(Pump([&] {
        const RecordConsoleFields f = Fields(document, *window);
        return f.position >= "00:00:00:300" && position->text().toStdString() == f.position;
    }));
    SaveShot(*window, "record-console");

    Click(record);
    ASSERT_TRUE(Pump([&] { return !Fields(document, *window).recording && record->toolTip() == "Record"; }));
    EXPECT_FALSE(record->IsPressed());
    ASSERT_TRUE(Pump([&] { return begin->isEnabled() && end->isEnabled(); }));
    // A block on its way when the button went up still counts; then the position stands.
    Pump([] { return false; }, 0.3);
    const QString reached = position->text();
    EXPECT_EQ(reached.toStdString(), Fields(document, *window).position);
    Click(begin);
    EXPECT_TRUE(Pump([&] { return position->text() == "00:00:00:000"; }));
    Click(end);
    EXPECT_TRUE(Pump([&] { return position->text() == reached; }));

    // OK hands the take to the document, and the window goes with the console.
    window->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_GE(Length(document) - 88200, 44100 * 3 / 10);
}

TEST_F(RecordConsoleWindowTest, SettingsReachTheConsoleAndStayAsSet) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    CRecordConsoleWindow* window = OpenConsole(document);
    ASSERT_NE(window, nullptr);
    auto* monitoring = window->findChild<QCheckBox*>("monitoring");
    auto* overwrite = window->findChild<QRadioButton*>("overwrite");
    auto* insert = window->findChild<QRadioButton*>("insert");
    auto* level = window->findChild<QSlider*>("level");
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
        EXPECT_TRUE(Pump([&] { return c.reached(Fields(document, *window)); })) << c.name;
        // The console publishes every 65 ms meanwhile; none of it undoes what was set.
        Pump([] { return false; }, 0.2);
        EXPECT_TRUE(c.shown()) << c.name;
    }
    // The line box offers what the input's mixer has, and nothing to pick without one.
    auto* lines = window->findChild<QComboBox*>("lines");
    ASSERT_NE(lines, nullptr);
    const RecordConsoleFields fields = Fields(document, *window);
    EXPECT_EQ(lines->count(), static_cast<int>(fields.lines.size()));
    EXPECT_EQ(lines->isEnabled(), !fields.lines.empty());

    window->reject();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_EQ(Length(document), 88200);
}

TEST_F(RecordConsoleWindowTest, TheMetersShowTheLevelsTheConsolePublishes) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    CRecordConsoleWindow* window = OpenConsole(document);
    ASSERT_NE(window, nullptr);
    auto* meter0 = window->findChild<CLEDMeter*>("meter0");
    auto* meter1 = window->findChild<CLEDMeter*>("meter1");
    ASSERT_TRUE(meter0 && meter1);
    // The card's input swings to about -8.7 dB on both channels: the console meters it before
    // anything is recorded, and each meter sits on the console's value for its channel.
    ASSERT_TRUE(Pump([&] {
        const RecordConsoleFields f = Fields(document, *window);
        return f.meter0 > 50 && f.meter1 > 50 && window->Shown().meter0 == f.meter0 &&
               window->Shown().meter1 == f.meter1;
    }));
    Pump([] { return false; }, 0.3);
    const RecordConsoleFields f = Fields(document, *window);
    EXPECT_NEAR(meter0->Level(0), f.meter0 / 100.0f, 0.02f);
    EXPECT_NEAR(meter1->Level(0), f.meter1 / 100.0f, 0.02f);

    // A silent input: the console's meters drop to 0, and the window's fall after them (at the
    // meter's own pace).
    card.line->SetSignal([](int64_t, int32_t) { return 0.0f; });
    ASSERT_TRUE(Pump([&] { return Fields(document, *window).meter0 == 0; }));
    const float loud = f.meter0 / 100.0f;
    EXPECT_TRUE(Pump([&] { return meter0->Level(0) < loud - 0.2f && meter1->Level(0) < loud - 0.2f; }, 3.0));
    window->reject();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
}

TEST_F(RecordConsoleWindowTest, AnInputThatVanishesWhileRecordingEndsTheWindowAndKeepsTheTake) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    CRecordConsoleWindow* window = OpenConsole(document);
    ASSERT_NE(window, nullptr);
    Click(window->findChild<CFlatButton*>("record"));
    ASSERT_TRUE(Pump([&] { return Fields(document, *window).position >= "00:00:00:200"; }));
    card.line->SetPresent(false);
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_GE(Length(document) - 88200, 44100 / 5);
    // No box: nothing failed that the person must hear of.
    for (QWidget* w : QApplication::topLevelWidgets())
        EXPECT_FALSE(w->isVisible() && w->inherits("QMessageBox"));
}

TEST_F(RecordConsoleWindowTest, ANewDocumentAsksForItsFormatInAWindowBeforeTheConsoleOpens) {
    DocumentThread document("");
    ASSERT_TRUE(document.Ok());
    CFrameWindow* frame = Window(document.Frame());
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(Pump([&] { return frame->Action(32771) != nullptr && frame->Action(32771)->isEnabled(); }));
    frame->Action(32771)->trigger();
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

    CRecordConsoleWindow* window = Find<CRecordConsoleWindow>();
    ASSERT_NE(window, nullptr);
    WAVEFORMATEX taken{};
    const WindowHandle handle = window->Handle();
    document.Call([&](CMainFrame&) {
        if (auto* console = dynamic_cast<CRecordDialog*>(CWindow::FromHandle(handle)))
            taken = console->GetFormat();
    });
    EXPECT_EQ(taken.nSamplesPerSec, 22050u);
    EXPECT_EQ(taken.nChannels, 1);
    window->reject();
    ASSERT_TRUE(Pump([] { return !ConsoleShown(); }));
    EXPECT_EQ(Length(document), 0);
}

} // namespace
} // namespace tw
