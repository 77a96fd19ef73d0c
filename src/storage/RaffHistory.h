// How the working container reaches a document's undo and redo lists (its groups 5 and 6). The
// lists and their entries belong to the view; the container only writes and reads counts and asks
// for one entry record at a time, in list order, oldest first.
#pragma once

#include <cstdint>

namespace tw {

class CArchive;
class CBodyIndex;
class CEditedMedia;
struct CBodyLoadContext;

class IRaffHistory {
public:
    enum List { undoList = 0, redoList = 1 };

    virtual ~IRaffHistory() = default;

    virtual uint32_t GetEntryCount(List list) = 0;
    // Adds to `index` the streams and transforms the entries use, so that the container lists
    // them with the document's own even when the document no longer does (after an undo, a redo
    // entry may hold a stream the document dropped).
    virtual void CollectReferences(CBodyIndex& index) = 0;
    // Writes entry `entry` of `list`; streams and transforms are named through `index`, the order
    // of the groups just written. Archive failures throw CArchiveException.
    virtual void SaveEntry(List list, uint32_t entry, CArchive& archive, const CBodyIndex& index) = 0;

    // Deletes every entry of both lists.
    virtual void Clear() = 0;
    // Reads one entry and appends it to `list`. `master` is the document whose groups were read
    // just before, so the entry can take its streams and transforms by index. False, or
    // CArchiveException, when the record is damaged; nothing is appended then.
    virtual bool LoadEntry(List list, CArchive& archive, CEditedMedia& master,
                           const CBodyLoadContext& context) = 0;
};

} // namespace tw
