#include "platform/ModalDialog.h"

#include "platform/Event.h"
#include "platform/FileDialog.h"
#include "platform/Presentation.h"

#include <future>
#include <gtest/gtest.h>
#include <thread>

using namespace tw;

namespace {

class NamedDialog : public CModalDialog {
public:
    explicit NamedDialog(std::string name) : m_name(std::move(name)) {}
    std::string DialogName() const override { return m_name; }
    void OnInitDialog() override { initialised = true; }
    bool initialised = false;

private:
    std::string m_name;
};

class Frame : public CWindow {};

// Each test gets a fresh headless presentation.
class ModalDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_presentation = std::make_shared<CHeadlessPresentation>();
        SetPresentation(m_presentation);
    }
    std::shared_ptr<CHeadlessPresentation> m_presentation;
};

} // namespace

TEST_F(ModalDialogTest, DoModal_DisablesTheOwnerAndEndsWithTheScriptedAnswer) {
    CMessageLoop loop;
    Frame frame;
    frame.Create();
    bool ownerDisabledMeanwhile = false;
    bool popupFound = false;
    m_presentation->OnDialog("Ask", [&](CModalDialog& dialog) {
        ownerDisabledMeanwhile = !frame.IsWindowEnabled();
        popupFound = CWindow::GetLastActivePopup(frame.GetSafeHandle()) == dialog.GetSafeHandle();
        dialog.OnOK();
    });
    NamedDialog dialog("Ask");
    EXPECT_EQ(dialog.DoModal(frame.GetSafeHandle()), IDOK);
    EXPECT_TRUE(dialog.initialised);
    EXPECT_TRUE(ownerDisabledMeanwhile);
    EXPECT_TRUE(popupFound);
    EXPECT_TRUE(frame.IsWindowEnabled());
    EXPECT_FALSE(CWindow::IsWindow(dialog.GetSafeHandle()));
    EXPECT_EQ(CWindow::GetLastActivePopup(frame.GetSafeHandle()), frame.GetSafeHandle());
    const auto history = m_presentation->History();
    ASSERT_EQ(history.size(), 2u);
    EXPECT_EQ(history[0].kind, "dialog");
    EXPECT_EQ(history[0].text, "Ask");
    EXPECT_EQ(history[1].kind, "closed");
}

// A form with presets, which notes what it is given; its OK may refuse and its cancel answers
// something of its own.
class Form : public NamedDialog {
public:
    explicit Form(bool refuses = false) : NamedDialog("Unscripted"), m_refuses(refuses) {}
    std::vector<CDialogField> GetFormFields() const override {
        return {{"", "", CDialogField::Kind::Label, "Keep going?", {}, true},
                {"choice", "Choose", CDialogField::Kind::Radio, "2", {"a", "b", "c"}, true},
                {"name", "Name:", CDialogField::Kind::Text, "take", {}, false}};
    }
    void SetFormField(const std::string& key, const std::string& value) override {
        given += key + "=" + value + " ";
    }
    void OnOK() override {
        if (!m_refuses)
            NamedDialog::OnOK();
    }
    void OnCancel() override { EndDialog(5); }
    std::string given;

private:
    bool m_refuses;
};

TEST_F(ModalDialogTest, UnscriptedDialog_TakesItsPresetsAndOK_AsEnterWould_AndOneThatRefusesThemIsCancelled) {
    CMessageLoop loop;
    Form form;
    EXPECT_EQ(form.DoModal(), IDOK);
    EXPECT_EQ(form.given, "choice=2 name=take ");
    // An OK that refuses the presets would wait for ever: the dialog is cancelled instead.
    Form refusing(true);
    EXPECT_EQ(refusing.DoModal(), 5);
    NamedDialog plain("AlsoUnscripted");
    EXPECT_EQ(plain.DoModal(), IDOK);
    // Only a name that nobody types makes a dialog be cancelled.
    CFileDialog save(false, ".wav", "WAV|*.wav|");
    save.SetPathName("/tmp/preset.wav");
    EXPECT_EQ(save.DoModal(), IDCANCEL);

    // A script that does nothing leaves the dialog to whoever ends it.
    m_presentation->OnDialog("Held", [](CModalDialog& dialog) {
        std::thread([&dialog] {
            Sleep(50);
            dialog.EndDialog(IDOK);
        }).detach();
    });
    NamedDialog held("Held");
    EXPECT_EQ(held.DoModal(), IDOK);
}

TEST_F(ModalDialogTest, TimersAndPostedCalls_GoOnWhileTheDialogRuns) {
    CMessageLoop loop;
    int ticks = 0;
    loop.SetThreadHandler([&](const Message& m) {
        if (m.id == WM_TIMER)
            ++ticks;
    });
    loop.SetTimer(0, 100, 5);
    m_presentation->OnDialog("Wait", [&](CModalDialog& dialog) {
        // End it from a plain thread after a while: EndDialog posts to the dialog's thread.
        std::thread([&dialog] {
            Sleep(80);
            dialog.EndDialog(7);
        }).detach();
    });
    NamedDialog dialog("Wait");
    EXPECT_EQ(dialog.DoModal(), 7);
    EXPECT_GE(ticks, 3);
}

TEST_F(ModalDialogTest, CloseSequence_ClosesPopupsAndEndsOnesThatIgnoreClose) {
    // The document thread: a frame with a dialog open over it.
    std::promise<WindowHandle> frameReady;
    std::atomic<int> firstResult{-1}, secondResult{-1};
    // Both are scripted to stay up: the close sequence is what ends them.
    m_presentation->OnDialog("Polite", [](CModalDialog&) {});
    m_presentation->OnDialog(
        "Stubborn", [](CModalDialog&) {}, /*ignoreClose=*/true);
    std::thread document([&] {
        CMessageLoop loop;
        Frame frame;
        frame.Create();
        frameReady.set_value(frame.GetSafeHandle());
        NamedDialog polite("Polite");
        firstResult = polite.DoModal(frame.GetSafeHandle());
        NamedDialog stubborn("Stubborn");
        secondResult = stubborn.DoModal(frame.GetSafeHandle());
        loop.Run();
    });
    const WindowHandle frame = frameReady.get_future().get();

    // The closing thread, as the close sequence runs it.
    int rounds = 0;
    for (;;) {
        Sleep(10);
        if (CWindow::IsWindowEnabled(frame)) {
            if (secondResult != -1)
                break;
            continue; // between the two dialogs
        }
        const WindowHandle popup = CWindow::GetLastActivePopup(frame);
        if (popup == frame || popup == 0)
            continue;
        CWindow::SendMessage(popup, WM_CLOSE);
        int wait = 0;
        while (CWindow::IsWindow(popup) && wait++ < 10)
            Sleep(20);
        if (CWindow::IsWindow(popup))
            CWindow::PostMessage(popup, CModalDialog::kEndDialogMessage, IDCANCEL);
        ASSERT_LT(++rounds, 10);
    }
    EXPECT_EQ(firstResult.load(), IDCANCEL);
    EXPECT_EQ(secondResult.load(), IDCANCEL);
    CWindow::LoopOf(frame)->Quit(0);
    document.join();
    int closeRequests = 0;
    for (const auto& shown : m_presentation->History())
        closeRequests += shown.kind == "closerequest";
    EXPECT_EQ(closeRequests, 2);
}

TEST_F(ModalDialogTest, NestedDialogs_TheNewestEnabledPopupIsFoundAndOwnersComeBackInOrder) {
    CMessageLoop loop;
    Frame frame;
    frame.Create();
    const WindowHandle f = frame.GetSafeHandle();
    WindowHandle outerHandle = 0, seenInner = 0;
    bool outerEnabledAfterInner = false;
    m_presentation->OnDialog("Inner", [&](CModalDialog& inner) {
        seenInner = CWindow::GetLastActivePopup(f);
        EXPECT_FALSE(CWindow::IsWindowEnabled(outerHandle));
        inner.OnOK();
    });
    m_presentation->OnDialog("Outer", [&](CModalDialog& outer) {
        outerHandle = outer.GetSafeHandle();
        NamedDialog inner("Inner");
        EXPECT_EQ(inner.DoModal(outerHandle), IDOK);
        outerEnabledAfterInner = CWindow::IsWindowEnabled(outerHandle);
        EXPECT_FALSE(frame.IsWindowEnabled()) << "the frame stays disabled under the outer dialog";
        outer.OnCancel();
    });
    NamedDialog outer("Outer");
    EXPECT_EQ(outer.DoModal(f), IDCANCEL);
    EXPECT_NE(seenInner, 0u);
    EXPECT_NE(seenInner, outerHandle);
    EXPECT_TRUE(outerEnabledAfterInner);
    EXPECT_TRUE(frame.IsWindowEnabled());
}

TEST_F(ModalDialogTest, BoxOnADocumentThread_KeepsItsLoopServingUntilAPersonAnswers) {
    // A presentation that waits for a person, here another thread's answer.
    class SlowPresentation : public CHeadlessPresentation {
    public:
        bool AnswersAtOnce() const override { return false; }
        int MessageBox(WindowHandle, const std::string&, const std::string& caption, uint32_t) override {
            seenCaption = caption;
            return answered.get_future().get();
        }
        std::promise<int> answered;
        std::string seenCaption;
    };
    auto slow = std::make_shared<SlowPresentation>();
    SetPresentation(slow);
    CMessageLoop loop;
    int served = 0;
    loop.SetThreadHandler([&](const Message& m) {
        if (++served == 3)
            slow->answered.set_value(IDNO);
    });
    std::thread poster([&] {
        for (int i = 0; i < 3; ++i)
            loop.Post(Message{0, WM_USER, 0, 0});
    });
    EXPECT_EQ(ShowMessageBox("Save changes?", MB_YESNOCANCEL), IDNO);
    poster.join();
    EXPECT_EQ(served, 3);
    EXPECT_EQ(slow->seenCaption, "Vond Tidewright");
}
