// One entry of a document's edit list: take this range of this stream, run it through these
// transforms, and overlap the next entry by `CrossFade` frames at the end.
//
// Two time axes meet here. The source range is in frames of the stream; the TimelineSection is in
// document frames, which differ only when the chain stretches time by its factor f (output length
// over input length). A TimelineSection is not anchored in the document: only its length counts
// there, and an event's document position is the sum of the lengths of the events before it.
//
// The document-side conversions go through a signed 32-bit result, truncated toward zero, so a
// TimelineSection is limited to 2^31 frames. Owned by its CEditedMedia; the stream and the
// transforms are pooled and not owned.
#pragma once

#include "core/Object.h"
#include "core/Section.h"
#include "core/TransformChain.h"

#include <climits>
#include <cstdint>

namespace tw {

class CMediaStream;
class CMEReadAccess;
class CTransformBase;

class CMediaEvent : public CObject {
public:
    // The section as source range as it stands; no fade, no flags, empty chain.
    CMediaEvent(CMediaStream* stream, const CSection& source);
    // Shares `other`'s stream, copies its chain and PastedFlag; with `keep` also its CrossFade and
    // SpliceFlag. Then `timeline` is applied as by SetTimelineSection.
    CMediaEvent(const CMediaEvent& other, const CSection& timeline, bool keep);

    double GetStretchFactor() const { return m_chain.GetTimeRatio(); }
    // The fade in document frames.
    int32_t GetCrossFadeOut() const;
    // Empty at the source start when the fade exceeds the source range.
    CSection GetTimelineSection() const;
    // Its length. Edits and reads measure whole lists, so the plain case (no transforms, factor
    // exactly 1.0) comes from the source range with the same 32-bit narrowing, without the section.
    int64_t GetTimelineLength() const {
        if (m_chain.GetCount() != 0)
            return GetTimelineSection().SectionLength();
        if (m_source.m_end - m_source.m_start < m_crossFade)
            return 0;
        auto narrow = [](int64_t v) -> int64_t { return v >= INT32_MIN && v <= INT32_MAX ? v : INT32_MIN; };
        return narrow(m_source.m_end - m_crossFade) - narrow(m_source.m_start);
    }
    // The source range without the fade tail.
    CSection GetSourceSection() const;
    void SetTimelineSection(const CSection& timeline);
    // Sets the overlap with the next event, in document frames. The visible end stays; the read
    // range grows into the stream behind it, as far as the stream reaches.
    void SetCrossFade(int64_t documentFrames);
    void AddTransform(CTransformBase* transform);
    // Takes every occurrence of the transform out of the chain; true when there was one.
    bool RemoveTransform(const CTransformBase* transform);
    // A new read access (the caller owns it) with a read instance of each transform that gives one.
    CMEReadAccess* MakeReadAccess() const;

    CMediaStream* GetStream() const { return m_stream; }
    const CTransformChain& GetChain() const { return m_chain; }
    const CSection& GetSourceRange() const { return m_source; }
    int64_t GetCrossFade() const { return m_crossFade; }

    bool m_spliceFlag = false; // follows a cut made with splice marking
    bool m_pastedFlag = false; // brought in by a paste

private:
    // SetTimelineSection without counting a change: a new event is in no list yet.
    void Place(const CSection& timeline);

    int64_t m_crossFade = 0; // source frames of overlap with the next event
    CSection m_source;       // source frames, fade tail included
    CTransformChain m_chain;
    CMediaStream* m_stream;
};

// Grows with every change of any event's range, fade or chain after construction. A list that
// measured its events remembers the count, and measures again when it has moved.
uint64_t EventTimingChanges();

// Truncation toward zero into a signed 32-bit result. Values outside the range (and NaN) give
// INT32_MIN, as the processor's truncating conversion does.
int32_t TruncateToInt32(double value);

} // namespace tw
