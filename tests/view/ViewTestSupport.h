// A document view on the test's own thread: private folders, the real file filters, a scripted
// presentation, the scale transform maker of the body tests and a message loop, so dialogs and
// boxes run their nested loops as on a document thread.
#pragma once

#include "storage/BodyTestSupport.h"

#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "view/ChildView.h"

#include <gtest/gtest.h>

#include <memory>

namespace tw::test {

class ViewTest : public BodyTest {
protected:
    static constexpr int kWidth = 820;
    static constexpr int kHeight = 300;

    void SetUp() override {
        BodyTest::SetUp();
        if (IsSkipped())
            return;
        loop = std::make_unique<CMessageLoop>();
        view = std::make_unique<CChildView>();
        ASSERT_NE(view->CreateView(0), 0u);
        view->OnSize(kWidth, kHeight);
    }
    void TearDown() override {
        view.reset();
        loop.reset();
        BodyTest::TearDown();
    }

    // Makes the document a generated WAV of `frames` frames.
    void LoadWav(int64_t frames, int channels = 2, const std::string& name = "doc.wav") {
        ASSERT_TRUE(view->LoadFile(Wav(name, frames, channels)));
    }
    // Sends a command as the frame's menu would.
    intptr_t Command(uint32_t id) { return CWindow::SendMessage(view->GetSafeHandle(), WM_COMMAND, id); }
    CCommandState State(uint32_t id) {
        CCmdUI ui(id);
        view->OnUpdateCmd(ui);
        return ui.State();
    }
    void Select(int64_t start, int64_t end) { view->SetSelection(CSection(start, end)); }

    std::unique_ptr<CMessageLoop> loop;
    std::unique_ptr<CChildView> view;
};

} // namespace tw::test
