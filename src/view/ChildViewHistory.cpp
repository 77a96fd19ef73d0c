// PENDING(B): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::PushUndo(const std::string& caption, CTransformPlugin* transform) {
    // PENDING
}

void CChildView::Step(int count) {
    // PENDING
}

CTransformPlugin* CChildView::GetStageTransform(int index) const {
    // PENDING
    return nullptr;
}

void CChildView::ReconfigureStage(int index) {
    // PENDING
}

void CChildView::ToggleStageBypass(int index) {
    // PENDING
}

void CChildView::DeleteStages(const int* indices, int count) {
    // PENDING
}

void CChildView::SelectStage(int index) {
    // PENDING
}

void CChildView::ClearHistory() {
    // PENDING
}

void CChildView::HistoryChanged() {
    // PENDING
}

void CChildView::AddHistoryCommands(CCommandTable& table) {
    // PENDING
}

} // namespace tw
