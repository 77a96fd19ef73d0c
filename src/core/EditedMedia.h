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

#include <cstdint>
#include <vector>

namespace tw {

class CMediaEvent;
class CMediaStream;
class CTransformBase;
class IMediaListener;

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
    bool IsEmpty() const { return GetLength() == 0; }

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
    std::vector<CMediaEvent*>& GetEvents() { return m_events; }

    int32_t GetSourceCount() const { return static_cast<int32_t>(m_sources.size()); }
    CMediaStream* GetSourceAt(int32_t index) const;
    int32_t GetTransformCount() const { return static_cast<int32_t>(m_transforms.size()); }
    CTransformBase* GetTransformAt(int32_t index) const;

    CLabelList& GetLabels() { return m_labels; }
    const CLabelList& GetLabels() const { return m_labels; }

    // Set by the stop request, cleared when a render starts.
    volatile uint8_t m_cancel = 0;
    // The last active transform instance noted by a running read.
    CTransformBase* m_lastInstance = nullptr;

private:
    CLabelList m_labels;
    std::vector<CMediaStream*> m_sources;
    std::vector<CMediaEvent*> m_events; // owned, in play order
    std::vector<CTransformBase*> m_transforms;
    size_t m_walk = 0;
    std::vector<IMediaListener*> m_listeners;

    // The event at `position` and the document start of it (acc); index -1 when the walk runs out,
    // with acc at the total length. `orEqual` takes an event whose end equals the position.
    int32_t Find(int64_t position, bool orEqual, int64_t* acc) const;
    // Lists `other`'s sources and transforms that this one lacks, one reference each.
    void ShareSourcesOf(const CEditedMedia& other);
    void EraseEvent(size_t index);
};

// The internal clipboard shared by all documents of the process; cleared when any document closes.
CEditedMedia& ClipboardMedia();

} // namespace tw
