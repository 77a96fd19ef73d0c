// The frame around a view: commands go to the view first, accelerators become commands, the idle
// publishes command states and the title only when they change, and a command that throws leaves
// the document alive with a message.
#include "ViewTestSupport.h"

#include "frame/Accelerators.h"
#include "frame/MainFrame.h"
#include "platform/ModalDialog.h"
#include "view/DocumentHost.h"
#include "view/SaveDialogs.h"

#include <stdexcept>

namespace tw::test {
namespace {

// A presentation that counts how often the command states are published.
class CountingPresentation : public CHeadlessPresentation {
public:
    void CommandStates(WindowHandle frame, const std::vector<CCommandState>& states) override {
        ++publications;
        CHeadlessPresentation::CommandStates(frame, states);
    }
    int publications = 0;
};

class FrameRoutingTest : public BodyTest {
protected:
    void SetUp() override {
        BodyTest::SetUp();
        if (IsSkipped())
            return;
        SetPresentation(counting);
        loop = std::make_unique<CMessageLoop>();
        frame = std::make_unique<CMainFrame>();
        ASSERT_TRUE(frame->LoadFrame());
        handle = frame->GetSafeHandle();
        frame->GetView().OnSize(600, 200);
    }
    void TearDown() override {
        frame.reset();
        loop.reset();
        BodyTest::TearDown();
    }
    intptr_t Command(uint32_t id) { return CWindow::SendMessage(handle, WM_COMMAND, id); }

    std::shared_ptr<CountingPresentation> counting = std::make_shared<CountingPresentation>();
    std::unique_ptr<CMessageLoop> loop;
    std::unique_ptr<CMainFrame> frame;
    WindowHandle handle = 0;
};

// Only says that the module is hosted; a host's save query goes through the frame.
class HostedModule : public IDocumentHost {
public:
    bool IsHosted() override { return true; }
    void NotifyOpened(const std::string&) override {}
    void NotifyClosing(const std::string&) override {}
    void NotifySaved(const std::string&) override {}
    void ReportError(const std::string&, int) override {}
    void CloseAllDocuments() override {}
    bool OpenDocument(const std::string&) override { return true; }
    void NewDocument(ITkCloseCallback*) override {}
};

TEST(Accelerators, TheFirstRowOfAKeyWinsAndModifiersMustMatchExactly) {
    EXPECT_EQ(TranslateAccelerator('V', kKeyControl), 57637u); // the second Ctrl+V row is shadowed
    EXPECT_EQ(TranslateAccelerator('C', kKeyControl | kKeyShift), 32808u);
    EXPECT_EQ(TranslateAccelerator('C', kKeyControl), 57634u);
    EXPECT_EQ(TranslateAccelerator(VK_BACK, kKeyAlt), 57643u);
    EXPECT_EQ(TranslateAccelerator(VK_DELETE, kKeyControl), 32813u);
    EXPECT_EQ(TranslateAccelerator('Z', 0), 0u);
}

TEST_F(FrameRoutingTest, CommandsReachTheViewAndTheIdlePublishesStatesOnlyWhenTheyChange) {
    ASSERT_TRUE(frame->GetView().LoadFile(Wav("f.wav", 5000)));
    Command(CChildView::kSelectAll);
    EXPECT_EQ(frame->GetView().GetSelection(), CSection(0, 5000));
    EXPECT_TRUE(counting->LastCommandState(handle, CChildView::kCut).enabled);
    EXPECT_FALSE(counting->LastCommandState(handle, CChildView::kUndo).enabled);
    const int before = counting->publications;
    Command(CChildView::kSelectAll); // changes nothing
    EXPECT_EQ(counting->publications, before);

    // Ctrl+X through the frame cuts; the Undo item then names it.
    CWindow::SendMessage(handle, WM_KEYDOWN, 'X', kKeyControl);
    EXPECT_TRUE(frame->GetView().GetMedia().IsEmpty());
    const CCommandState undo = counting->LastCommandState(handle, CChildView::kUndo);
    EXPECT_TRUE(undo.enabled);
    EXPECT_EQ(undo.text, "Undo Cut\tCtrl+Z");
    // The shadowed paste id has its update row only.
    EXPECT_FALSE(frame->GetView().GetCommandTable().HasCommand(CChildView::kPasteShadowed));
    // Ctrl+M has no row anywhere.
    EXPECT_EQ(Command(32842), 0);
    EXPECT_EQ(counting->Boxes().size(), 0u);
}

TEST_F(FrameRoutingTest, ACommandThatThrowsIsToldAndTheDocumentLivesOn) {
    ASSERT_TRUE(frame->GetView().LoadFile(Wav("g.wav", 2000)));
    frame->GetView().SetSelection(CSection(0, 100));
    ClipboardMedia().Clear();
    frame->GetCommandTable().AddCommand(40000,
                                        [](uint32_t) { throw std::runtime_error("a failing command"); });
    Command(CChildView::kCopy);
    Command(40000);
    ASSERT_FALSE(counting->Boxes().empty());
    EXPECT_EQ(counting->Boxes().back(), "An error occured during processing.");
    EXPECT_EQ(frame->GetView().GetMedia().GetLength(), 2000);
    EXPECT_EQ(ClipboardMedia().GetLength(), 100);
}

TEST_F(FrameRoutingTest, AHostsSessionQueryIsTheDocumentsSaveQueryAndStandaloneItLetsTheSessionGo) {
    CChildView& view = frame->GetView();
    ASSERT_TRUE(view.LoadFile(Wav("q.wav", 4000)));
    view.SetSelection(CSection(0, 100));
    Command(CChildView::kDelete);
    int prompts = 0;

    // Standalone a person is asked once, under the system's own title; Cancel keeps the session.
    counting->QueueBoxAnswer(IDCANCEL);
    EXPECT_EQ(CWindow::SendMessage(handle, WM_QUERYENDSESSION), 0);
    ASSERT_EQ(counting->Boxes().size(), 1u);
    EXPECT_EQ(
        counting->Boxes()[0].rfind("To close Vond Tidewright and turn off your computer click OK.\n", 0), 0u);
    counting->QueueBoxAnswer(IDOK);
    EXPECT_EQ(CWindow::SendMessage(handle, WM_QUERYENDSESSION), 1);
    EXPECT_EQ(CWindow::SendMessage(handle, WM_QUERYENDSESSION), 1);
    EXPECT_EQ(counting->Boxes().size(), 2u); // agreed once, not asked again

    HostedModule hosted;
    SetDocumentHost(&hosted);
    counting->OnDialog("SavePrompt", [&prompts](CModalDialog& d) {
        ++prompts;
        d.OnCancel();
    });
    EXPECT_EQ(CWindow::SendMessage(handle, WM_QUERYENDSESSION), 0);
    counting->OnDialog("SavePrompt", [&prompts](CModalDialog& d) {
        ++prompts;
        static_cast<CSavePromptDlg&>(d).m_choice = CSavePromptDlg::dontSave;
        d.OnOK();
    });
    EXPECT_EQ(CWindow::SendMessage(handle, WM_QUERYENDSESSION), 1);
    EXPECT_EQ(prompts, 2);
    EXPECT_EQ(view.GetMedia().GetLength(), 3900); // nothing was saved or thrown away
    SetDocumentHost(nullptr);
}

TEST_F(FrameRoutingTest, PanesShowTheSelectionAndTheViewAsTimesOnceThereIsAFormat) {
    EXPECT_EQ(counting->LastStatusPane(handle, 1), ""); // no format: untouched
    ASSERT_TRUE(frame->GetView().LoadFile(Wav("p.wav", 44100 * 3)));
    frame->GetView().SetSelection(CSection(66150, 22050)); // reversed: the earlier one comes first
    CWindow::SendMessage(handle, WM_IDLEUPDATECMDUI);
    EXPECT_EQ(counting->LastStatusPane(handle, 1), "Selected:00:00:00:500 - 00:00:01:500");
    EXPECT_EQ(counting->LastStatusPane(handle, 2).rfind("Viewed:00:00:00:000 - ", 0), 0u);
}

TEST_F(FrameRoutingTest, TheHistoryListFollowsTheStagesAndItsPostedActionsReachTheBar) {
    CChildView& view = frame->GetView();
    ASSERT_TRUE(view.LoadFile(Wav("h.wav", 44100)));
    for (int i = 0; i < 2; ++i) {
        view.SetSelection(CSection(0, 100));
        Command(CChildView::kDelete);
    }
    CListModel list = counting->LastHistoryList(handle);
    ASSERT_EQ(list.rows.size(), 3u);
    EXPECT_EQ(list.columns.size(), 2u);
    EXPECT_EQ(list.rows[2].cells[0], "Original");
    EXPECT_EQ(list.marked, -1);

    auto post = [&](CMainFrame::HistoryAction action, int row, intptr_t lParam = 0) {
        CWindow::SendMessage(handle, CMainFrame::kHistoryMessage, CMainFrame::HistoryParam(action, row),
                             lParam);
    };
    post(CMainFrame::click, 1);
    EXPECT_EQ(counting->LastHistoryList(handle).marked, 1);
    post(CMainFrame::selectNone, -1);
    post(CMainFrame::selectAdd, 0);
    post(CMainFrame::selectAdd, 1);
    EXPECT_EQ(counting->LastHistoryList(handle).selected, (std::vector<int>{0, 1}));
    // The popup's "Go To" on the marked row undoes down to it.
    counting->QueueMenuAnswer(CChildView::kGoToStage);
    post(CMainFrame::contextMenu, 1, MakePoint(10, 20));
    EXPECT_EQ(view.GetUndoList().size(), 1u);
    EXPECT_EQ(counting->LastHistoryList(handle).rows.size(), 2u);
    // Tab in the list goes on to the next pane of the ring: the meters.
    post(CMainFrame::key, 0, VK_TAB);
    EXPECT_EQ(counting->LastFocusBar(handle), 32820);
}

TEST_F(FrameRoutingTest, TheFocusRingTakesTheSpectrumOnlyForSurroundOrNoFormat) {
    const struct {
        int channels; // 0: no document
        int step;
        int64_t bar;
    } cases[] = {{0, 2, 32828}, {2, 2, 32770}, {6, 2, 32828}, {2, 1, 32820}, {2, 3, 0}, {2, 4, 32770}};
    for (const auto& c : cases) {
        if (c.channels > 0)
            ASSERT_TRUE(
                frame->GetView().LoadFile(Wav("r" + std::to_string(c.channels) + ".wav", 1000, c.channels)));
        CWindow::SendMessage(handle, WM_FOCUSSTEP, static_cast<uintptr_t>(c.step));
        EXPECT_EQ(counting->LastFocusBar(handle), c.bar) << c.channels << " channels, step " << c.step;
    }
    // Tab in the view starts the ring.
    CWindow::SendMessage(frame->GetView().GetSafeHandle(), WM_KEYDOWN, VK_TAB);
    loop->PumpFor(50);
    EXPECT_EQ(counting->LastFocusBar(handle), 32820);
}

} // namespace
} // namespace tw::test
