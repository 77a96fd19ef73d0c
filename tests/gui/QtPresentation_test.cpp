// The presentation on screen, off-screen: a document frame on a thread of its own shows up as a main
// window with its menus, bars and the painted plot; menu items and keys reach the document; boxes
// and dialogs are real windows whose answers go back to the document's thread. Pictures of the
// windows are written to the build folder for a person to look at.
#include "gui/DialogWindow.h"
#include "gui/FrameWindow.h"
#include "gui/GuiThread.h"
#include "gui/QtPresentation.h"
#include "gui/ViewWidget.h"

#include "frame/MainFrame.h"
#include "host/CrashGuardDialog.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "storage/FileFilterManager.h"
#include "storage/PeakTestSupport.h"
#include "view/EditDialogs.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QDockWidget>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QToolBar>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <thread>

namespace tw {
namespace {

using Clock = std::chrono::steady_clock;

void SaveShot(QWidget& widget, const char* name) {
    const QString folder = QString(TW_OUTPUT_DIR) + "/screenshots";
    QDir().mkpath(folder);
    widget.grab().save(folder + "/" + name + ".png");
}

// Runs Qt's events (this test's thread is the GUI thread) until `done` or `seconds` passed.
bool Pump(const std::function<bool()>& done, double seconds = 10.0) {
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (!done()) {
        if (Clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// A document as the library runs it: its frame and view on a thread with a message loop.
class DocumentThread {
public:
    explicit DocumentThread(const std::string& path) {
        std::promise<bool> ready;
        std::future<bool> started = ready.get_future();
        m_thread = std::thread([this, path, &ready] {
            CMessageLoop loop;
            m_loop = &loop;
            auto frame = std::make_unique<CMainFrame>();
            m_frame = frame.get();
            const bool made = frame->LoadFrame() && (path.empty() || frame->GetView().LoadFile(path));
            ready.set_value(made);
            if (made)
                loop.Run();
            if (frame->GetSafeHandle() != 0)
                frame->DestroyWindow();
            frame.reset();
            m_loop = nullptr;
        });
        m_ok = started.get();
    }
    ~DocumentThread() {
        if (m_loop != nullptr)
            m_loop->Quit(0);
        m_thread.join();
    }
    bool Ok() const { return m_ok; }
    WindowHandle Frame() const { return m_frame->GetSafeHandle(); }
    WindowHandle View() const { return m_frame->GetView().GetSafeHandle(); }
    // Runs `work` on the document's thread and waits for it (the GUI keeps running meanwhile).
    void Call(std::function<void(CMainFrame&)> work) {
        std::atomic<bool> done{false};
        m_loop->PostCall([&] {
            work(*m_frame);
            done = true;
        });
        Pump([&] { return done.load(); }, 30.0);
    }
    // Starts `work` on the document's thread without waiting (a modal call the GUI must answer).
    void Start(std::function<void(CMainFrame&)> work) {
        m_loop->PostCall([this, work = std::move(work)] { work(*m_frame); });
    }

private:
    std::thread m_thread;
    CMessageLoop* m_loop = nullptr;
    CMainFrame* m_frame = nullptr;
    bool m_ok = false;
};

class OnScreen : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CGuiThread::Start()); // adopts the test's own application
        filters.Initialise(std::string(TW_OUTPUT_DIR) + "/FormatHost/libformathost.so");
        ASSERT_TRUE(filters.IsLoaded());
        presentation = std::make_shared<CQtPresentation>();
        SetPresentation(presentation);
        wav = home.root + "/chord.wav";
        // Two seconds of a chord that swells, so the plot has something to show.
        test::WriteWav(wav, test::PcmFormat(2, 44100, 16), 88200, [](int64_t f, int c) {
            const double t = f / 44100.0;
            const double v = std::sin(2 * M_PI * (c == 0 ? 220 : 277) * t) * std::sin(M_PI * t / 2.0);
            return static_cast<int64_t>(20000 * v);
        });
    }
    void TearDown() override {
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        Pump([] { return false; }, 0.05);
    }
    CFrameWindow* Window(WindowHandle frame) {
        CFrameWindow* window = nullptr;
        Pump([&] {
            window = presentation->FindFrame(frame);
            return window != nullptr && window->View() != nullptr && !window->View()->Picture().isNull();
        });
        return window;
    }
    template <class T> T* Find() {
        T* found = nullptr;
        Pump([&] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* t = qobject_cast<T*>(w); t != nullptr && t->isVisible())
                    found = t;
            return found != nullptr;
        });
        return found;
    }

    test::ScratchHome home;
    CFileFilterManager filters;
    std::shared_ptr<CQtPresentation> presentation;
    std::string wav;
};

TEST_F(OnScreen, AFrameShowsItsMenusBarsAndThePaintedPlot) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    CFrameWindow* window = Window(document.Frame());
    ASSERT_NE(window, nullptr);
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
    int64_t selected = 0;
    document.Call([&](CMainFrame& f) { selected = f.GetView().GetSelection().SectionLength(); });
    EXPECT_EQ(selected, 88200);

    // A bar's toggle shows it; the frame owns the check.
    window->Action(32820)->trigger();
    EXPECT_TRUE(Pump([&] { return window->Bar(32820)->isVisible(); }));
    window->Action(32770)->trigger();
    Pump([] { return false; }, 0.3);
    SaveShot(*window, "main-window");
}

TEST_F(OnScreen, KeysReachTheDocumentThroughTheFrame) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    CFrameWindow* window = Window(document.Frame());
    ASSERT_NE(window, nullptr);
    // Ctrl+A is the frame's accelerator for Select All.
    QTest::keyClick(window->View()->Canvas(), Qt::Key_A, Qt::ControlModifier);
    int64_t selected = 0;
    Pump([&] {
        document.Call([&](CMainFrame& f) { selected = f.GetView().GetSelection().SectionLength(); });
        return selected == 88200;
    });
    EXPECT_EQ(selected, 88200);
}

TEST_F(OnScreen, ABoxIsAWindowWhoseButtonAnswersTheDocument) {
    DocumentThread document(wav);
    ASSERT_TRUE(document.Ok());
    std::atomic<int> answer{0};
    document.Start([&](CMainFrame& f) {
        answer = ShowMessageBox("Keep the take?", MB_YESNO | MB_ICONQUESTION, f.GetSafeHandle());
    });
    QMessageBox* box = Find<QMessageBox>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "Keep the take?");
    EXPECT_EQ(box->windowTitle(), "Vond Tidewright");
    SaveShot(*box, "message-box");
    box->button(QMessageBox::No)->click();
    EXPECT_TRUE(Pump([&] { return answer.load() != 0; }));
    EXPECT_EQ(answer.load(), IDNO);
}

TEST_F(OnScreen, TheCrashGuardIsAFormWhoseChoiceGoesBack) {
    DocumentThread document("");
    ASSERT_TRUE(document.Ok());
    std::atomic<int> result{0};
    std::atomic<int> choice{-1};
    document.Start([&](CMainFrame& f) {
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
    EXPECT_TRUE(Pump([&] { return result.load() != 0; }));
    EXPECT_EQ(result.load(), IDOK);
    EXPECT_EQ(choice.load(), CCrashGuardDialog::leave);
}

TEST_F(OnScreen, TheFormatDialogTakesARateTypedWithASpace) {
    DocumentThread document("");
    ASSERT_TRUE(document.Ok());
    std::atomic<int> result{0};
    std::atomic<uint32_t> rate{0};
    document.Start([&](CMainFrame& f) {
        CFormatDialog format;
        result = format.DoModal(f.GetSafeHandle());
        rate = format.m_format.nSamplesPerSec;
    });
    CDialogWindow* dialog = Find<CDialogWindow>();
    ASSERT_NE(dialog, nullptr);
    auto* edit = dialog->findChild<QLineEdit*>("rate");
    ASSERT_NE(edit, nullptr);
    edit->setText("48 000");
    SaveShot(*dialog, "format-dialog");
    dialog->accept();
    EXPECT_TRUE(Pump([&] { return result.load() != 0; }));
    EXPECT_EQ(rate.load(), 48000u);
}

TEST_F(OnScreen, ClosingTheWindowAsksTheDocumentAndTheWindowGoesWithTheFrame) {
    auto document = std::make_unique<DocumentThread>(wav);
    ASSERT_TRUE(document->Ok());
    const WindowHandle frame = document->Frame();
    CFrameWindow* window = Window(frame);
    ASSERT_NE(window, nullptr);
    window->close(); // the window manager's close: the frame decides
    EXPECT_TRUE(Pump([&] { return presentation->FindFrame(frame) == nullptr; }));
}

} // namespace
} // namespace tw
