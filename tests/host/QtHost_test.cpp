// A host that runs Qt itself and calls the exports from its GUI thread, as a Qt music application
// does: the library adopts the host's application, and every wait of an export keeps the host's
// events going, so that a box or dialog a document shows meanwhile appears and can be answered.
// The boxes here are answered from timers, which fire inside those waits.
#include "DocumentList.h"
#include "HostHarness.h"

#include "core/EditedMedia.h"
#include "gui/DialogWindow.h"
#include "gui/FrameWindow.h"
#include "gui/GuiThread.h"
#include "gui/QtPresentation.h"
#include "host/FileThreadList.h"
#include "host/TKThread.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Window.h"
#include "storage/DirectoryManager.h"
#include "view/ChildView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QDropEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QTimer>
#include <QUrl>
#include <QWindow>

#include <gtest/gtest.h>

#include <tidework/tidework.h>

#include <filesystem>
#include <fstream>

using namespace hosttest;
using namespace tw;

namespace {

using Clock = std::chrono::steady_clock;

// Runs Qt's events on this thread (the GUI thread) until `done` or `seconds` passed.
bool Pump(const std::function<bool()>& done, double seconds = 10.0) {
    for (const auto end = Clock::now() + std::chrono::duration<double>(seconds); !done();
         std::this_thread::sleep_for(std::chrono::milliseconds(2)))
        if (Clock::now() > end)
            return false;
        else
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return true;
}

// What a person does, from a timer on the GUI thread, which fires inside whatever wait the thread
// is in: `answer` until it reports that it answered, counting its answers.
struct Person {
    explicit Person(std::function<bool()> answer) {
        QObject::connect(&timer, &QTimer::timeout,
                         [this, answer = std::move(answer)] { answers += answer() ? 1 : 0; });
        timer.start(20);
    }
    QTimer timer;
    int answers = 0;
};

// The visible window of type T, with that title when one is given; null when none is up.
template <class T> T* Shown(const QString& title = {}) {
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* shown = qobject_cast<T*>(window);
            shown != nullptr && shown->isVisible() && (title.isEmpty() || shown->windowTitle() == title))
            return shown;
    return nullptr;
}

// Presses the button of `window` that reads `text` (its mnemonic mark left out).
bool Press(QWidget* window, const QString& text) {
    if (window == nullptr)
        return false;
    for (QAbstractButton* button : window->findChildren<QAbstractButton*>())
        if (button->isVisible() && button->isEnabled() && button->text().remove('&') == text) {
            button->click();
            return true;
        }
    return false;
}

// Answers the box that says `text` with `button`.
std::function<bool()> BoxAnswer(const std::string& text, QMessageBox::StandardButton button) {
    return [text = QString::fromStdString(text), button] {
        QMessageBox* box = Shown<QMessageBox>();
        if (box == nullptr || box->text() != text)
            return false;
        box->button(button)->click();
        return true;
    };
}

std::string ReadFailed(const std::string& path) {
    return "An error occurred while reading from the file " + path + ".";
}

class QtHost : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (QApplication::instance() != nullptr)
            return;
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        static int argc = 1;
        static char name[] = "host_tests";
        static char* argv[] = {name, nullptr};
        // The host's application, which lives as long as the host does.
        new QApplication(argc, argv);
    }

    void SetUp() override {
        HostInfo none{0, 0, 0};
        ASSERT_EQ(tkInitDLL(&none), 1);
        ASSERT_TRUE(CGuiThread::Start());
        ASSERT_TRUE(CGuiThread::IsGuiThread()); // the host's own thread is the GUI thread
        presentation = std::make_shared<CQtPresentation>();
        SetPresentation(presentation);
        const std::string folder = NewFolder("qthost");
        wav = folder + "/chord.wav";
        WriteWav16(wav, 2, 44100, 44100, ToneSample);
        damaged = folder + "/damaged.wav";
        std::ofstream(damaged, std::ios::binary) << "RIFF....WAVEthis is no wave at all";
    }

    void TearDown() override {
        tkSetAutoClose(0);
        tkShutdown();
        EXPECT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        Pump([] { return false; }, 0.05);
    }

    // Runs `work` with the live view on its document's thread, keeping the GUI going meanwhile.
    static void OnView(WindowHandle view, std::function<void(CChildView&)> work) {
        auto done = std::make_shared<std::atomic<bool>>(false);
        CMessageLoop* loop = CWindow::LoopOf(view);
        ASSERT_NE(loop, nullptr);
        loop->PostCall([view, work, done] {
            if (auto* document = dynamic_cast<CChildView*>(CWindow::FromHandle(view)))
                work(*document);
            *done = true;
        });
        ASSERT_TRUE(Pump([&] { return done->load(); }));
    }

    static int64_t Length(WindowHandle view) {
        int64_t length = -1;
        OnView(view, [&](CChildView& document) { length = document.GetMedia().GetLength(); });
        return length;
    }

    // A document of `wav` with its middle cut out: a changed document that asks before it goes.
    void OpenChanged() {
        EXPECT_EQ(tkOpenFile(U16(wav).c_str(), nullptr), 0);
        const WindowHandle view = FramesAndViews().at(0).second;
        OnView(view, [](CChildView& document) {
            document.SetSelection(CSection(11025, 22050));
            document.OnCmdMsg(CChildView::kDelete);
        });
    }

    static int64_t FramesOnDisk(const std::string& path) {
        return (static_cast<int64_t>(std::filesystem::file_size(path)) - 44) / 4;
    }

    std::shared_ptr<CQtPresentation> presentation;
    std::string wav;
    std::string damaged;
};

TEST_F(QtHost, ExportsCalledOnTheGuiThreadLetTheDocumentsBoxesAndDialogsBeAnswered) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::function<int32_t()> call; // the export, on the GUI thread
        std::function<bool()> answer;  // what a person does, from a timer
        int32_t expected;
        std::function<void()> check;
    };
    std::string lost;
    const Case cases[] = {
        {"a file that cannot be read: its box before the document is ready", [] {},
         [&] { return tkOpenFile(U16(damaged).c_str(), nullptr); },
         BoxAnswer(ReadFailed(damaged), QMessageBox::Ok), 5,
         [&] { EXPECT_TRUE(Pump([] { return FramesAndViews().empty(); })); }},
        {"saving a changed document: the save prompt", [&] { OpenChanged(); },
         [&] { return tkSaveFile(U16(wav).c_str()); },
         [&] { return Press(Shown<CDialogWindow>(QString::fromStdString(wav)), "Save"); }, 1,
         [&] {
             EXPECT_EQ(FramesOnDisk(wav), 44100 - 11025);
             EXPECT_EQ(FramesAndViews().size(), 1u);
         }},
        {"closing a changed document: the save prompt", [&] { OpenChanged(); },
         [&] { return tkCloseFile(U16(wav).c_str()); },
         [&] { return Press(Shown<CDialogWindow>(QString::fromStdString(wav)), "Don't Save"); }, 1,
         [&] {
             EXPECT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
             EXPECT_EQ(FramesOnDisk(wav), 44100);
         }},
        {"recovering a lost document: the Crash Guard, then the document's own start",
         [&] {
             // A copy of an open document's working container, left behind as by a crash.
             ASSERT_EQ(tkOpenFile(U16(wav).c_str(), nullptr), 0);
             const std::string temporary = CDirectoryManager().GetDirectory(3);
             lost = temporary + "~vtw_temp-lost.vcg";
             for (const auto& entry : std::filesystem::directory_iterator(temporary))
                 if (entry.path().extension() == ".vcg")
                     std::filesystem::copy_file(entry.path(), lost);
             tkShutdown();
             ASSERT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
         },
         [] { return tkCheckForLostTempFiles(); },
         [] { return Press(Shown<CDialogWindow>("Crash Guard"), "OK"); }, 1,
         [&] {
             const auto documents = FramesAndViews();
             ASSERT_EQ(documents.size(), 1u);
             EXPECT_EQ(Length(documents[0].second), 44100);
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteWav16(wav, 2, 44100, 44100, ToneSample);
        c.prepare();
        Person person(c.answer);
        EXPECT_EQ(c.call(), c.expected);
        EXPECT_EQ(person.answers, 1);
        c.check();
        tkShutdown();
        ASSERT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
        // What was asked has gone from the screen.
        EXPECT_TRUE(Pump([] { return QApplication::activeModalWidget() == nullptr; }));
    }
}

TEST_F(QtHost, AFolderOrADamagedFileDroppedOnAFrameGetsTheMessageAndOpensNothing) {
    struct Case {
        const char* name;
        bool withAudio; // dropped on a document holding audio: it would open in a window of its own
        std::string dropped;
    };
    const std::string folder = NewFolder("dropped");
    const std::string project = NewFolder("dropped") + "/looks like a project.vtf";
    std::filesystem::create_directories(project);
    const Case cases[] = {{"a folder on an empty document", false, folder},
                          {"a folder named like a project on an empty document", false, project},
                          {"a damaged file on a document", true, damaged}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.withAudio)
            ASSERT_EQ(tkOpenFile(U16(wav).c_str(), nullptr), 0);
        else
            ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
        const auto [frame, view] = FramesAndViews().at(0);
        CFrameWindow* window = nullptr;
        ASSERT_TRUE(Pump([&] { return (window = presentation->FindFrame(frame)) != nullptr; }));
        const int64_t before = Length(view);

        Person person(BoxAnswer(ReadFailed(c.dropped), QMessageBox::Ok));
        // As the platform hands a drop to the window: entered, then dropped.
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(QString::fromStdString(c.dropped))});
        const QPoint at = window->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window->windowHandle(), &enter);
        ASSERT_TRUE(enter.isAccepted());
        QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window->windowHandle(), &drop);
        EXPECT_TRUE(drop.isAccepted());
        ASSERT_TRUE(Pump([&] { return person.answers == 1; }));
        // The document that failed to open, if one started, has gone again; this one is as it was.
        EXPECT_TRUE(Pump([] { return FramesAndViews().size() == 1; }));
        Pump([] { return false; }, 0.2);
        EXPECT_EQ(FramesAndViews().size(), 1u);
        EXPECT_EQ(Length(view), before);
        tkShutdown();
        ASSERT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
    }
}

TEST_F(QtHost, ABusyGuiThreadHoldsNoDocumentBack_AndABoxWaitsForItWithoutADeadlock) {
    std::atomic<int32_t> good{-1};
    std::atomic<int32_t> bad{-1};
    std::thread other([&] {
        good = tkOpenFile(U16(wav).c_str(), nullptr);
        bad = tkOpenFile(U16(damaged).c_str(), nullptr);
    });
    // This thread is the GUI thread and runs no events for now, as a host busy elsewhere (or one
    // that has not reached its event loop yet).
    const auto start = Clock::now();
    while (good.load() == -1 && Clock::now() - start < std::chrono::seconds(10))
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(good.load(), 0); // a document never waits for the GUI before it is ready
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(bad.load(), -1); // its box is waiting to be shown
    Person person(BoxAnswer(ReadFailed(damaged), QMessageBox::Ok));
    EXPECT_TRUE(Pump([&] { return bad.load() != -1; }));
    other.join();
    EXPECT_EQ(bad.load(), 5);
    EXPECT_EQ(person.answers, 1);
}

TEST_F(QtHost, ClosingADocumentWhileItsDialogOrBoxIsUp_IsRefusedOrEndsItFirst_AndEveryWindowGoes) {
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const auto [frame, view] = FramesAndViews().at(0);
    CFrameWindow* window = nullptr;
    ASSERT_TRUE(Pump([&] { return (window = presentation->FindFrame(frame)) != nullptr; }));
    // An empty document asks for the format before it makes a test tone.
    CWindow::PostMessage(view, WM_COMMAND, CChildView::kInsertTestSignal);
    CDialogWindow* dialog = nullptr;
    ASSERT_TRUE(Pump([&] { return (dialog = Shown<CDialogWindow>("Sample Format Settings")) != nullptr; }));

    // The frame's close button and tkCloseFile are refused while the dialog is up.
    QCloseEvent close;
    QCoreApplication::sendEvent(window->windowHandle(), &close);
    EXPECT_EQ(tkCloseFile(u""), 1);
    Pump([] { return false; }, 0.3);
    EXPECT_EQ(Shown<CDialogWindow>("Sample Format Settings"), dialog);
    EXPECT_EQ(presentation->FindFrame(frame), window);
    EXPECT_EQ(FramesAndViews().size(), 1u);

    // The close sequence ends the dialog, then the document: both windows go.
    tkShutdown();
    EXPECT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
    EXPECT_TRUE(Pump([&] {
        return presentation->Frames().empty() && Shown<CDialogWindow>("Sample Format Settings") == nullptr;
    }));

    // A yes/no box cannot be closed: the close sequence ends it with Cancel after its wait, and
    // takes it from the screen.
    ASSERT_EQ(tkOpenFile(U16(wav).c_str(), nullptr), 0);
    const WindowHandle second = FramesAndViews().at(0).second;
    std::atomic<int> answer{0};
    CWindow::LoopOf(second)->PostCall(
        [&answer, second] { answer = ShowMessageBox("Go on?", MB_YESNO, second); });
    ASSERT_TRUE(Pump([] { return Shown<QMessageBox>() != nullptr; }));
    tkShutdown();
    EXPECT_TRUE(Pump([] { return tkQueryRunStatus() == 0; }));
    EXPECT_EQ(answer.load(), IDCANCEL);
    EXPECT_TRUE(
        Pump([] { return Shown<QMessageBox>() == nullptr && QApplication::activeModalWidget() == nullptr; }));
}

} // namespace
