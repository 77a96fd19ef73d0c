// PENDING(H): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::OnLButtonDown(uintptr_t flags, int x, int y) {
    // PENDING
}

void CChildView::OnMouseMove(uintptr_t flags, int x, int y) {
    // PENDING
}

void CChildView::OnLButtonUp(uintptr_t flags, int x, int y) {
    // PENDING
}

void CChildView::OnRButtonDown(uintptr_t flags, int x, int y) {
    // PENDING
}

void CChildView::OnRButtonUp(uintptr_t flags, int x, int y) {
    // PENDING
}

void CChildView::OnLButtonDblClk(uintptr_t flags, int x, int y) {
    // PENDING
}

void CChildView::OnMouseWheel(int delta) {
    // PENDING
}

CursorShape CChildView::CursorAt(int x, int y) const {
    // PENDING
    return CursorShape::Arrow;
}

} // namespace tw
