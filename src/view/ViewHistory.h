// The working container's view of a document's two history lists: it counts, writes and reads
// the undo entries so that the container keeps the whole history with the document state.
#pragma once

#include "storage/RaffHistory.h"

#include <list>

namespace tw {

class CUndoEntry;

class CViewHistory : public IRaffHistory {
public:
    // Works on two lists of entries, newest at the tail, which it fills on load and empties on Clear.
    CViewHistory(std::list<CUndoEntry*>& undo, std::list<CUndoEntry*>& redo) : m_undo(undo), m_redo(redo) {}

    uint32_t GetEntryCount(List list) override;
    void CollectReferences(CBodyIndex& index) override;
    void SaveEntry(List list, uint32_t entry, CArchive& archive, const CBodyIndex& index) override;
    void Clear() override;
    bool LoadEntry(List list, CArchive& archive, CEditedMedia& master,
                   const CBodyLoadContext& context) override;

private:
    std::list<CUndoEntry*>& ListOf(List list) { return list == undoList ? m_undo : m_redo; }

    std::list<CUndoEntry*>& m_undo;
    std::list<CUndoEntry*>& m_redo;
    // The entry SaveEntry wrote last (m_walkAt 0xFFFFFFFF: none since the lists last changed).
    List m_walkList = undoList;
    uint32_t m_walkAt = 0xFFFFFFFF;
    std::list<CUndoEntry*>::iterator m_walkIt;
};

} // namespace tw
