// CChildView: the command rows' entry points and the idle routine.
#include "view/ChildView.h"

#include "platform/Messages.h"

namespace tw {

namespace {
// The vertical-zoom combo box reports a finished selection with this notification.
constexpr uint32_t kComboSelectionEnded = 9;
} // namespace

bool CChildView::OnCmdMsg(uint32_t id, uint32_t code) {
    if (code == 0 && m_commands.Dispatch(id))
        return true;
    if (id == kVerticalZoomCombo && code == kComboSelectionEnded) {
        ApplyVerticalZoom();
        Paint();
        return true;
    }
    return false;
}

bool CChildView::OnUpdateCmd(CCmdUI& ui) {
    return m_commands.Update(ui);
}

void CChildView::RunIdle() {
    // The frame collects the states of both tables and publishes what changed.
    if (m_frame != 0 && CWindow::IsWindow(m_frame))
        CWindow::SendMessage(m_frame, WM_IDLEUPDATECMDUI);
}

} // namespace tw
