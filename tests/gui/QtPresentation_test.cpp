// The presentation on screen, off-screen: a document frame on a thread of its own shows up as a main
// window with its menus, bars and the painted plot; menu items and keys reach the document; boxes
// and dialogs are real windows whose answers go back to the document's thread. Pictures of the
// windows are written to the build folder for a person to look at.
#include "OnScreen.h"

#include "gui/DialogWindow.h"
#include "host/CrashGuardDialog.h"
#include "platform/FileDialog.h"
#include "platform/Messages.h"
#include "platform/ProgressDialog.h"
#include "view/EditDialogs.h"
#include "view/SaveDialogs.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDockWidget>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QRadioButton>
#include <QTest>
#include <QToolBar>

namespace tw {
namespace {

using namespace test;

int64_t Selected(DocumentThread* document) {
    int64_t selected = -1;
    document->Call([&](CMainFrame& f) { selected = f.GetView().GetSelection().SectionLength(); });
    return selected;
}

TEST_F(OnScreen, AFrameShowsItsMenusBarsAndThePaintedPlot_KeysAndMenusReachTheDocument_AndCloseAsksIt) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    EXPECT_GE(window->minimumWidth(), 600);
    EXPECT_GE(window->minimumHeight(), 320);
    QStringList titles;
    for (QAction* menu : window->menuBar()->actions())
        titles << menu->text().remove('&');
    EXPECT_EQ(titles, QStringList({"File", "Edit", "View", "Volume", "Effects", "Enhancement", "Tools",
                                   "Plug-Ins", "Options", "Window", "Help"}));
    ASSERT_NE(window->Toolbar(32819), nullptr);
    EXPECT_EQ(window->Toolbar(32819)->actions().size(), 5);
    // The plot is the document's picture: not one colour.
    const QImage picture = window->View()->Picture();
    QSet<QRgb> colours;
    for (int x = 0; x < picture.width(); x += 7)
        colours.insert(picture.pixel(x, picture.height() / 2));
    EXPECT_GT(colours.size(), 2);
    // The command states arrive: with nothing selected, Cut is off and Select All on.
    ASSERT_TRUE(Pump([&] { return window->Action(57642) != nullptr && window->Action(57642)->isEnabled(); }));
    EXPECT_FALSE(window->Action(57635)->isEnabled());

    // Select All from the menu reaches the document, and Cut becomes possible.
    window->Action(57642)->trigger();
    EXPECT_TRUE(Pump([&] { return window->Action(57635)->isEnabled(); }));
    EXPECT_EQ(Selected(document.get()), 88200);
    // So does Ctrl+A, the frame's accelerator for it, once nothing is selected again.
    document->Call([](CMainFrame& f) {
        f.GetView().SetSelection(CSection(0, 0));
        f.PublishIdle();
    });
    ASSERT_TRUE(
        Pump([&] { return window->Action(57642)->isEnabled() && !window->Action(57635)->isEnabled(); }));
    QTest::keyClick(window->View()->Canvas(), Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(Pump([&] { return Selected(document.get()) == 88200; }));

    // A bar's toggle shows it; the frame owns the check.
    window->Action(32820)->trigger();
    EXPECT_TRUE(Pump([&] { return window->Bar(32820)->isVisible(); }));
    window->Action(32770)->trigger();
    Settle(0.3);
    SaveShot(*window, "main-window");

    const WindowHandle frame = document->Frame();
    window->close(); // the window manager's close: the frame decides, and the window goes with it
    EXPECT_TRUE(Pump([&] { return presentation->FindFrame(frame) == nullptr; }));
}

TEST_F(OnScreen, ABoxAndTheFormsAreWindowsWhoseAnswersGoBackToTheDocument) {
    ASSERT_NO_FATAL_FAILURE(Open(""));
    std::atomic<int> answer{0}, result{0}, choice{-1};
    document->Start([&](CMainFrame& f) {
        answer = ShowMessageBox("Keep the take?", MB_YESNO | MB_ICONQUESTION, f.GetSafeHandle());
    });
    QMessageBox* box = Find<QMessageBox>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "Keep the take?");
    EXPECT_EQ(box->windowTitle(), "Vond Tidewright");
    SaveShot(*box, "message-box");
    box->button(QMessageBox::No)->click();
    EXPECT_TRUE(Pump([&] { return answer.load() == IDNO; }));

    document->Start([&](CMainFrame& f) {
        CCrashGuardDialog guard;
        result = guard.DoModal(f.GetSafeHandle());
        choice = guard.m_choice;
    });
    CDialogWindow* dialog = Find<CDialogWindow>();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Crash Guard");
    const QList<QRadioButton*> radios = dialog->findChildren<QRadioButton*>();
    ASSERT_EQ(radios.size(), 3);
    EXPECT_TRUE(radios[0]->isChecked()); // recovering is what Enter does
    SaveShot(*dialog, "crash-guard");
    radios[2]->click();
    dialog->accept();
    EXPECT_TRUE(Pump([&] { return result.load() == IDOK; }));
    EXPECT_EQ(choice.load(), CCrashGuardDialog::leave);

    // The format dialog takes a rate typed with a space, and the check.
    std::atomic<uint32_t> rate{0};
    std::atomic<uint16_t> channels{0};
    result = 0;
    document->Start([&](CMainFrame& f) {
        CFormatDialog format;
        result = format.DoModal(f.GetSafeHandle());
        rate = format.m_format.nSamplesPerSec;
        channels = format.m_format.nChannels;
    });
    ASSERT_TRUE(Pump([&] {
        dialog = Find<CDialogWindow>();
        return dialog != nullptr && dialog->windowTitle() == "Sample Format Settings";
    }));
    auto* rates = dialog->findChild<QComboBox*>("rate");
    auto* bits = dialog->findChild<QComboBox*>("bits");
    auto* stereo = dialog->findChild<QCheckBox*>("stereo");
    ASSERT_TRUE(rates && bits && stereo);
    EXPECT_TRUE(rates->isEditable());
    EXPECT_EQ(rates->count(), 8);
    EXPECT_EQ(rates->currentText(), "44100 Hz (CD)");
    EXPECT_EQ(bits->currentText(), "16 Bit (CD and DAT)");
    EXPECT_TRUE(stereo->isChecked());
    SaveShot(*dialog, "format-dialog");
    rates->lineEdit()->selectAll();
    QTest::keyClicks(rates->lineEdit(), "48 000");
    stereo->click();
    dialog->accept();
    EXPECT_TRUE(Pump([&] { return result.load() == IDOK; }));
    EXPECT_EQ(rate.load(), 48000u);
    EXPECT_EQ(channels.load(), 1);
}

// A task that goes on until it is asked to stop.
class EndlessTask : public CWorkerThread {
public:
    bool Cancel() override { return m_stop = true; }
    std::string GetTitle() override { return "Converting Sample Format"; }
    int32_t Run() override {
        while (!m_stop)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return 1;
    }

private:
    std::atomic<bool> m_stop{false};
};

TEST_F(OnScreen, ADialogClosedByTheWindowManagerEndsAsCancelAndTheDocumentGoesOn) {
    const struct {
        const char* name;
        std::function<int(CMainFrame&)> run; // the dialog on the document's thread: what it gave
        int expected;
    } cases[] = {
        {"format", [](CMainFrame& f) { return CFormatDialog().DoModal(f.GetView().GetSafeHandle()); },
         IDCANCEL},
        {"save prompt",
         [](CMainFrame& f) {
             CSavePromptDlg prompt("chord.wav");
             prompt.DoModal(f.GetView().GetSafeHandle());
             return prompt.m_choice;
         },
         CSavePromptDlg::cancel},
        {"progress",
         [](CMainFrame& f) {
             EndlessTask task;
             return CProgressDialog(task).DoModal(f.GetSafeHandle());
         },
         IDCANCEL},
        {"open file",
         [](CMainFrame& f) {
             return CFileDialog(true, "wav", "WAV files (*.wav)|*.wav|").DoModal(f.GetView().GetSafeHandle());
         },
         IDCANCEL},
    };
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::atomic<int> result{-1};
        document->Start([&](CMainFrame& f) { result = c.run(f); });
        // The file chooser is a window of its own; every other dialog is a form.
        QWidget* window = nullptr;
        Pump([&] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (w->isVisible() &&
                    (qobject_cast<QFileDialog*>(w) != nullptr ||
                     (qobject_cast<CDialogWindow*>(w) != nullptr && w->windowTitle() != "")))
                    window = w;
            return window != nullptr;
        });
        ASSERT_NE(window, nullptr);
        // The window manager's close button: a close event to the native window, as the platform
        // hands it on (a window under a modal one gets it too here, which the platform would hold back).
        QCloseEvent close;
        QCoreApplication::sendEvent(window->windowHandle(), &close);
        ASSERT_TRUE(Pump([&] { return result.load() != -1; }));
        EXPECT_EQ(result.load(), c.expected);
        EXPECT_TRUE(Pump([] { return QApplication::activeModalWidget() == nullptr; }));
        // The document is whole and answers.
        int64_t length = 0;
        document->Call([&](CMainFrame& f) { length = f.GetView().GetMedia().GetLength(); });
        EXPECT_EQ(length, 88200);
    }
}

} // namespace
} // namespace tw
