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
using Clock = std::chrono::steady_clock;

namespace {

class StubbornDialog : public CModalDialog {
public:
    std::string DialogName() const override { return "Stubborn"; }
};

class InProcess : public ::testing::Test {
protected:
    void SetUp() override {
        SetPresentation(presentation);
        HostInfo none{0, 0, 0};
        ASSERT_EQ(tkInitDLL(&none), 1);
    }
    void TearDown() override {
        tkSetAutoClose(0);
        tkShutdown();
        EXPECT_TRUE(WaitIdle());
        SetPresentation(presentation);
    }
    std::string NewWav(const std::string& name, uint32_t frames = 4410) {
        const std::string path = NewFolder("documents") + "/" + name;
        WriteWav16(path, 2, 44100, frames, ToneSample);
        return path;
    }

    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
};

TEST_F(InProcess, ADamagedFileShowsExactlyOneErrorBox_AndTitlesAndStatusNameTheFileOrTheProduct) {
    const std::string damaged = NewFolder("damaged") + "/noise.wav";
    std::ofstream(damaged, std::ios::binary) << "RIFF....WAVEthis is not a wave file at all";
    EXPECT_EQ(tkOpenFile(U16(damaged).c_str(), nullptr), 5);
    ASSERT_TRUE(WaitIdle());
    EXPECT_TRUE(FramesAndViews().empty());
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"An error occurred while reading from the file " + damaged + "."});

    presentation->Clear();
    const std::string path = NewWav("song.wav");
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkOpenFile(U16(path).c_str(), nullptr), 0);
    EXPECT_EQ(Shown(*presentation, "title"),
              (std::vector<std::string>{"Vond Tidewright", "song.wav - Vond Tidewright"}));
    EXPECT_EQ(Shown(*presentation, "status"),
              (std::vector<std::string>{"Loading file " + path + "...", "Ready"}));
}

TEST_F(InProcess, ClosingAnyDocument_EmptiesTheInternalClipboard_AndReleasesItsStreams) {
    const std::string path = NewWav("clip.wav", 2048);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    CPCMAudio* stream = CPCMAudio::Open(path);
    ASSERT_NE(stream, nullptr);
    ClipboardMedia().AddMedia(stream, 0);
    ASSERT_FALSE(ClipboardMedia().IsEmpty());
    ASSERT_EQ(ObjectPool().GetRefCount(stream), 1);

    CWindow::SendMessage(FramesAndViews().at(0).first, WM_CLOSE);
    ASSERT_TRUE(WaitUntil([] { return FramesAndViews().size() == 1; }));
    EXPECT_TRUE(ClipboardMedia().IsEmpty());
    EXPECT_EQ(ObjectPool().GetRefCount(stream), 0);
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

TEST_F(InProcess, ClosingWhileADialogOrBoxIsUp_EndsItFirstOrIsRefused_AndItsOwnerOutlivesIt) {
    constexpr uint32_t kDialog = ~0u;
    const struct {
        const char* name;
        uint32_t box;     // the box's style, or kDialog for a dialog
        bool ignoreClose; // a dialog that does not end on WM_CLOSE
        bool overFrame;   // up over the frame; otherwise over the view
        bool shutdown;    // the close sequence; otherwise WM_CLOSE to the frame (tkCloseFile), refused
        int result;       // what the dialog or box gives when the close sequence ends it
        int minMs, maxMs; // how long the close sequence takes
    } cases[] = {
        {"dialog, close sequence", kDialog, false, false, true, IDCANCEL, 0, 10000},
        {"dialog, closing the frame", kDialog, false, false, false, IDCANCEL, 0, 10000},
        // One that accepts WM_CLOSE needs no waiting; one that ignores it is cancelled after a second.
        {"frame's dialog, closing the frame", kDialog, false, true, false, IDCANCEL, 0, 500},
        {"frame's dialog ignoring close, close sequence", kDialog, true, true, true, IDCANCEL, 900, 4000},
        {"ok box, close sequence", MB_OK, false, false, true, IDOK, 0, 10000},
        {"ok/cancel box, close sequence", MB_OKCANCEL, false, false, true, IDCANCEL, 0, 10000},
        {"yes/no box, close sequence", MB_YESNO, false, false, true, IDCANCEL, 0, 10000},
        {"yes/no box, closing the frame", MB_YESNO, false, false, false, IDCANCEL, 0, 10000},
    };
    auto boxes = std::make_shared<UnansweredBoxes>();
    const std::string path = NewWav("modal.wav");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        presentation->OnDialog(
            "Stubborn", [](CModalDialog&) {}, c.ignoreClose);
        SetPresentation(c.box == kDialog ? std::shared_ptr<IPresentation>(presentation) : boxes);
        ASSERT_EQ(tkOpenFile(U16(path).c_str(), nullptr), 0);
        const auto [frame, view] = FramesAndViews().at(0);
        const WindowHandle owner = c.overFrame ? frame : view;
        struct Outcome {
            std::atomic<int> result{0};
            std::atomic<bool> ownerAfter{false};
        };
        auto outcome = std::make_shared<Outcome>();
        CWindow::LoopOf(owner)->PostCall([outcome, owner, style = c.box] {
            StubbornDialog dialog;
            const int result =
                style == kDialog ? dialog.DoModal(owner) : ShowMessageBox("Go on?", style, owner);
            // What a command does after its dialog: it finds its window still there.
            outcome->ownerAfter = CWindow::IsWindow(owner) && CWindow::FromHandle(owner) != nullptr;
            outcome->result = result;
        });
        // Up over the view or the frame, the dialog or box disables the frame.
        EXPECT_TRUE(WaitUntil([&] { return !CWindow::IsWindowEnabled(frame); }));
        if (!c.shutdown) {
            EXPECT_EQ(tkCloseFile(U16(path).c_str()), 1); // it matched, but the frame refuses
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            EXPECT_EQ(outcome->result.load(), 0) << "ended by a close that should be refused";
            EXPECT_TRUE(CWindow::IsWindow(frame));
        }
        const auto start = Clock::now();
        tkShutdown();
        const auto elapsed = Clock::now() - start;
        ASSERT_TRUE(WaitIdle());
        EXPECT_GE(elapsed, std::chrono::milliseconds(c.minMs));
        EXPECT_LT(elapsed, std::chrono::milliseconds(c.maxMs));
        EXPECT_EQ(outcome->result.load(), c.result);
        EXPECT_TRUE(outcome->ownerAfter.load());
    }
}

TEST_F(InProcess, CloseAllWindows_WithADialogUp_ClosesNothingAndRaisesIt_OtherwiseEveryDocument) {
    presentation->OnDialog(
        "Stubborn", [](CModalDialog&) {}, true);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const auto docs = FramesAndViews();
    auto result = std::make_shared<std::promise<int>>();
    CWindow::LoopOf(docs[0].first)->PostCall([result, frame = docs[0].first] {
        StubbornDialog dialog;
        result->set_value(dialog.DoModal(frame));
    });
    ASSERT_TRUE(WaitUntil([&] { return !CWindow::IsWindowEnabled(docs[0].first); }));
    CWindow::SendMessage(docs[1].first, WM_COMMAND, 32816);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(FramesAndViews().size(), 2u);
    bool raised = false;
    for (const auto& shown : presentation->History())
        raised = raised || (shown.kind == "top" && shown.window == docs[0].first);
    EXPECT_TRUE(raised);
    tkShutdown();
    EXPECT_EQ(result->get_future().get(), IDCANCEL);
    ASSERT_TRUE(WaitIdle());

    // By the command or by the list's own call, which returns once every document has left it.
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    CWindow::PostMessage(FramesAndViews().at(1).first, WM_COMMAND, 32816);
    EXPECT_TRUE(WaitIdle());
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    CFileThreadList::Instance().CloseAllAndWait();
    EXPECT_TRUE(FramesAndViews().empty());
}

TEST_F(InProcess, OpenFile_FromAThreadWithAMessageLoop_KeepsThatLoopDispatchingWhileItWaits) {
    const std::string path = NewWav("pump.wav", 44100);
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

TEST_F(InProcess, AutoClose_EndsTheApplicationLoopWithTheLastDocument_OnlyWhenSet) {
    // The application thread is the one that called tkInitDLL; it runs a loop of its own here.
    for (const int32_t autoClose : {1, 0}) {
        bool quit = false;
        std::thread app([&] {
            CMessageLoop loop;
            HostInfo none{0, 0, 0};
            tkInitDLL(&none);
            tkSetAutoClose(autoClose);
            std::thread([] {
                tkNewFile(nullptr, nullptr);
                tkCloseFile(u"");
            }).detach();
            const auto end = Clock::now() + std::chrono::milliseconds(autoClose ? 5000 : 800);
            while (!quit && Clock::now() < end)
                quit = !loop.PumpFor(20);
        });
        app.join();
        EXPECT_EQ(quit, autoClose == 1) << autoClose;
        EXPECT_TRUE(WaitIdle());
    }
}

TEST_F(InProcess, TheColourSetChosenInOneDocumentsOptionsRedrawsEveryDocument) {
    ASSERT_TRUE(PutSettingInt("View", "Appearance", 0));
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    ASSERT_EQ(tkNewFile(nullptr, nullptr), 0);
    const auto docs = FramesAndViews();
    ASSERT_EQ(docs.size(), 2u);
    // The wave colour each document's visualizer draws with, read on its own thread.
    auto waveColour = [](WindowHandle view) {
        return OnThread<CChildView>(view, [](CChildView& document) {
            auto* wave = dynamic_cast<CPCMVisualizer*>(document.GetVisualizer());
            return wave != nullptr ? wave->GetPalette().waveTop : 0;
        });
    };
    for (const auto& [frame, view] : docs)
        EXPECT_EQ(waveColour(view), MakeWavePalette(0, false).waveTop); // green on black

    presentation->OnDialog("Options", [](CModalDialog& sheet) {
        sheet.SetFormField("greenOnBlack", "0");
        sheet.OnOK();
    });
    CWindow::SendMessage(docs[1].first, WM_COMMAND, CMainFrame::kEditorOptions);
    EXPECT_EQ(GlobalAppearance(), 1);
    const ColorRef normal = MakeWavePalette(1, false).waveTop;
    for (const auto& [frame, view] : docs)
        EXPECT_TRUE(WaitUntil([&, view = view] { return waveColour(view) == normal; }));
    DeleteSetting("View", "Appearance");
    SetGlobalAppearance(0);
}

TEST_F(InProcess, AClipsEditorOpensOnceAndKeepChangesGoesBackIntoTheClip) {
    auto* clip = new CWaveClip;
    ASSERT_EQ(clip->OpenFile(tw::test::Bstr(NewWav("take.wav", 44100))), S_OK);
    ASSERT_EQ(clip->SetRenderFormat(44100, 2), S_OK);
    ASSERT_EQ(clip->ShowEditor(), S_OK);
    EXPECT_EQ(clip->ShowEditor(), S_FALSE); // one editor per clip
    ASSERT_EQ(FramesAndViews().size(), 1u);
    const auto [frame, view] = FramesAndViews()[0];
    EXPECT_EQ(Shown(*presentation, "title").back(), "take.wav - Vond Tidewright");

    // A cut in the editor, then the host bar's Keep Changes: the clip gets the shorter document
    // and the editor closes without asking.
    OnThread<CChildView>(view, [](CChildView& document) {
        document.SetSelection(CSection(1000, 12025));
        return document.OnCmdMsg(CChildView::kDelete);
    });
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
