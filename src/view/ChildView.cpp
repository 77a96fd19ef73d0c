#include "view/ChildView.h"

#include "platform/Messages.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "view/DocumentHost.h"

namespace tw {

namespace {
constexpr uint32_t kProductName = 128;
} // namespace

CChildView::CChildView() : m_state(std::make_shared<CDocumentState>()) {}

CChildView::~CChildView() {
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
}

WindowHandle CChildView::CreateView(WindowHandle frame) {
    m_frame = frame;
    m_loop = CMessageLoop::Current();
    return Create(0);
}

void CChildView::SetFileName(const std::string& path) {
    m_fileName = path;
    m_state->SetFileName(path);
}

std::string CChildView::WindowTitle() const {
    const std::string product = LoadString(kProductName);
    if (m_fileName.empty())
        return product;
    return FileNameOf(m_fileName) + " - " + product;
}

void CChildView::UpdateTitle() {
    if (m_frame != 0)
        Presentation().FrameTitle(m_frame, WindowTitle());
}

void CChildView::SetStatus(const std::string& text) {
    if (m_frame != 0)
        Presentation().StatusText(m_frame, text);
}

bool CChildView::QuerySave() {
    // Nothing marks a document modified before the edit commands exist, so an unmodified or empty
    // document is the only state there is: the caller may go on.
    if (m_modified == 0 || m_media.IsEmpty())
        return true;
    if (IsClosing())
        return true;
    return false;
}

intptr_t CChildView::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    switch (message) {
    case WM_QUERYENDSESSION:
        return QuerySave() ? 1 : 0;
    case WM_CLOSE:
        // The view is a child: closing is the frame's business.
        return 0;
    default:
        return CWindow::WindowProc(message, wParam, lParam);
    }
}

} // namespace tw
