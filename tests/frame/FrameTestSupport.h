// A document frame on the test's own thread with private folders and settings, a scripted
// presentation and a message loop, so the frame's dialogs run their nested loops as on a document
// thread.
#pragma once

#include "storage/PeakTestSupport.h"

#include "audio/DeviceChain.h"
#include "display/Appearance.h"
#include "frame/MainFrame.h"
#include "platform/MessageLoop.h"
#include "platform/ModalDialog.h"
#include "platform/Presentation.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace tw::test {

// The field `key` of what `dialog` shows now; a field with an empty key when it shows none.
inline CDialogField FieldOf(const CModalDialog& dialog, const std::string& key) {
    for (const CDialogField& field : dialog.GetFormFields())
        if (field.key == key)
            return field;
    return CDialogField{};
}

class FrameTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetPresentation(presentation);
        SetGlobalAppearance(0);
        loop = std::make_unique<CMessageLoop>();
        frame = std::make_unique<CMainFrame>();
        ASSERT_TRUE(frame->LoadFrame());
    }
    void TearDown() override {
        SetDeviceChain(nullptr); // a test's own chain goes with it
        frame.reset();
        loop.reset();
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        SetGlobalAppearance(0);
    }

    // Runs `action` on the dialog named `name` when it opens; `action` ends it or leaves it up.
    template <class Dialog> void When(const std::string& name, std::function<void(Dialog&)> action) {
        presentation->OnDialog(name, [action](CModalDialog& d) { action(static_cast<Dialog&>(d)); });
    }
    intptr_t Command(uint32_t id) { return CWindow::SendMessage(frame->GetSafeHandle(), WM_COMMAND, id); }

    ScratchHome home;
    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
    std::unique_ptr<CMessageLoop> loop;
    std::unique_ptr<CMainFrame> frame;
};

} // namespace tw::test
