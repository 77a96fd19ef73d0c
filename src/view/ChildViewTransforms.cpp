// PENDING(E): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::ChooseTransform(uint32_t id) {
    // PENDING
}

void CChildView::ApplyTransform(CTransformPlugin* transform) {
    // PENDING
}

void CChildView::OnEffectContextMenu(int x, int y) {
    // PENDING
}

void CChildView::OnRemoveEffect() {
    // PENDING
}

void CChildView::OnBypassEffect() {
    // PENDING
}

void CChildView::OnEffectProperties() {
    // PENDING
}

IHostInterface* CChildView::GetHostInterface() {
    // PENDING
    return nullptr;
}

float CChildView::TempoAtSelection() {
    // PENDING
    return 0.0f;
}

float CChildView::SelectionPeak() {
    // PENDING
    return 0.0f;
}

void CChildView::AddTransformCommands(CCommandTable& table) {
    // PENDING
}

} // namespace tw
