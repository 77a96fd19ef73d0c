// PENDING(C): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::OnEditPaste() {
    // PENDING
}

void CChildView::OnCopyToClipboard() {
    // PENDING
}

} // namespace tw
