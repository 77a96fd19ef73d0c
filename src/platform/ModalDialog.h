// A dialog as the document thread sees it: a popup window registered on its thread whose DoModal
// asks the presentation to show it and runs a nested loop until EndDialog, so the thread's timers
// and posted calls go on meanwhile. The presentation answers by posting calls back (OnOK, OnCancel,
// field values); WM_CLOSE to the popup is handed to the presentation, which may refuse it.
#pragma once

#include "platform/Window.h"

#include <string>
#include <vector>

namespace tw {

// One control of a dialog as the presentation builds it: a snapshot taken on the dialog's thread,
// so the window never reaches into the live object on another thread. What the person set comes
// back through SetField on the dialog's thread before OnOK.
struct CDialogField {
    // Buttons: the dialog's own answer buttons in place of OK; pressing one sets the field to its
    // index and ends the dialog with OK.
    enum class Kind { Label, Text, Check, Choice, Radio, Buttons };
    std::string key;
    std::string label;
    Kind kind = Kind::Label;
    std::string value;                // the text; "0"/"1" for a check; the index for a choice or radio
    std::vector<std::string> options; // the entries of a choice or radio group
    bool enabled = true;
};

class CModalDialog : public CWindow {
public:
    // Posted to a running dialog (wParam = result) ends it as EndDialog would; EndDialog called on
    // another thread posts it, as the close sequence does for a dialog that ignores WM_CLOSE.
    static constexpr uint32_t kEndDialogMessage = WM_APP + 0x3F00;

    ~CModalDialog() override;

    // The owner is disabled while the dialog runs and enabled again afterwards.
    int DoModal(WindowHandle owner = 0);
    // On the dialog's thread: ends the nested loop with `result`. From another thread: posts
    // kEndDialogMessage.
    void EndDialog(int result);
    bool IsRunning() const { return m_running; }
    int GetResult() const { return m_result; }

    virtual void OnOK() { EndDialog(1); }
    virtual void OnCancel() { EndDialog(2); }
    // A stable name the presentation uses to pick the widget (or the headless script its answer).
    virtual std::string DialogName() const = 0;
    // False for a dialog that ends by itself (a progress dialog ends when its task does); true for
    // one that waits for a person. A presentation with nobody to ask cancels the latter.
    virtual bool WaitsForAnswer() const { return true; }
    // Called on the dialog's thread right after it is registered, before it is shown.
    virtual void OnInitDialog() {}
    // The caption the dialog shows now (a progress dialog's changes as it runs); the presentation
    // reads it on DialogOpened and DialogChanged. Empty: the presentation's own title.
    virtual std::string GetWindowText() const { return std::string(); }
    // The controls the dialog shows now, in order, and what a person set in one of them.
    virtual std::vector<CDialogField> GetFormFields() const { return {}; }
    virtual void SetFormField(const std::string& key, const std::string& value) {}

    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

protected:
    bool m_running = false;
    int m_result = 0;
};

} // namespace tw
