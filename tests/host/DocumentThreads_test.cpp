// Document threads in-process, with the headless presentation scripted: what the user would see
// (boxes, titles, dialogs) and what happens to the threads and their list.
#include "DocumentList.h"
#include "HostHarness.h"

#include "../clip/ClipTestSupport.h"
#include "clip/WaveClip.h"
#include "frame/MainFrame.h"
#include "view/ChildView.h"

#include "core/EditedMedia.h"
#include "core/ObjectPool.h"
#include "display/Appearance.h"
#include "display/PCMVisualizer.h"
#include "host/FileThreadList.h"
#include "host/TKThread.h"
#include "platform/Messages.h"
#include "platform/ModalDialog.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/Window.h"
#include "storage/PCMAudio.h"

#include <gtest/gtest.h>

#include <tidework/tidework.h>

#include <chrono>
#include <fstream>
#include <future>
#include <set>

using namespace hosttest;
using namespace tw;

namespace {

class StubbornDialog : public CModalDialog {
public:
    std::string DialogName() const override { return "Stubborn"; }
};

class InProcess : public ::testing::Test {
protected:
    void SetUp() override {
        presentation = std::make_shared<CHeadlessPresentation>();
        SetPresentation(presentation);
        HostInfo none{0, 0, 0};
        ASSERT_EQ(tkInitDLL(&none), 1);
    }
    void TearDown() override {
        tkSetAutoClose(0);
        tkShutdown();
        EXPECT_TRUE(WaitIdle());
    }

    static bool WaitIdle(int timeoutMs = 10000) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (tkQueryRunStatus() != 0) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    std::vector<std::string> Titles() const {
        std::vector<std::string> titles;
        for (const auto& shown : presentation->History())
            if (shown.kind == "title")
                titles.push_back(shown.text);
        return titles;
    }

    // Runs a "Stubborn" dialog over the frame on its document thread and waits until it is up;
    // the future gives the dialog's result.
    static std::future<int> ShowDialogOver(WindowHandle frame) {
        auto result = std::make_shared<std::promise<int>>();
        std::future<int> future = result->get_future();
        CWindow::LoopOf(frame)->PostCall([result, frame] {
            StubbornDialog dialog;
            result->set_value(dialog.DoModal(frame));
        });
        while (CWindow::IsWindowEnabled(frame))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return future;
    }

    std::shared_ptr<CHeadlessPresentation> presentation;
};

TEST_F(InProcess, DamagedFile_ShowsExactlyOneErrorBox_AndLeavesNoListEntry) {
    const std::string path = NewFolder("damaged") + "/noise.wav";
    std::ofstream(path, std::ios::binary) << "RIFF....WAVEthis is not a wave file at all";

    EXPECT_EQ(tkOpenFile(U16(path).c_str(), nullptr), 5);
    ASSERT_TRUE(WaitIdle());
    EXPECT_TRUE(FramesAndViews().empty());
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"An error occurred while reading from the file " + path + "."});
}

TEST_F(InProcess, TitlesAndStatus_NameTheFileWhileAndAfterLoading_OrTheProductForANewDocument) {
    const std::string path = NewFolder("titles") + "/song.wav";
    WriteWav16(path, 2, 44100, 4410, ToneSample);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkOpenFile(U16(path).c_str(), nullptr), 0);
    const auto titles = Titles();
    ASSERT_EQ(titles.size(), 2u);
    EXPECT_EQ(titles[0], "Vond Tidewright");
    EXPECT_EQ(titles[1], "song.wav - Vond Tidewright");
    std::vector<std::string> status;
    for (const auto& shown : presentation->History())
        if (shown.kind == "status")
            status.push_back(shown.text);
    EXPECT_EQ(status, (std::vector<std::string>{"Loading file " + path + "...", "Ready"}));
}

TEST_F(InProcess, Shutdown_EndsADialogThatIgnoresClose_WithCancelAfterAboutASecond) {
    presentation->OnDialog(
        "Stubborn", [](CModalDialog&) {}, /*ignoreClose=*/true);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const auto docs = FramesAndViews();
    ASSERT_EQ(docs.size(), 1u);
    auto future = ShowDialogOver(docs[0].first);

    const auto start = std::chrono::steady_clock::now();
    tkShutdown();
    const auto elapsed = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(future.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(future.get(), IDCANCEL);
    EXPECT_GE(elapsed, std::chrono::milliseconds(900));
    EXPECT_LT(elapsed, std::chrono::seconds(4));
    EXPECT_TRUE(WaitIdle());
}

TEST_F(InProcess, ClosingAnyDocument_EmptiesTheInternalClipboard_AndReleasesItsStreams) {
    const std::string path = NewFolder("clip") + "/clip.wav";
    WriteWav16(path, 2, 44100, 2048, ToneSample);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);

    CPCMAudio* stream = CPCMAudio::Open(path);
    ASSERT_NE(stream, nullptr);
    ClipboardMedia().AddMedia(stream, 0);
    ASSERT_FALSE(ClipboardMedia().IsEmpty());
    ASSERT_EQ(ObjectPool().GetRefCount(stream), 1);

    const WindowHandle firstFrame = FramesAndViews().at(0).first;
    CWindow::SendMessage(firstFrame, WM_CLOSE);
    while (FramesAndViews().size() != 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(ClipboardMedia().IsEmpty());
    EXPECT_EQ(ObjectPool().GetRefCount(stream), 0);
}

TEST_F(InProcess, CloseAllWindows_WithADialogUp_ClosesNothing) {
    presentation->OnDialog(
        "Stubborn", [](CModalDialog&) {}, true);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const auto docs = FramesAndViews();
    auto result = ShowDialogOver(docs[0].first);
    CWindow::SendMessage(docs[1].first, WM_COMMAND, 32816);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(FramesAndViews().size(), 2u);
    bool raised = false;
    for (const auto& shown : presentation->History())
        raised = raised || (shown.kind == "top" && shown.window == docs[0].first);
    EXPECT_TRUE(raised);
    tkShutdown();
    EXPECT_EQ(result.get(), IDCANCEL);
}

TEST_F(InProcess, CloseFile_WhileADialogIsUp_LeavesTheDocumentToShutdown_WhichClosesTheDialogAtOnce) {
    presentation->OnDialog(
        "Stubborn", [](CModalDialog&) {}, /*ignoreClose=*/false);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const WindowHandle frame = FramesAndViews().at(0).first;
    auto result = ShowDialogOver(frame);

    EXPECT_EQ(tkCloseFile(u""), 1); // it matched, but the frame refuses while its dialog runs
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(CWindow::IsWindow(frame));
    // The close sequence ends the dialog first; one that accepts WM_CLOSE needs no waiting.
    const auto start = std::chrono::steady_clock::now();
    tkShutdown();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_EQ(result.get(), IDCANCEL);
    EXPECT_TRUE(WaitIdle());
}

// Boxes that wait for a person, who never comes: they end when the document withdraws them.
class UnansweredBoxes : public CHeadlessPresentation {
public:
    bool AnswersAtOnce() const override { return false; }
    int MessageBox(WindowHandle, const std::string& text, const std::string&, uint32_t) override {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait(lock, [&] { return m_withdrawn.count(text) != 0; });
        m_withdrawn.erase(text);
        return IDCANCEL;
    }
    void WithdrawMessageBox(WindowHandle, const std::string& text) override {
        std::lock_guard<std::mutex> lock(m_lock);
        m_withdrawn.insert(text);
        m_changed.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::multiset<std::string> m_withdrawn;
};

TEST_F(InProcess, ClosingWhileADialogOrBoxSitsOnTheView_EndsItFirstOrIsRefused_AndTheViewOutlivesIt) {
    struct Case {
        const char* name;
        uint32_t box;  // the box's style, or kDialog for a dialog
        bool shutdown; // the close sequence; otherwise WM_CLOSE to the frame (tkCloseFile, the window)
        int result;    // what the dialog or box gives when the close ends it
    };
    constexpr uint32_t kDialog = ~0u;
    const Case cases[] = {{"dialog, close sequence", kDialog, true, IDCANCEL},
                          {"dialog, closing the frame", kDialog, false, 0},
                          {"ok box, close sequence", MB_OK, true, IDOK},
                          {"ok/cancel box, close sequence", MB_OKCANCEL, true, IDCANCEL},
                          {"yes/no box, close sequence", MB_YESNO, true, IDCANCEL},
                          {"yes/no box, closing the frame", MB_YESNO, false, 0}};
    presentation->OnDialog(
        "Stubborn", [](CModalDialog&) {}, false);
    auto boxes = std::make_shared<UnansweredBoxes>();
    boxes->OnDialog(
        "Stubborn", [](CModalDialog&) {}, false);
    const std::string path = NewFolder("modal") + "/modal.wav";
    WriteWav16(path, 2, 44100, 4410, ToneSample);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetPresentation(c.box == kDialog ? std::shared_ptr<IPresentation>(presentation) : boxes);
        ASSERT_EQ(tkOpenFile(U16(path).c_str(), nullptr), 0);
        const auto [frame, view] = FramesAndViews().at(0);
        struct Outcome {
            std::atomic<int> result{0};
            std::atomic<bool> viewAfter{false};
        };
        auto outcome = std::make_shared<Outcome>();
        CWindow::LoopOf(view)->PostCall([outcome, view = view, style = c.box] {
            int result;
            if (style == kDialog) {
                StubbornDialog dialog;
                result = dialog.DoModal(view);
            } else {
                result = ShowMessageBox("Go on?", style, view);
            }
            // What a command does after its dialog: it finds its document still there.
            outcome->viewAfter = CWindow::IsWindow(view) && CWindow::FromHandle(view) != nullptr;
            outcome->result = result;
        });
        // Up over the view, the dialog or box disables the frame.
        const auto up = std::chrono::steady_clock::now();
        while (CWindow::IsWindowEnabled(frame) &&
               std::chrono::steady_clock::now() - up < std::chrono::seconds(5))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_FALSE(CWindow::IsWindowEnabled(frame));
        if (c.shutdown) {
            tkShutdown();
            ASSERT_TRUE(WaitIdle());
            EXPECT_EQ(outcome->result.load(), c.result);
        } else {
            EXPECT_EQ(tkCloseFile(U16(path).c_str()), 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            EXPECT_EQ(outcome->result.load(), 0) << "ended by a close that should be refused";
            EXPECT_TRUE(CWindow::IsWindow(frame));
            tkShutdown();
            ASSERT_TRUE(WaitIdle());
        }
        EXPECT_TRUE(outcome->viewAfter.load());
    }
    SetPresentation(presentation);
}

TEST_F(InProcess, CloseAll_ByCommandOrAndWait_ClosesEveryDocument_WhenNoneRefuses) {
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    CWindow::PostMessage(FramesAndViews().at(1).first, WM_COMMAND, 32816);
    EXPECT_TRUE(WaitIdle());

    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    CFileThreadList::Instance().CloseAllAndWait(); // returns once every document has left the list
    EXPECT_TRUE(FramesAndViews().empty());
}

TEST_F(InProcess, OpenFile_FromAThreadWithAMessageLoop_KeepsThatLoopDispatchingWhileItWaits) {
    const std::string path = NewFolder("pump") + "/pump.wav";
    WriteWav16(path, 2, 44100, 44100, ToneSample);
    bool dispatched = false;
    int32_t result = -1;
    std::thread host([&] {
        CMessageLoop loop;
        loop.PostCall([&] { dispatched = true; });
        result = tkOpenFile(U16(path).c_str(), nullptr);
    });
    host.join();
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(dispatched);
}

// The application thread is the one that called tkInitDLL; it runs a loop of its own here.
int RunApplicationThread(int32_t autoClose, std::chrono::milliseconds patience) {
    std::promise<int> outcome;
    std::thread app([&] {
        CMessageLoop loop;
        HostInfo none{0, 0, 0};
        tkInitDLL(&none);
        tkSetAutoClose(autoClose);
        std::thread([] {
            tkNewFile(nullptr, nullptr);
            tkCloseFile(u"");
        }).detach();
        const auto end = std::chrono::steady_clock::now() + patience;
        bool quit = false;
        while (!quit && std::chrono::steady_clock::now() < end)
            quit = !loop.PumpFor(20);
        outcome.set_value(quit ? 1 : 0);
    });
    app.join();
    return outcome.get_future().get();
}

TEST_F(InProcess, AutoClose_Set_EndsTheApplicationLoopWithTheLastDocument) {
    EXPECT_EQ(RunApplicationThread(1, std::chrono::seconds(5)), 1);
}

TEST_F(InProcess, AutoClose_Clear_KeepsTheApplicationLoopRunning) {
    EXPECT_EQ(RunApplicationThread(0, std::chrono::milliseconds(800)), 0);
    EXPECT_TRUE(WaitIdle());
}

TEST_F(InProcess, TheColourSetChosenInOneDocumentsOptionsRedrawsEveryDocument) {
    ASSERT_TRUE(PutSettingInt("View", "Appearance", 0));
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const auto docs = FramesAndViews();
    ASSERT_EQ(docs.size(), 2u);
    // The wave colour each document's visualizer draws with, read on its own thread.
    auto waveColour = [](WindowHandle view) {
        auto colour = std::make_shared<std::promise<ColorRef>>();
        std::future<ColorRef> future = colour->get_future();
        CWindow::LoopOf(view)->PostCall([colour, view] {
            auto* document = dynamic_cast<CChildView*>(CWindow::FromHandle(view));
            auto* wave =
                document != nullptr ? dynamic_cast<CPCMVisualizer*>(document->GetVisualizer()) : nullptr;
            colour->set_value(wave != nullptr ? wave->GetPalette().waveTop : 0);
        });
        return future.get();
    };
    const ColorRef greenOnBlack = MakeWavePalette(0, false).waveTop;
    const ColorRef normal = MakeWavePalette(1, false).waveTop;
    for (const auto& [frame, view] : docs)
        EXPECT_EQ(waveColour(view), greenOnBlack);

    presentation->OnDialog("Options", [](CModalDialog& sheet) {
        sheet.SetFormField("greenOnBlack", "0");
        sheet.OnOK();
    });
    CWindow::SendMessage(docs[1].first, WM_COMMAND, CMainFrame::kEditorOptions);
    EXPECT_EQ(GlobalAppearance(), 1);
    for (const auto& [frame, view] : docs) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (waveColour(view) != normal && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(waveColour(view), normal);
    }
    DeleteSetting("View", "Appearance");
    SetGlobalAppearance(0);
}

TEST_F(InProcess, AClipsEditorOpensOnceAndKeepChangesGoesBackIntoTheClip) {
    const std::string path = NewFolder("clip") + "/take.wav";
    WriteWav16(path, 2, 44100, 44100, ToneSample);
    auto* clip = new CWaveClip;
    ASSERT_EQ(clip->OpenFile(tw::test::Bstr(path)), S_OK);
    ASSERT_EQ(clip->SetRenderFormat(44100, 2), S_OK);

    ASSERT_EQ(clip->ShowEditor(), S_OK);
    EXPECT_EQ(clip->ShowEditor(), S_FALSE); // one editor per clip
    const auto windows = FramesAndViews();
    ASSERT_EQ(windows.size(), 1u);
    const auto [frame, view] = windows[0];
    EXPECT_EQ(Titles().back(), "take.wav - Vond Tidewright");

    // A cut in the editor, then the host bar's Keep Changes: the clip gets the shorter document
    // and the editor closes without asking.
    std::promise<void> edited;
    CWindow::LoopOf(view)->PostCall([&edited, view = view] {
        auto* document = dynamic_cast<CChildView*>(CWindow::FromHandle(view));
        document->SetSelection(CSection(1000, 12025));
        document->OnCmdMsg(CChildView::kDelete);
        edited.set_value();
    });
    edited.get_future().wait();
    int64_t length = 0;
    ASSERT_EQ(clip->GetOriginalLength(&length), S_OK);
    EXPECT_EQ(length, 44100); // nothing reaches the clip before it is kept
    CWindow::SendMessage(frame, WM_COMMAND, CMainFrame::kKeepChanges);
    ASSERT_EQ(clip->GetOriginalLength(&length), S_OK);
    EXPECT_EQ(length, 44100 - 11025);
    EXPECT_TRUE(WaitIdle());
    EXPECT_TRUE(presentation->Boxes().empty());

    // The editor has ended: the next request opens a new one on the kept clip.
    EXPECT_EQ(clip->ShowEditor(), S_OK);
    tkShutdown();
    EXPECT_TRUE(WaitIdle());
    clip->Release();
}

} // namespace
