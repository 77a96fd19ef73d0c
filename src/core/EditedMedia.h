// The document: an ordered list of media events that, played in order, make the audio, plus the
// streams and transforms they refer to and the markers. It holds no samples; every edit is a change
// of the list, which is why a history stage is a cheap copy.
//
// Each entry of the sources and transforms lists holds one ObjectPool reference, so a stream or
// transform lives as long as any document, history stage or the clipboard lists it. Invariant:
// every event's stream is among the sources, every transform of a chain among the transforms.
//
// No lock: edits run on the document's thread while no read runs. Positions are document frames.
//
// Finding the event at p: the first whose document end lies behind p (greater-than); DeleteSection
// alone takes the first whose end is at or behind p (greater-or-equal), so a start on a boundary
// finds the earlier event. All edits are linear in the number of events.
#pragma once

#include "core/LabelList.h"
#include "core/Section.h"

#include <tidework/wavefmt.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace tw {

class CMediaData;
class CMediaEvent;
class CMediaStream;
class CPeakData;
class CStreamOut;
class CTransformBase;
class CTransformChain;
class IMediaListener;
struct ReadCursor;

class CEditedMedia {
public:
    CEditedMedia() = default;
    virtual ~CEditedMedia(); // releases the listeners (last first), then runs Clear
    CEditedMedia(const CEditedMedia&) = delete;
    CEditedMedia& operator=(const CEditedMedia&) = delete;

    // The first event's stream's native format; with no event the first source's; else null.
    virtual const WAVEFORMATEX* GetNativeFormat() const;
    // The same with the working format.
    virtual const WAVEFORMATEX* GetFormat() const;
    // Block align of GetFormat; 0 without a format.
    virtual int32_t GetFrameSize() const;
    // Sum of the lengths of all TimelineSections; 0 for an empty document.
    virtual int64_t GetLength() const;

    // Inserts the whole stream at `position` and takes one pool reference to it. In a non-empty
    // document the event at the position is split: the result reads E, new, R, where E may stay as
    // an empty event (position 0, or the end).
    void AddMedia(CMediaStream* stream, int64_t position);
    // Lists a stream without making an event of it (one pool reference), as a loaded body does
    // before its events name the stream by index.
    void AddSource(CMediaStream* stream);
    // Lists a transform (one pool reference), keeping the invariant for chains that use it.
    void AddTransform(CTransformBase* transform);
    // Tells the transform the length of `section`, lists it, and appends it to the chains of the
    // events covering the section; events reaching out of it are split first. A split moves the
    // cross-fade to the last piece. A section at or behind the end lists the transform only.
    void ApplyTransform(const CSection& section, CTransformBase* transform);
    // Replaces `destination` (cleared first) with the section of this document: its sources and
    // transforms (shared, one reference each), the covering events cut to the section, and the
    // markers inside the section at their unshifted positions with empty texts and their types.
    void CopyTo(CEditedMedia& destination, const CSection& section);
    // Replaces `destination` (cleared first) with this whole document without copying an event:
    // its sources and transforms are shared (one reference each) and the event list moves over.
    // With `markerTexts` every marker is copied as it is; otherwise, as CopyTo of the whole
    // document gives them, those inside it without texts. This document keeps its references and
    // markers but no events.
    void MoveTo(CEditedMedia& destination, bool markerTexts);
    // Removes the section. With `markSplice` the event that follows the cut gets its SpliceFlag.
    void DeleteSection(const CSection& section, bool markSplice);
    // Inserts copies of `other`'s events at `position`. With `markPasted` those events of `other`
    // get PastedFlag and lose SpliceFlag first. At or behind the end (or into an empty document)
    // the material goes to the head of the document.
    void InsertMedia(CEditedMedia& other, int64_t position, bool markPasted);
    // Moves the boundary between `event` and the next by `delta` document frames, held inside the
    // next event, the event's own start and its stream's end. Returns the distance really moved;
    // 0 when the event is last or not in this document.
    int64_t MoveSplice(CMediaEvent* event, int64_t delta);
    // Takes the transform out of every chain, then compacts. It stays listed (and referenced)
    // until Clear.
    void RemoveTransform(CTransformBase* transform);
    // Deletes events without source frames and joins neighbours that continue each other in one
    // stream with matching chains. Chains match when their counts are equal and no position holds
    // the same transform in both, so neighbours under one shared effect stay apart. An event after
    // a deleted one is not examined. Throws std::invalid_argument when the last event is empty
    // (after deleting it).
    void Compact();
    // Hull of the events whose chain holds the transform; (2147483647, 0) when none does.
    CSection SectionOfTransform(const CTransformBase* transform) const;
    // Resets every listed transform so that stateful effects start clean before a long write.
    void PrepareTransforms();
    // Releases every source, deletes every event, releases every transform, deletes all markers.
    void Clear();
    // Deletes the events only.
    void ClearEvents();
    // True when any source is a temporary file.
    bool UsesTemporaries() const;

    // Holds one reference per listener; a listener already listed is not added again.
    void AddListener(IMediaListener* listener);
    // Unlinks and releases; an unknown listener is left alone.
    void RemoveListener(IMediaListener* listener);
    int32_t GetListenerCount() const { return static_cast<int32_t>(m_listeners.size()); }
    // No listener: false. `change`: tells the first listener alone and answers whether it did not
    // refuse. Otherwise asks each listener whether the changes may be kept; the first "no" ends
    // with false, else true.
    bool NotifyListeners(bool change, const char16_t* path, int64_t progress);
    // No audio: no event, or only empty ones.
    // The first event with length answers: asked by every command's state after each message, this
    // must not walk a long list.
    bool IsEmpty() const;

    int32_t GetEventCount() const { return static_cast<int32_t>(m_events.size()); }
    CMediaEvent* GetEventAt(int32_t index) const;
    // Document frame where an event begins: the sum of the lengths of the events before it.
    // -1 when the event is not in this document.
    int64_t GetEventPosition(const CMediaEvent* event) const;
    // The event that holds document frame `position` (first whose end lies behind it), its index
    // and document start. Null when the position is at or behind the end.
    CMediaEvent* FindEvent(int64_t position, int32_t* index = nullptr, int64_t* eventStart = nullptr) const;
    // Walk over the events; the place is kept in this object, so one walker at a time. Null after
    // the last.
    CMediaEvent* First();
    CMediaEvent* Next();
    const std::vector<CMediaEvent*>& GetEvents() const { return m_events; }
    // The caller may change the list: the lengths measured by the last edit are dropped.
    std::vector<CMediaEvent*>& GetEvents() {
        m_lengthsValid = false;
        return m_events;
    }

    int32_t GetSourceCount() const { return static_cast<int32_t>(m_sources.size()); }
    CMediaStream* GetSourceAt(int32_t index) const;
    int32_t GetTransformCount() const { return static_cast<int32_t>(m_transforms.size()); }
    CTransformBase* GetTransformAt(int32_t index) const;

    CLabelList& GetLabels() { return m_labels; }
    const CLabelList& GetLabels() const { return m_labels; }

    // Reading (EditedMediaRead.cpp). Any number of threads may read at once, each with a cursor of
    // its own; no edit may run meanwhile. Positions are document frames.

    // A cursor at the head of the list, position 0. The caller frees it with FreeCursor.
    ReadCursor* MakeCursor() const;
    // Frees the cursor's read accesses and the cursor; forgets the last noted transform instance.
    void FreeCursor(ReadCursor* cursor);
    // Moves the cursor to `position` (negative counts as 0). The current event's read access is
    // kept and repositioned when the event stays, otherwise freed; a fade tail is found again
    // from the event just before, and its access is made anew on the next read.
    void Seek(ReadCursor& cursor, int64_t position) const;
    // Fills the whole block (working-format frames) from the cursor's position and advances it:
    // each event's frames through its transforms, with the fade tail of the event before mixed in
    // at a gain falling linearly from 1 at the cut to 0 at the end of the overlap, stepped per
    // sample value. Behind the last event the block is filled with silence.
    void ReadSamples(ReadCursor& cursor, CMediaData& block) const;
    // Tells every transform of this document how many document frames its events cover and how
    // many of those lie before `position`: as the display position with `display`, else as the
    // read position. Goes to the shared instances, unlocked: one such writer at a time.
    void SyncTransforms(int64_t position, bool display) const;
    // Pumps `section` into `sink` in blocks of 50 ms (rate / 20 frames) through ReadSamples, then
    // `chain` (the caller's post-effects, may be null), then `mask` (bit c % 32 clear silences
    // channel c; may be null). With `loop` the section starts over when it has run out, adding one
    // to `counter` (may be null) per pass. The cancel flag, cleared at the start, is read once per
    // block. True when the section ran out or the read was cancelled; false when the sink refused a
    // block (a non-zero Write). An empty section writes nothing and gives true.
    bool Render(CStreamOut& sink, const CSection& section, const CTransformChain* chain, bool loop,
                int32_t* counter, const std::atomic<uint32_t>* mask);
    // Sets the cancel flag: a running Render stops within one block.
    void RequestStop() { m_cancel.store(1, std::memory_order_relaxed); }
    // Peaks of a range assembled by events as ReadSamples would play them: each piece's stream
    // peaks (`blockMode`: one row per 256 source frames from its peak source; otherwise one row per
    // frame) through the event's transforms, with fade tails mixed in at block resolution. Null when
    // no event yields a piece. The caller deletes the result.
    CPeakData* ReadPeakBlocks(const CSection& section, bool blockMode) const;
    // `columns` rows of minimum and maximum per channel over the section for the display, with
    // frames per row = length / columns. Up to one frame per column: the samples themselves; below
    // 1280 frames per column: rows merged from ReadPeakBlocks (fine peaks up to 256 frames per
    // column, file peaks above); from 1280 on: each column read by itself from file peaks (a column
    // without peaks is 0, 0). Null for an empty section, no columns, or no format.
    CPeakData* ReadPeakColumns(const CSection& section, int32_t columns);
    // The largest magnitude over the file peaks of the section, all channels; 0 when it has none.
    float GetPeakLevel(const CSection& section) const;

    // Set by the stop request, cleared when a render starts.
    std::atomic<uint8_t> m_cancel{0};
    // The last active transform instance noted by a running read.
    CTransformBase* m_lastInstance = nullptr;

private:
    CLabelList m_labels;
    std::vector<CMediaStream*> m_sources;
    std::vector<CMediaEvent*> m_events; // owned, in play order
    std::vector<CTransformBase*> m_transforms;
    size_t m_walk = 0;
    std::vector<IMediaListener*> m_listeners;

    // Timeline lengths of the events as an edit last measured them, so that the next edit's walk
    // reads one small array instead of every event (a cut walks twice: copy, then delete). -1
    // stands for an event with transforms, whose length follows its effects' settings and is
    // measured every time. Current while the list is as it was (every edit drops it on its way
    // out) and no event's timing changed since (EventTimingChanges). Only edits, which run on the
    // document's thread, touch it.
    std::vector<int64_t> m_lengths;
    uint64_t m_lengthsAt = 0;
    bool m_lengthsValid = false;
    bool m_keepLengths = false;
    // Drops the measured lengths when an edit leaves, whichever way it leaves, unless the edit
    // brought them up to date itself (Remeasured).
    struct ListEdit {
        explicit ListEdit(CEditedMedia& media) : m_media(media) {}
        ~ListEdit() {
            if (!m_media.m_keepLengths)
                m_media.m_lengthsValid = false;
            m_media.m_keepLengths = false;
        }
        ListEdit(const ListEdit&) = delete;
        ListEdit& operator=(const ListEdit&) = delete;
        CEditedMedia& m_media;
    };
    void MeasureLengths();
    // After an edit that found its place with Find and changed the list only in [from, newEnd) of
    // its new order (the events behind are the old ones, moved by the change of size from
    // `oldSize`): measures that stretch again and keeps the rest.
    void Remeasured(size_t from, size_t newEnd, size_t oldSize);

    // The event at `position` and the document start of it (acc); index -1 when the walk runs out,
    // with acc at the total length. `orEqual` takes an event whose end equals the position.
    int32_t Find(int64_t position, bool orEqual, int64_t* acc);
    // Lists `other`'s sources and transforms that this one lacks, one reference each.
    void ShareSourcesOf(const CEditedMedia& other);
    void EraseEvent(size_t index);

    // Reading helpers (EditedMediaRead.cpp).
    void MixTail(ReadCursor& cursor, CMediaData& view, int64_t frames) const;
    // ReadPeakBlocks starting its search for the first event at `*hintIndex` (document start
    // `*hintAcc`), which must not lie behind the section's start; both are left at the last event
    // used, so that a walk over consecutive sections stays linear.
    CPeakData* ReadPeakRange(const CSection& section, bool blockMode, int32_t* hintIndex,
                             int64_t* hintAcc) const;
    // The pieces ReadPeakRange puts together, in order, all with the first piece's channel count.
    std::vector<std::unique_ptr<CPeakData>> CollectPeakPieces(const CSection& section, bool blockMode,
                                                              int32_t* hintIndex, int64_t* hintAcc) const;
    CPeakData* ReadPiecePeaks(const CMediaEvent* event, int64_t from, int64_t to, bool blockMode) const;
};

// The internal clipboard shared by all documents of the process; cleared when any document closes.
CEditedMedia& ClipboardMedia();

} // namespace tw
