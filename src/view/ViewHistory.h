// The working container's view of a document's two history lists: it counts, writes and reads
// the view's undo entries so that the container keeps the whole history with the document state.
#pragma once

#include "storage/RaffHistory.h"

namespace tw {

class CChildView;

class CViewHistory : public IRaffHistory {
public:
    explicit CViewHistory(CChildView& view) : m_view(view) {}

    uint32_t GetEntryCount(List list) override;
    void CollectReferences(CBodyIndex& index) override;
    void SaveEntry(List list, uint32_t entry, CArchive& archive, const CBodyIndex& index) override;
    void Clear() override;
    bool LoadEntry(List list, CArchive& archive, CEditedMedia& master,
                   const CBodyLoadContext& context) override;

private:
    CChildView& m_view;
};

} // namespace tw
