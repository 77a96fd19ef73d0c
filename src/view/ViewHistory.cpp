// PENDING(B): placeholder bodies until the owner of this file fills them in.
#include "view/ViewHistory.h"

namespace tw {

uint32_t CViewHistory::GetEntryCount(List list) {
    // PENDING
    (void)list;
    return 0;
}
void CViewHistory::CollectReferences(CBodyIndex& index) {
    // PENDING
    (void)index;
}
void CViewHistory::SaveEntry(List list, uint32_t entry, CArchive& archive, const CBodyIndex& index) {
    // PENDING
    (void)list, (void)entry, (void)archive, (void)index;
}
void CViewHistory::Clear() {
    // PENDING
}
bool CViewHistory::LoadEntry(List list, CArchive& archive, CEditedMedia& master,
                             const CBodyLoadContext& context) {
    // PENDING
    (void)list, (void)archive, (void)master, (void)context;
    return false;
}

} // namespace tw
