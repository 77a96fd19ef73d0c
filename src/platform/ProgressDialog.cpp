#include "platform/ProgressDialog.h"

#include "platform/Presentation.h"
#include "platform/StringTable.h"

#include <cmath>
#include <memory>
#include <thread>

namespace tw {

struct CProgressDialog::Runner {
    std::thread thread;
};

CProgressDialog::CProgressDialog(CWorkerThread& task) : m_task(task) {}

CProgressDialog::~CProgressDialog() {
    if (m_runner != nullptr) {
        // Never leave a task running on an object that goes away.
        if (m_runner->thread.joinable()) {
            m_task.Cancel();
            m_runner->thread.join();
        }
        delete m_runner;
    }
}

int CProgressDialog::DoModal(WindowHandle owner) {
    std::unique_ptr<CMessageLoop> temporary;
    if (CMessageLoop::Current() == nullptr)
        temporary = std::make_unique<CMessageLoop>();
    m_cancelled = false;
    m_lastPercent = -1;
    const int result = CModalDialog::DoModal(owner);
    if (m_runner != nullptr && m_runner->thread.joinable()) {
        // The dialog may end early (a quitting thread, or the close sequence ending it): the task
        // is asked to stop and waited for, since it works on its caller's objects.
        if (!m_task.IsFinished())
            m_task.Cancel();
        m_runner->thread.join();
    }
    return result;
}

void CProgressDialog::OnInitDialog() {
    if (m_runner == nullptr)
        m_runner = new Runner;
    CWorkerThread* task = &m_task;
    const WindowHandle self = GetSafeHandle();
    m_runner->thread = std::thread([task, self] {
        task->m_result.store(task->Execute());
        // The dialog ends as soon as the task does, not at its next look at the progress: a run of
        // short tasks (the tracks of a save) would otherwise wait a tick each.
        CWindow::PostMessage(self, WM_TIMER, kTimerId, 0);
    });
    if (CMessageLoop* loop = CMessageLoop::Current())
        loop->SetTimer(GetSafeHandle(), kTimerId, 100);
    m_titleText = m_task.GetTitle();
}

void CProgressDialog::OnCancel() {
    m_task.Cancel();
    m_cancelled = true;
}

void CProgressDialog::OnTimer() {
    const int percent = static_cast<int>(std::trunc(m_task.GetProgress() * 100.0));
    if (percent != m_lastPercent) {
        m_lastPercent = percent;
        m_titleText = m_task.GetTitle() + FormatString(152, static_cast<int64_t>(percent));
        Presentation().DialogChanged(*this);
    }
    if (m_task.IsFinished() && m_running) {
        if (CMessageLoop* loop = CMessageLoop::Current())
            loop->KillTimer(GetSafeHandle(), kTimerId);
        EndDialog(!m_cancelled && m_task.m_result.load() == 0 ? 1 : 2);
    }
}

intptr_t CProgressDialog::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    if (message == WM_TIMER && wParam == kTimerId) {
        OnTimer();
        return 0;
    }
    return CModalDialog::WindowProc(message, wParam, lParam);
}

} // namespace tw
