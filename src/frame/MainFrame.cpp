#include "frame/MainFrame.h"

#include "dsp/TransformManager.h"
#include "frame/Accelerators.h"
#include "frame/FrameLayout.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "view/DocumentHost.h"

#include <exception>

namespace tw {

namespace {
constexpr const char* kProcessingError = "An error occured during processing.";
} // namespace

CMainFrame::CMainFrame() {
    // The bars' toggles: the frame owns which bars show, the window follows the checks. The
    // toolbars and the vertical zoom show at first; meters, analyzer and history wait to be asked.
    for (uint32_t bar : {bars::kStandardToolbar, bars::kTransportToolbar, bars::kLevelMeters,
                         bars::kVerticalZoom, bars::kSpectrumAnalyzer, bars::kEditHistory}) {
        m_barVisible[bar] =
            bar == bars::kStandardToolbar || bar == bars::kTransportToolbar || bar == bars::kVerticalZoom;
        m_commands.AddCommand(bar, [this, bar](uint32_t) { m_barVisible[bar] = !m_barVisible[bar]; });
        m_commands.AddUpdate(bar, [this, bar](CCmdUI& ui) {
            ui.Enable(true);
            ui.SetCheck(m_barVisible[bar] ? 1 : 0);
        });
    }
    m_commands.AddCommand(kCloseAllWindows, [](uint32_t) {
        if (IDocumentHost* host = DocumentHost())
            host->CloseAllDocuments();
    });
}

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
    // The transform list is built for menus only where there are menus to show.
    if (Presentation().ShowsWindows())
        Presentation().FrameLayout(
            handle, DefaultFrameLayout(m_view.GetSafeHandle(), TransformManager().GetEntries()));
    return true;
}

void CMainFrame::SetTitle(const std::string& title) {
    if (GetSafeHandle() != 0) {
        m_publishedTitle = title;
        Presentation().FrameTitle(GetSafeHandle(), title);
    }
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

bool CMainFrame::OnCmdMsg(uint32_t id, uint32_t code) {
    if (m_view.GetSafeHandle() != 0 && m_view.OnCmdMsg(id, code))
        return true;
    return code == 0 && m_commands.Dispatch(id);
}

void CMainFrame::PublishIdle() {
    if (GetSafeHandle() == 0)
        return;
    std::vector<CCommandState> states;
    const CCommandTable* tables[] = {&m_view.GetCommandTable(), &m_commands};
    for (const CCommandTable* table : tables)
        for (uint32_t id : table->UpdateIds()) {
            CCmdUI ui(id);
            if (!m_view.OnUpdateCmd(ui))
                m_commands.Update(ui);
            states.push_back(ui.State());
        }
    // Published only when something changed: the idle runs after every message.
    if (states != m_published) {
        m_published = states;
        Presentation().CommandStates(GetSafeHandle(), states);
    }
    const std::string title = m_view.WindowTitle();
    if (title != m_publishedTitle) {
        m_publishedTitle = title;
        Presentation().FrameTitle(GetSafeHandle(), title);
    }
}

intptr_t CMainFrame::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    // Whatever escapes a command is told to the person and the document lives on: one failed
    // command must not take the open document and its history with it.
    try {
        return Dispatch(message, wParam, lParam);
    } catch (const std::exception&) {
    } catch (...) {
    }
    ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
    return 0;
}

intptr_t CMainFrame::Dispatch(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    switch (message) {
    case WM_CLOSE:
        return OnClose();
    case WM_QUERYENDSESSION:
        return OnQueryEndSession();
    case WM_COMMAND: {
        const bool taken =
            OnCmdMsg(static_cast<uint32_t>(wParam & 0xFFFF), static_cast<uint32_t>((wParam >> 16) & 0xFFFF));
        m_view.UpdateWindow();
        PublishIdle();
        return taken ? 1 : 0;
    }
    case WM_KEYDOWN:
        if (const uint32_t command = TranslateAccelerator(static_cast<uint32_t>(wParam), lParam)) {
            OnCmdMsg(command);
            m_view.UpdateWindow();
            PublishIdle();
            return 0;
        }
        return m_view.GetSafeHandle() != 0
                   ? CWindow::SendMessage(m_view.GetSafeHandle(), message, wParam, lParam)
                   : 0;
    case WM_IDLEUPDATECMDUI:
        PublishIdle();
        return 0;
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
