// PENDING(A): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

int64_t CChildView::SampleFromX(int x) const {
    // PENDING
    return 0;
}

int CChildView::XFromSample(int64_t sample) const {
    // PENDING
    return 0;
}

int64_t CChildView::ZoomLimit() const {
    // PENDING
    return 0;
}

void CChildView::ViewAll() {
    // PENDING
}

void CChildView::ZoomIn() {
    // PENDING
}

void CChildView::ZoomOut() {
    // PENDING
}

void CChildView::ZoomSelection() {
    // PENDING
}

void CChildView::SelectAll() {
    // PENDING
}

void CChildView::UpdateScrollBar() {
    // PENDING
}

void CChildView::OnHScroll(int code, int64_t trackPosition) {
    // PENDING
}

void CChildView::EnsureVisible(int64_t sample) {
    // PENDING
}

void CChildView::ApplyVerticalZoom() {
    // PENDING
}

void CChildView::SetVisualizerType(int type) {
    // PENDING
}

void CChildView::AddViewCommands(CCommandTable& table) {
    // PENDING
}

} // namespace tw
