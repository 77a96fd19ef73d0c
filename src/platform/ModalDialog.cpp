#include "platform/ModalDialog.h"

#include "platform/Presentation.h"

namespace tw {

CModalDialog::~CModalDialog() {
    DestroyWindow();
}

int CModalDialog::DoModal(WindowHandle owner) {
    CMessageLoop* loop = CMessageLoop::Current();
    if (loop == nullptr || m_running)
        return -1;
    if (GetSafeHandle() == 0 && Create(owner) == 0)
        return -1;
    // Only an owner that was enabled is enabled again: a dialog over a dialog must not wake the
    // outer dialog's owner early.
    const bool ownerWasEnabled = owner != 0 && CWindow::IsWindowEnabled(owner);
    if (ownerWasEnabled)
        CWindow::EnableWindow(owner, false);
    m_running = true;
    m_result = 0;
    OnInitDialog();
    Presentation().DialogOpened(*this);
    if (!loop->RunModal([this] { return !m_running; }) && m_running) {
        // The thread is quitting: the dialog ends as cancelled.
        m_running = false;
        m_result = 2;
    }
    Presentation().DialogClosed(*this);
    if (ownerWasEnabled)
        CWindow::EnableWindow(owner, true);
    DestroyWindow();
    return m_result;
}

void CModalDialog::EndDialog(int result) {
    const WindowHandle handle = GetSafeHandle();
    if (handle != 0 && !CWindow::IsOwnerThread(handle)) {
        CWindow::PostMessage(handle, kEndDialogMessage, static_cast<uintptr_t>(result));
        return;
    }
    m_result = result;
    m_running = false;
}

intptr_t CModalDialog::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    switch (message) {
    case WM_CLOSE:
        if (m_running && Presentation().DialogCloseRequested(*this))
            OnCancel();
        return 0;
    case kEndDialogMessage:
        if (m_running) {
            m_result = static_cast<int>(static_cast<intptr_t>(wParam));
            m_running = false;
        }
        return 0;
    default:
        return 0;
    }
}

} // namespace tw
