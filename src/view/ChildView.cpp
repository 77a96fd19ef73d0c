#include "view/ChildView.h"

#include "audio/AudioOut.h"
#include "audio/PlayRequest.h"
#include "display/PCMVisualizer.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "view/DocumentHost.h"
#include "view/UndoEntry.h"
#include "view/ViewHistory.h"

#include <algorithm>

namespace tw {

namespace {
constexpr uint32_t kWriteFailed = 144;
} // namespace

CChildView::CChildView()
    : m_playRequest(std::make_unique<PlayRequest>()), m_state(std::make_shared<CDocumentState>()) {
    AddViewCommands(m_commands);
    AddHistoryCommands(m_commands);
    AddEditCommands(m_commands);
    AddFileCommands(m_commands);
    AddTransformCommands(m_commands);
    AddConvertCommands(m_commands);
    AddNoiseCommands(m_commands);
    AddTransportCommands(m_commands);
}

CChildView::~CChildView() {
    // The play thread reads the media and clears m_output: it goes before either does.
    StopPlayback();
    ClearHistory();
    delete m_visualizer;
    m_visualizer = nullptr;
    if (m_closeCallback != nullptr) {
        // The host may still read the streams of the document while it is told, so the media is
        // cleared only afterwards.
        const std::u16string path = ToUtf16(m_fileName);
        m_closeCallback->OnDocumentClosed(path.c_str());
    }
    m_media.Clear();
    DestroyWindow();
    if (m_loop != nullptr)
        m_loop->Quit(0);
    // What this document put on the system clipboard must outlive it.
    Presentation().FlushClipboard();
}

WindowHandle CChildView::CreateView(WindowHandle frame) {
    m_frame = frame;
    m_loop = CMessageLoop::Current();
    const WindowHandle handle = frame != 0 ? CreateChild(frame) : Create(0);
    if (handle != 0)
        OnCreate();
    return handle;
}

void CChildView::OnCreate() {
    m_visualizer = new CPCMVisualizer(&m_media, m_showChannelSum != 0);
    // The working container exists from the start, so that a document lost before its first edit
    // is found (and, being empty, cleared away) like any other.
    if (m_project.CreateContainer())
        SaveProjectState();
}

void CChildView::SetFileName(const std::string& path) {
    m_fileName = path;
    m_state->SetFileName(path);
}

void CChildView::SetStatus(const std::string& text) {
    if (m_frame != 0)
        Presentation().StatusText(m_frame, text);
}

void CChildView::SetCursor(CursorShape shape) {
    if (GetSafeHandle() != 0)
        Presentation().SetCursor(GetSafeHandle(), shape);
}

void CChildView::RequestStateSave() {
    if (m_statePending)
        return;
    m_statePending = true;
    if (!CWindow::PostMessage(GetSafeHandle(), kSaveStateMessage))
        SaveProjectState();
}

bool CChildView::SaveProjectState() {
    m_statePending = false;
    if (!m_project.IsOpen())
        return false;
    if (!m_project.SaveState(m_media, &GetHistoryArchive(), m_viewSection, m_selection)) {
        // The container keeps the state before this change, which is what a recovery would
        // find. Once told, the person is not told again at every edit until a store works.
        if (!m_stateFailed) {
            m_stateFailed = true;
            ShowMessageBox(FormatString(kWriteFailed, m_project.GetPath()), MB_ICONWARNING, GetSafeHandle());
        }
        return false;
    }
    m_stateFailed = false;
    ++m_stateSaves;
    return true;
}

CViewHistory& CChildView::GetHistoryArchive() {
    if (!m_historyArchive)
        m_historyArchive = std::make_unique<CViewHistory>(m_undoList, m_redoList);
    return *m_historyArchive;
}

void CChildView::DocumentChanged() {
    const int64_t length = m_media.GetLength();
    m_selection.m_start = std::clamp<int64_t>(m_selection.m_start, 0, length);
    m_selection.m_end = std::clamp<int64_t>(m_selection.m_end, 0, length);
    if (m_visualizer != nullptr)
        m_visualizer->Refresh();
    Paint();
    UpdateScrollBar();
    // The sound under the cursor may have changed with the edit.
    ShowSpectrumAt(m_selection.m_start);
    // Crash recovery finds exactly what this wrote.
    SaveProjectState();
    m_modified = 1;
}

intptr_t CChildView::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    // A command or input that fails is told to the person; the document and its history live on.
    try {
        return Dispatch(message, wParam, lParam);
    } catch (...) {
    }
    ShowMessageBox("An error occured during processing.", MB_ICONWARNING, GetSafeHandle());
    return 0;
}

intptr_t CChildView::Dispatch(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    intptr_t result = 0;
    switch (message) {
    case WM_SIZE:
        OnSize(PointX(lParam) & 0xFFFF, PointY(lParam) & 0xFFFF);
        break;
    case WM_DPICHANGED:
        m_pixelRatio = std::max(1, static_cast<int>(wParam & 0xFFFF)) / 96.0;
        Invalidate();
        break;
    case WM_PAINT:
        Paint();
        return 0;
    case WM_TIMER:
        if (wParam != kPlayTimerId)
            return CWindow::WindowProc(message, wParam, lParam);
        OnPlayTimer();
        break;
    case kSaveStateMessage:
        if (m_statePending)
            SaveProjectState();
        return 0;
    case WM_LBUTTONDOWN:
        OnLButtonDown(wParam, PointX(lParam), PointY(lParam));
        break;
    case WM_LBUTTONUP:
        OnLButtonUp(wParam, PointX(lParam), PointY(lParam));
        break;
    case WM_LBUTTONDBLCLK:
        OnLButtonDblClk(wParam, PointX(lParam), PointY(lParam));
        break;
    case WM_RBUTTONDOWN:
        OnRButtonDown(wParam, PointX(lParam), PointY(lParam));
        break;
    case WM_RBUTTONUP:
        OnRButtonUp(wParam, PointX(lParam), PointY(lParam));
        break;
    case WM_MOUSEMOVE:
        OnMouseMove(wParam, PointX(lParam), PointY(lParam));
        break;
    case WM_MOUSEWHEEL:
        OnMouseWheel(static_cast<int16_t>((wParam >> 16) & 0xFFFF));
        break;
    case WM_KEYDOWN:
        OnKeyDown(static_cast<uint32_t>(wParam), lParam);
        break;
    case WM_HSCROLL:
        OnHScroll(static_cast<int>(wParam & 0xFFFF), static_cast<int64_t>(lParam));
        break;
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        m_focused = message == WM_SETFOCUS;
        Invalidate();
        break;
    case WM_SETTINGCHANGE:
        // Colours may have changed: a new visualizer of the same kind reads them again.
        SetVisualizerType(m_visualizer != nullptr ? m_visualizer->GetType() : 1);
        break;
    case WM_COMMAND:
        // The vertical zoom box of the frame tells its new percentage with its notification.
        if ((wParam & 0xFFFF) == kVerticalZoomCombo && lParam > 0)
            SetVerticalZoomPercent(static_cast<int>(lParam));
        result =
            OnCmdMsg(static_cast<uint32_t>(wParam & 0xFFFF), static_cast<uint32_t>((wParam >> 16) & 0xFFFF))
                ? 1
                : 0;
        break;
    case WM_QUERYENDSESSION:
        return QuerySave() ? 1 : 0;
    case WM_CLOSE:
        // The view is a child: closing is the frame's business.
        return 0;
    default:
        return CWindow::WindowProc(message, wParam, lParam);
    }
    UpdateWindow();
    RunIdle();
    return result;
}

} // namespace tw
