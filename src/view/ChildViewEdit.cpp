// PENDING(C): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::OnEditCut() {
    // PENDING
}

void CChildView::OnEditCopy() {
    // PENDING
}

void CChildView::OnEditDelete() {
    // PENDING
}

void CChildView::OnEditCrop() {
    // PENDING
}

void CChildView::OnEditReverse() {
    // PENDING
}

void CChildView::OnCopyToFile() {
    // PENDING
}

void CChildView::OnInsertFile() {
    // PENDING
}

void CChildView::OnInsertTestSignal() {
    // PENDING
}

void CChildView::OnInsertTrackSplit() {
    // PENDING
}

void CChildView::AddEditCommands(CCommandTable& table) {
    // PENDING
}

} // namespace tw
