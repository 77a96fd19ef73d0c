// The standard runner of a CWorkerThread: a modal dialog on the calling thread (which needs a
// CMessageLoop) that starts the task on a thread of its own, polls it every 100 ms with timer 166,
// shows the percentage in its title (string 152) and ends when the task has finished: 1 when it
// was not cancelled and the task answered 0, otherwise 2. Cancel asks the task and waits for it.
#pragma once

#include "platform/ModalDialog.h"
#include "platform/WorkerThread.h"

namespace tw {

class CProgressDialog : public CModalDialog {
public:
    static constexpr uint32_t kResourceId = 166;
    static constexpr uint32_t kTimerId = 166;

    explicit CProgressDialog(CWorkerThread& task);
    ~CProgressDialog() override;

    // Runs the task to its end. A calling thread without a loop gets a temporary one.
    int DoModal(WindowHandle owner = 0);
    // The cancel button.
    void OnCancel() override;

    // What the dialog shows, for the presentation.
    std::string GetTitleText() const { return m_titleText; }
    int GetPercent() const { return m_lastPercent; }
    bool WasCancelled() const { return m_cancelled; }

    std::string DialogName() const override { return "Progress"; }
    bool WaitsForAnswer() const override { return false; }
    std::string GetWindowText() const override { return m_titleText; }
    void OnInitDialog() override;

private:
    void OnTimer();

    CWorkerThread& m_task;
    std::string m_titleText;
    int m_lastPercent = -1;
    bool m_cancelled = false;
    struct Runner;
    Runner* m_runner = nullptr;
    friend class CModalDialog;
    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;
};

} // namespace tw
