// PENDING(G): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

bool CChildView::OnCmdMsg(uint32_t id, uint32_t code) {
    // PENDING
    return m_commands.Dispatch(id);
}

bool CChildView::OnUpdateCmd(CCmdUI& ui) {
    // PENDING
    return m_commands.Update(ui);
}

void CChildView::RunIdle() {
    // PENDING
}

} // namespace tw
