#include "view/ViewHistory.h"

#include "dsp/TransformPlugin.h"
#include "storage/Archive.h"
#include "storage/DocumentBody.h"
#include "view/UndoEntry.h"

#include <iterator>

namespace tw {

namespace {

constexpr uint32_t kNoTransform = 0xFFFFFFFF;

} // namespace

uint32_t CViewHistory::GetEntryCount(List list) {
    m_walkAt = kNoTransform; // a count starts a new walk over the list
    return static_cast<uint32_t>(ListOf(list).size());
}

void CViewHistory::CollectReferences(CBodyIndex& index) {
    // A stage may hold a stream or an effect the document has dropped since (a cut file, a
    // removed effect): the container must list them all, or the stage could not name them.
    for (List list : {undoList, redoList})
        for (CUndoEntry* entry : ListOf(list)) {
            for (int32_t i = 0; i < entry->m_media.GetSourceCount(); ++i) {
                CMediaStream* stream = entry->m_media.GetSourceAt(i);
                if (index.StreamIndex(stream) < 0)
                    index.streams.push_back(stream);
            }
            for (int32_t i = 0; i < entry->m_media.GetTransformCount(); ++i) {
                CTransformBase* transform = entry->m_media.GetTransformAt(i);
                if (index.TransformIndex(transform) < 0)
                    index.transforms.push_back(transform);
            }
            if (entry->m_transform != nullptr && index.TransformIndex(entry->m_transform) < 0)
                index.transforms.push_back(entry->m_transform);
        }
}

void CViewHistory::SaveEntry(List list, uint32_t at, CArchive& archive, const CBodyIndex& index) {
    std::list<CUndoEntry*>& entries = ListOf(list);
    if (at >= entries.size())
        throw CArchiveException(CArchiveException::badIndex);
    // Entries are asked for in order: walking on from the last one keeps a long history linear.
    if (list == m_walkList && m_walkAt != kNoTransform && at == m_walkAt + 1)
        ++m_walkIt;
    else
        m_walkIt = std::next(entries.begin(), at);
    m_walkList = list;
    m_walkAt = at;
    const CUndoEntry& entry = **m_walkIt;
    archive.WriteString(entry.m_caption);
    archive.WriteU32(static_cast<uint32_t>(entry.m_selection.m_start));
    archive.WriteU32(static_cast<uint32_t>(entry.m_selection.m_end));
    archive.WriteU32(static_cast<uint32_t>(entry.m_visible.m_start));
    // The slot of the visible end holds the selection's end: the stored form has always done so.
    archive.WriteU32(static_cast<uint32_t>(entry.m_selection.m_end));
    const int32_t transform = entry.m_transform != nullptr ? index.TransformIndex(entry.m_transform) : -1;
    archive.WriteU32(transform < 0 ? kNoTransform : static_cast<uint32_t>(transform));
    CBodyIndex names = index;
    if (!SaveBody(archive, entry.m_media, kBodyEvents, &names))
        throw CArchiveException(CArchiveException::badIndex);
}

void CViewHistory::Clear() {
    for (List list : {undoList, redoList}) {
        for (CUndoEntry* entry : ListOf(list))
            delete entry;
        ListOf(list).clear();
    }
}

bool CViewHistory::LoadEntry(List list, CArchive& archive, CEditedMedia& master,
                             const CBodyLoadContext& context) {
    auto entry = std::make_unique<CUndoEntry>();
    entry->m_caption = archive.ReadString();
    entry->m_selection.m_start = archive.ReadU32();
    entry->m_selection.m_end = archive.ReadU32();
    entry->m_visible.m_start = archive.ReadU32();
    entry->m_visible.m_end = archive.ReadU32();
    const uint32_t transform = archive.ReadU32();
    if (transform != kNoTransform) {
        if (transform >= static_cast<uint32_t>(master.GetTransformCount()))
            return false;
        entry->m_transform =
            dynamic_cast<CTransformPlugin*>(master.GetTransformAt(static_cast<int32_t>(transform)));
    }
    // The stage names streams and effects by the document's indexes: it lists them all first.
    for (int32_t i = 0; i < master.GetSourceCount(); ++i)
        entry->m_media.AddSource(master.GetSourceAt(i));
    for (int32_t i = 0; i < master.GetTransformCount(); ++i)
        entry->m_media.AddTransform(master.GetTransformAt(i));
    if (!LoadBody(archive, entry->m_media, kBodyEvents, context)) {
        entry->m_media.Clear();
        return false;
    }
    ListOf(list).push_back(entry.release());
    return true;
}

} // namespace tw
