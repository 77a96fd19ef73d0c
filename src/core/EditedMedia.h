// The document: an ordered list of media events that, played in order, make the audio, plus the
// streams and transforms they refer to and the markers. It holds no samples; every edit is a change
// of the list, which is why a history stage is a cheap copy.
//
// Each entry of the sources and transforms lists holds one ObjectPool reference, so a stream or
// transform lives as long as any document, history stage or the clipboard lists it. Invariant:
// every event's stream is among the sources, every transform of a chain among the transforms.
//
// No lock: edits run on the document's thread while no read runs. Positions are document frames.
#pragma once

#include "core/LabelList.h"

#include <tidework/wavefmt.h>

#include <cstdint>
#include <vector>

namespace tw {

class CMediaEvent;
class CMediaStream;
class CTransformBase;

class CEditedMedia {
public:
    CEditedMedia() = default;
    virtual ~CEditedMedia(); // runs Clear
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
    // Lists a transform (one pool reference), keeping the invariant for chains that use it.
    void AddTransform(CTransformBase* transform);
    // Releases every source, deletes every event, releases every transform, deletes all markers.
    void Clear();
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
};

// The internal clipboard shared by all documents of the process; cleared when any document closes.
CEditedMedia& ClipboardMedia();

} // namespace tw
