#include "frame/MainFrame.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "view/DocumentHost.h"

namespace tw {

CMainFrame::~CMainFrame() {
    if (GetSafeHandle() != 0)
        DestroyWindow();
}

bool CMainFrame::LoadFrame() {
    const WindowHandle handle = Create(0);
    if (handle == 0)
        return false;
    if (m_view.CreateView(handle) == 0) {
        DestroyWindow();
        return false;
    }
    m_created = true;
    Presentation().FrameCreated(handle);
    return true;
}

void CMainFrame::SetTitle(const std::string& title) {
    if (GetSafeHandle() != 0)
        Presentation().FrameTitle(GetSafeHandle(), title);
}

void CMainFrame::SetStatusText(const std::string& text) {
    if (GetSafeHandle() != 0)
        Presentation().StatusText(GetSafeHandle(), text);
}

intptr_t CMainFrame::OnClose() {
    // A modal dialog sits on the frame: the document cannot go from under it. The close sequence
    // ends such dialogs before it closes a document.
    if (!IsWindowEnabled())
        return 0;
    if (!m_view.QuerySave())
        return 0;
    if (IDocumentHost* host = DocumentHost())
        host->NotifyClosing(m_view.GetFileName());
    DestroyWindow();
    return 0;
}

intptr_t CMainFrame::OnQueryEndSession() {
    // While hosted the host owns the session: the frame saves what it can and never asks. An
    // unmodified document has nothing to save.
    if (IDocumentHost* host = DocumentHost(); host != nullptr && host->IsHosted())
        return m_view.QuerySave() ? 1 : 0;
    // Standalone the session may end; the close-all that follows asks each document.
    return 1;
}

intptr_t CMainFrame::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    switch (message) {
    case WM_CLOSE:
        return OnClose();
    case WM_QUERYENDSESSION:
        return OnQueryEndSession();
    case WM_COMMAND:
        if ((wParam & 0xFFFF) == kCloseAllWindows) {
            if (IDocumentHost* host = DocumentHost())
                host->CloseAllDocuments();
            return 0;
        }
        // Commands go to the view first.
        return m_view.GetSafeHandle() != 0
                   ? CWindow::SendMessage(m_view.GetSafeHandle(), message, wParam, lParam)
                   : 0;
    case WM_DESTROY: {
        m_view.DestroyWindow();
        if (m_created)
            Presentation().FrameDestroyed(GetSafeHandle());
        m_created = false;
        if (m_onDestroyed)
            m_onDestroyed();
        return 0;
    }
    default:
        return CWindow::WindowProc(message, wParam, lParam);
    }
}

} // namespace tw
