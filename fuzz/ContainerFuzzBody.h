// One case of the container fuzzer, shared by the libFuzzer target and the regression test: any
// bytes are read as a working container with its edit history, as a recovery or an opened project
// reads them. A refused container leaves no document and no stage behind; a read one keeps the
// document's invariants, every stage names only streams and effects the document lists, and the
// whole state writes and reads back to the same shape. After clearing, the pool holds what it held
// before.
//
// The caller has registered the stream makers and RegisterFuzzTransformMaker.
#pragma once

#include "BodyFuzzBody.h"

#include "dsp/TransformPlugin.h"
#include "view/UndoEntry.h"
#include "view/ViewHistory.h"

#include <list>

namespace tw::fuzz {

// A stage's stream and effect lists are the document's, plus what the stage alone still names.
inline bool StageNamesKnownObjects(const CUndoEntry& entry) {
    if (!KeepsInvariants(entry.m_media))
        return false;
    if (entry.m_transform == nullptr)
        return true;
    for (int32_t i = 0; i < entry.m_media.GetTransformCount(); ++i)
        if (entry.m_media.GetTransformAt(i) == static_cast<const CTransformBase*>(entry.m_transform))
            return true;
    return false;
}

struct LoadedContainer {
    CEditedMedia media;
    std::list<CUndoEntry*> undo;
    std::list<CUndoEntry*> redo;
    CViewHistory history{undo, redo};
    CSection view;
    CSection selection;

    ~LoadedContainer() {
        history.Clear();
        media.Clear();
    }
};

inline BodyFuzzOutcome RunContainerFuzzCase(const std::string& bytes) {
    BodyFuzzOutcome outcome;
    auto fail = [&](const std::string& why) {
        outcome.consistent = false;
        outcome.problem = why;
        return outcome;
    };
    const int32_t pooled = ObjectPool().GetCount();
    {
        CMemFileIO file(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        CRaffParser parser;
        parser.AttachContainer(&file);
        LoadedContainer loaded;
        if (!parser.LoadState(loaded.media, &loaded.history, loaded.view, loaded.selection, false)) {
            if (loaded.media.GetSourceCount() != 0 || loaded.media.GetEventCount() != 0 ||
                !loaded.undo.empty() || !loaded.redo.empty())
                return fail("a refused container left a document or stages behind");
        } else {
            if (!KeepsInvariants(loaded.media))
                return fail("a loaded container breaks the document's invariants");
            for (const std::list<CUndoEntry*>* list : {&loaded.undo, &loaded.redo})
                for (const CUndoEntry* entry : *list)
                    if (!StageNamesKnownObjects(*entry))
                        return fail("a loaded stage names an object the container does not list");

            // The next change writes a new state into the same file; that state reads back alike.
            if (!parser.SaveState(loaded.media, &loaded.history, loaded.view, loaded.selection))
                return fail("a loaded container does not take a new state");
            LoadedContainer again;
            CRaffParser reader;
            reader.AttachContainer(&file);
            if (!reader.LoadState(again.media, &again.history, again.view, again.selection, false))
                return fail("a container written from a loaded one does not read");
            if (again.media.GetEventCount() != loaded.media.GetEventCount() ||
                again.media.GetLength() != loaded.media.GetLength() ||
                again.undo.size() != loaded.undo.size() || again.redo.size() != loaded.redo.size())
                return fail("a loaded container does not write and read back alike");
        }
    }
    if (ObjectPool().GetCount() != pooled)
        return fail("streams or transforms were left in the pool");
    return outcome;
}

} // namespace tw::fuzz
