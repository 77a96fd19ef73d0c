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
    void OpenDocument(const std::string&) override {}
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

    // Standalone the session's end is not the document's to refuse.
    EXPECT_EQ(CWindow::SendMessage(handle, WM_QUERYENDSESSION), 1);

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

} // namespace
} // namespace tw::test
