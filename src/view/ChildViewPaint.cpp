// PENDING(A): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::Paint() {
    // PENDING
}

void CChildView::UpdateWindow() {
    // PENDING
}

void CChildView::OnSize(int width, int height) {
    // PENDING
}

} // namespace tw
