// A dialog as the document thread sees it: a popup window registered on its thread whose DoModal
// asks the presentation to show it and runs a nested loop until EndDialog, so the thread's timers
// and posted calls go on meanwhile. The presentation answers by posting calls back (OnOK, OnCancel,
// field values); WM_CLOSE to the popup is handed to the presentation, which may refuse it.
#pragma once

#include "platform/Window.h"

#include <string>

namespace tw {

class CModalDialog : public CWindow {
public:
    ~CModalDialog() override;

    // The owner is disabled while the dialog runs and enabled again afterwards.
    int DoModal(WindowHandle owner = 0);
    void EndDialog(int result);
    bool IsRunning() const { return m_running; }
    int GetResult() const { return m_result; }

    virtual void OnOK() { EndDialog(1); }
    virtual void OnCancel() { EndDialog(2); }
    // A stable name the presentation uses to pick the widget (or the headless script its answer).
    virtual std::string DialogName() const = 0;
    // Called on the dialog's thread right after it is registered, before it is shown.
    virtual void OnInitDialog() {}

    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

protected:
    bool m_running = false;
    int m_result = 0;
};

} // namespace tw
