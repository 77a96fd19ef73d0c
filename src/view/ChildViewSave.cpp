// PENDING(D): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

bool CChildView::SaveFile(const std::string& path, CFilteredOutput* filter) {
    // PENDING
    return false;
}

bool CChildView::SaveAs() {
    // PENDING
    return false;
}

bool CChildView::QuerySave() {
    // PENDING
    return true;
}

bool CChildView::KeepChanges() {
    // PENDING
    return true;
}

void CChildView::Close() {
    // PENDING
}

void CChildView::OnFileSave() {
    // PENDING
}

void CChildView::OnFileNew() {
    // PENDING
}

int CChildView::RunSaveTask(CFilteredOutput* filter, IBasicIO* peakTarget, const CSection& section,
                            const std::string& path) {
    // PENDING
    return 2;
}

void CChildView::AddFileCommands(CCommandTable& table) {
    // PENDING
}

} // namespace tw
