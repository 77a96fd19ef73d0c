// The document as a list of events: inserting whole streams, the edit operations checked against
// the expected events and against the samples that reading the events gives back, and the pool
// references that keep shared streams and transforms alive.
#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "core/MediaListener.h"
#include "core/ObjectPool.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <stdexcept>
#include <tuple>

namespace tw {

// Readable failure messages; internal linkage so that other test files may have their own.
[[maybe_unused]] static void PrintTo(const CSection& section, std::ostream* os) {
    *os << "[" << section.m_start << ", " << section.m_end << ")";
}

namespace {

using test::Frames;
using test::GainTransform;
using test::Join;
using test::Numbered;
using test::Render;
using test::Timelines;
using test::VectorStream;
using Sections = std::vector<CSection>;
using Marks4 = std::vector<std::array<int64_t, 4>>;

Sections SourceSections(const CEditedMedia& media) {
    Sections out;
    for (const CMediaEvent* event : media.GetEvents())
        out.push_back(event->GetSourceSection());
    return out;
}

// Per event: chain length, splice flag, pasted flag, cross-fade.
std::vector<std::array<int64_t, 4>> Marks(const CEditedMedia& media) {
    std::vector<std::array<int64_t, 4>> out;
    for (const CMediaEvent* e : media.GetEvents())
        out.push_back({e->GetChain().GetCount(), e->m_spliceFlag, e->m_pastedFlag, e->GetCrossFade()});
    return out;
}

// Two streams back to back: A is frames 0..999 valued 0.., B frames 0..999 valued 5000...
struct TwoStreams {
    TwoStreams() {
        media.AddMedia(a, 0);
        media.AddMedia(b, 1000);
        media.DeleteSection(CSection(0, 0), false); // drops the empty event AddMedia left in front
    }
    VectorStream* a = Numbered(1000, 0.0f);
    VectorStream* b = Numbered(1000, 5000.0f);
    CEditedMedia media;
};

// Records what the document tells it.
class ProbeTransform : public GainTransform {
public:
    explicit ProbeTransform(float gain) : GainTransform(gain) {}
    void SetLength(int64_t frames) override { m_length = frames; }
    void Reset() override { ++m_resets; }
    int64_t m_length = -1;
    int m_resets = 0;
};

TEST(EditedMedia, AddMedia_SplitsTheEventAtThePositionAndLeavesEmptyEventsAtTheEnds) {
    CEditedMedia media;
    EXPECT_EQ(media.GetFormat(), nullptr);
    EXPECT_TRUE(media.IsEmpty());
    auto* a = VectorStream::Ramp(1000);
    media.AddMedia(a, 0);
    EXPECT_EQ(SourceSections(media), (Sections{{0, 1000}}));
    EXPECT_EQ(ObjectPool().GetRefCount(a), 1);
    EXPECT_EQ(media.GetFormat(), a->GetFormat());
    EXPECT_EQ(media.GetNativeFormat()->wBitsPerSample, 16);
    EXPECT_EQ(media.GetFrameSize(), 4);
    auto* b = VectorStream::Ramp(500);
    media.AddMedia(b, 300);
    EXPECT_EQ(SourceSections(media), (Sections{{0, 300}, {0, 500}, {300, 1000}}));
    EXPECT_EQ(media.GetEventAt(1)->GetStream(), b);
    EXPECT_EQ(media.GetEventAt(2)->GetStream(), a);
    EXPECT_EQ(media.GetLength(), 1500);
    EXPECT_EQ(media.GetEventPosition(media.GetEventAt(2)), 800);
    // A position inside the second piece of the first stream lands there, in its own coordinates.
    media.AddMedia(VectorStream::Ramp(10), 900);
    EXPECT_EQ(SourceSections(media), (Sections{{0, 300}, {0, 500}, {300, 400}, {0, 10}, {400, 1000}}));

    CEditedMedia atStart;
    atStart.AddMedia(VectorStream::Ramp(1000), 0);
    atStart.AddMedia(VectorStream::Ramp(200), 0);
    EXPECT_EQ(SourceSections(atStart), (Sections{{0, 0}, {0, 200}, {0, 1000}}));
    CEditedMedia atEnd;
    auto* first = VectorStream::Ramp(1000);
    auto* second = VectorStream::Ramp(200);
    atEnd.AddMedia(first, 0);
    atEnd.AddMedia(second, 1000);
    EXPECT_EQ(SourceSections(atEnd), (Sections{{0, 0}, {0, 1000}, {0, 200}}));
    EXPECT_EQ(atEnd.GetEventAt(1)->GetStream(), first);
    EXPECT_EQ(atEnd.GetEventAt(2)->GetStream(), second);
    EXPECT_EQ(atEnd.GetLength(), 1200);
    // The empty event counts for nothing when looking up positions.
    int32_t index = -1;
    int64_t start = -1;
    EXPECT_EQ(atEnd.FindEvent(0, &index, &start), atEnd.GetEventAt(1));
    EXPECT_EQ(std::make_pair(index, start), std::make_pair(1, int64_t{0}));
    EXPECT_EQ(atEnd.FindEvent(1200), nullptr);
    int walked = 0;
    for (CMediaEvent* e = atEnd.First(); e != nullptr; e = atEnd.Next())
        EXPECT_EQ(e, atEnd.GetEventAt(walked++));
    EXPECT_EQ(walked, 3);
}

TEST(EditedMedia, AddMedia_IntoAFadedEvent_KeepsTheFadeOnBothPieces) {
    CEditedMedia media;
    media.AddMedia(VectorStream::Ramp(10000), 0);
    media.GetEventAt(0)->SetTimelineSection(CSection(0, 5000));
    media.GetEventAt(0)->SetCrossFade(100);
    media.AddMedia(VectorStream::Ramp(10), 2000);
    EXPECT_EQ(Marks(media), (Marks4{{0, 0, 0, 100}, {0, 0, 0, 0}, {0, 0, 0, 100}}));
    EXPECT_EQ(media.GetEventAt(0)->GetSourceRange(), CSection(0, 2100));
    EXPECT_EQ(media.GetEventAt(2)->GetSourceRange(), CSection(2000, 5100));
    EXPECT_EQ(media.GetLength(), 5010);
}

TEST(EditedMedia, Clear_ReleasesSharedStreamsAndTransformsOnlyAtTheLastHolder) {
    bool streamGone = false, transformGone = false, clipboardGone = false;
    auto* stream = VectorStream::Ramp(100, &streamGone);
    auto* gain = new GainTransform(0.5f, &transformGone);
    CEditedMedia document, snapshot;
    document.AddMedia(stream, 0);
    document.AddMedia(stream, 50); // listed twice: two references
    document.AddTransform(gain);
    document.GetEventAt(0)->AddTransform(gain);
    document.GetLabels().Add(10, 0, "", "");
    snapshot.AddMedia(stream, 0);
    snapshot.AddTransform(gain);
    EXPECT_EQ(ObjectPool().GetRefCount(stream), 3);
    EXPECT_EQ(ObjectPool().GetRefCount(gain), 2);
    document.Clear();
    EXPECT_FALSE(streamGone || transformGone);
    EXPECT_EQ(document.GetEventCount() + document.GetSourceCount() + document.GetLabels().GetCount(), 0);
    EXPECT_EQ(document.GetLength(), 0);
    EXPECT_EQ(ObjectPool().GetRefCount(stream), 1);
    snapshot.Clear();
    EXPECT_TRUE(streamGone && transformGone);

    ClipboardMedia().AddMedia(VectorStream::Ramp(10, &clipboardGone), 0);
    EXPECT_EQ(ClipboardMedia().GetLength(), 10);
    ClipboardMedia().Clear();
    EXPECT_TRUE(clipboardGone);
}

TEST(EditedMediaEdits, ApplyTransform_CoversTheRangeAndChainsFollowTheOrderOfApplication) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    auto* probe = new ProbeTransform(2.0f);
    media.ApplyTransform(CSection(200, 500), probe);
    EXPECT_EQ(probe->m_length, 300);
    EXPECT_EQ(ObjectPool().GetRefCount(probe), 1);
    EXPECT_EQ(Timelines(media), (Sections{{0, 200}, {200, 500}, {500, 1000}}));
    EXPECT_EQ(Marks(media), (Marks4{{0, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0, 0}}));
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 200), Frames(0, 200, 500, 2.0f), Frames(0, 500, 1000)}));
    EXPECT_EQ(media.SectionOfTransform(probe), CSection(200, 500));
    media.PrepareTransforms();
    EXPECT_EQ(probe->m_resets, 1);

    TwoStreams two;
    auto* first = new GainTransform(2.0f);
    auto* second = new GainTransform(3.0f);
    two.media.ApplyTransform(CSection(500, 1500), first);
    two.media.ApplyTransform(CSection(500, 1500), second);
    EXPECT_EQ(Timelines(two.media), (Sections{{0, 500}, {500, 1000}, {0, 500}, {500, 1000}}));
    EXPECT_EQ(two.media.GetEventAt(1)->GetChain().GetAt(0), first);
    EXPECT_EQ(two.media.GetEventAt(1)->GetChain().GetAt(1), second);
    EXPECT_EQ(Marks(two.media), (Marks4{{0, 0, 0, 0}, {2, 0, 0, 0}, {2, 0, 0, 0}, {0, 0, 0, 0}}));
    EXPECT_EQ(two.media.GetLength(), 2000);
    EXPECT_EQ(Render(two.media), Join({Frames(0, 0, 500), Frames(0, 500, 1000, 6.0f),
                                       Frames(5000, 0, 500, 6.0f), Frames(5000, 500, 1000)}));
    // At the end nothing is covered, but the transform is listed.
    auto* late = new GainTransform(1.0f);
    two.media.ApplyTransform(CSection(2000, 2100), late);
    EXPECT_EQ(two.media.GetEventCount(), 4);
    EXPECT_EQ(two.media.GetTransformCount(), 3);
    EXPECT_EQ(two.media.SectionOfTransform(late), CSection(2147483647, 0));
}

TEST(EditedMediaEdits, ApplyTransform_SplittingAFadedEvent_MovesTheFadeToTheLastPiece) {
    CEditedMedia media;
    media.AddMedia(Numbered(5000, 0.0f), 0);
    media.GetEventAt(0)->SetTimelineSection(CSection(0, 1000));
    media.GetEventAt(0)->SetCrossFade(100);
    media.ApplyTransform(CSection(200, 500), new GainTransform(2.0f));
    EXPECT_EQ(Marks(media), (Marks4{{0, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0, 100}}));
    EXPECT_EQ(media.GetEventAt(1)->GetSourceRange(), CSection(200, 500));
    EXPECT_EQ(media.GetEventAt(2)->GetSourceRange(), CSection(500, 1100));
    EXPECT_EQ(media.GetLength(), 1000);
}

TEST(EditedMediaEdits, CopyTo_ExtractsTheRangeWithSharedStreamsAndUnshiftedMarkers) {
    TwoStreams two;
    two.media.GetLabels().Add(100, 0, "x", "y");
    two.media.GetLabels().Add(800, 7, "artist", "title");
    two.media.GetLabels().Add(1200, 0, "", "");
    CEditedMedia part;
    part.AddMedia(Numbered(10, 0.0f), 0); // replaced by the copy
    two.media.CopyTo(part, CSection(700, 1200));
    EXPECT_EQ(Timelines(part), (Sections{{700, 1000}, {0, 200}}));
    EXPECT_EQ(Render(part), Join({Frames(0, 700, 1000), Frames(5000, 0, 200)}));
    EXPECT_EQ(part.GetSourceCount(), 2);
    EXPECT_EQ(ObjectPool().GetRefCount(two.a), 2);
    ASSERT_EQ(part.GetLabels().GetCount(), 1);
    const CLabelData* label = part.GetLabels().GetAt(0);
    EXPECT_EQ(std::make_tuple(label->m_position, label->m_type, label->m_firstText),
              std::make_tuple(int64_t{800}, 7, std::string()));

    // Inside one event: one piece. Ending on a boundary: no empty last piece.
    two.media.CopyTo(part, CSection(1100, 1300));
    EXPECT_EQ(Timelines(part), (Sections{{100, 300}}));
    two.media.CopyTo(part, CSection(500, 1000));
    EXPECT_EQ(Timelines(part), (Sections{{500, 1000}}));
    // Past the end: an empty document that still lists the sources.
    two.media.CopyTo(part, CSection(2000, 2500));
    EXPECT_EQ(part.GetEventCount(), 0);
    EXPECT_EQ(part.GetSourceCount(), 2);
    EXPECT_THROW(part.CopyTo(part, CSection(0, 1)), std::invalid_argument);
}

TEST(EditedMediaEdits, MoveTo_HandsOverEveryEventIncludingEmptyOnesAndTheMarkersAsAsked) {
    TwoStreams two;
    two.media.GetLabels().Add(100, 0, "x", "y");
    two.media.GetLabels().Add(5000, 2, "behind", "the end");
    // An empty event, which a copy by section would not carry over.
    two.media.GetEventAt(0)->SetTimelineSection(CSection(0, 0));
    const std::vector<CMediaEvent*> moved = two.media.GetEvents();
    const std::vector<float> sound = Render(two.media);

    CEditedMedia whole;
    whole.AddMedia(Numbered(10, 0.0f), 0); // replaced
    two.media.MoveTo(whole, true);
    EXPECT_EQ(whole.GetEvents(), moved);
    EXPECT_EQ(Render(whole), sound);
    EXPECT_EQ(two.media.GetEventCount(), 0);
    EXPECT_EQ(two.media.GetSourceCount(), 2); // the donor keeps its references
    EXPECT_EQ(ObjectPool().GetRefCount(two.a), 2);
    ASSERT_EQ(whole.GetLabels().GetCount(), 2);
    EXPECT_EQ(whole.GetLabels().GetAt(1)->m_secondText, "the end");

    // Bare markers inside the document, as a stage keeps them.
    CEditedMedia stage;
    whole.MoveTo(stage, false);
    EXPECT_EQ(stage.GetEvents(), moved);
    ASSERT_EQ(stage.GetLabels().GetCount(), 1);
    EXPECT_EQ(stage.GetLabels().GetAt(0)->m_position, 100);
    EXPECT_EQ(stage.GetLabels().GetAt(0)->m_firstText, "");
    stage.Clear();
    whole.Clear();
}

TEST(EditedMediaEdits, DeleteSection_InsideOneEvent_SplitsAndMarksThePieceBehind) {
    CEditedMedia media;
    media.AddMedia(Numbered(5000, 0.0f), 0);
    media.GetEventAt(0)->SetTimelineSection(CSection(0, 1000));
    media.GetEventAt(0)->SetCrossFade(50);
    media.DeleteSection(CSection(300, 400), true);
    EXPECT_EQ(Timelines(media), (Sections{{0, 300}, {400, 1000}}));
    // The piece behind the cut is marked and loses the fade; the piece in front keeps its own.
    EXPECT_EQ(Marks(media), (Marks4{{0, 0, 0, 50}, {0, 1, 0, 0}}));
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 300), Frames(0, 400, 1000)}));
}

TEST(EditedMediaEdits, DeleteSection_AcrossAndOnBoundaries_RemovesWholeEventsAndMarksTheNext) {
    TwoStreams two;
    auto* c = Numbered(1000, 9000.0f);
    two.media.AddMedia(c, 2000);
    two.media.DeleteSection(CSection(1000, 1000), false); // the empty piece left in front of B
    ASSERT_EQ(two.media.GetEventCount(), 3);
    const struct {
        CSection cut;
        Sections left;
        int marked; // the event expected to carry the splice mark, or -1
        VectorStream* stream;
    } cases[] = {
        {{900, 2100}, {{0, 900}, {100, 1000}}, 1, c},      // from inside A to inside C: B goes
        {{1000, 2000}, {{0, 1000}, {0, 1000}}, 1, c},      // exactly B: A and C stay whole
        {{0, 1000}, {{0, 1000}, {0, 1000}}, 0, two.b},     // the first event goes, the next is marked
        {{2000, 3000}, {{0, 1000}, {0, 1000}}, -1, two.a}, // the tail: nothing behind to mark
    };
    for (const auto& k : cases) {
        CEditedMedia copy;
        two.media.CopyTo(copy, CSection(0, 3000));
        copy.DeleteSection(k.cut, true);
        EXPECT_EQ(Timelines(copy), k.left) << k.cut.m_start;
        for (int32_t i = 0; i < copy.GetEventCount(); ++i)
            EXPECT_EQ(copy.GetEventAt(i)->m_spliceFlag, i == k.marked) << k.cut.m_start << " event " << i;
        EXPECT_EQ(copy.GetEventAt(std::max(k.marked, 0))->GetStream(), k.stream) << k.cut.m_start;
        copy.Clear();
    }
    CEditedMedia copy;
    two.media.CopyTo(copy, CSection(0, 3000));
    copy.DeleteSection(CSection(900, 2100), true);
    EXPECT_EQ(Render(copy), Join({Frames(0, 0, 900), Frames(9000, 100, 1000)}));

    // Everything: no event, but the format still comes from the first source.
    two.media.DeleteSection(CSection(0, 3000), false);
    EXPECT_EQ(two.media.GetEventCount(), 0);
    EXPECT_EQ(two.media.GetLength(), 0);
    EXPECT_EQ(two.media.GetFormat(), two.a->GetFormat());
}

TEST(EditedMediaEdits, InsertMedia_InTheMiddle_SplitsAndMarksThePastedEvents) {
    TwoStreams two;
    CEditedMedia clip;
    clip.AddMedia(Numbered(100, 7000.0f), 0);
    clip.GetEventAt(0)->m_spliceFlag = true;
    auto* gain = new GainTransform(0.5f);
    clip.AddTransform(gain);
    clip.GetEventAt(0)->AddTransform(gain);
    // A's stream ends at the event's end, so the fade takes its frames from the visible part.
    two.media.GetEventAt(0)->SetCrossFade(10);

    two.media.InsertMedia(clip, 400, true);
    EXPECT_EQ(Marks(clip)[0], (std::array<int64_t, 4>{1, 0, 1, 0}));
    CEditedMedia& media = two.media;
    EXPECT_EQ(Timelines(media), (Sections{{0, 400}, {0, 100}, {400, 990}, {0, 1000}}));
    EXPECT_EQ(Marks(media), (Marks4{{0, 0, 0, 10}, {1, 0, 1, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}}));
    EXPECT_EQ(media.GetTransformCount(), 1);
    EXPECT_EQ(ObjectPool().GetRefCount(gain), 2);
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 400), Frames(7000, 0, 100, 0.5f), Frames(0, 400, 990),
                                   Frames(5000, 0, 1000)}));

    // On an event boundary nothing is split; the copy goes between the events.
    media.InsertMedia(clip, 1090, false);
    EXPECT_EQ(media.GetEventCount(), 5);
    EXPECT_EQ(media.GetEventAt(4)->GetStream(), two.b);
    EXPECT_EQ(media.GetEventAt(3)->GetStream(), clip.GetEventAt(0)->GetStream());
}

TEST(EditedMediaEdits, InsertMedia_AtTheStartAndAtTheEnd_PutsTheMaterialAtTheHead) {
    CEditedMedia clip;
    clip.AddMedia(Numbered(10, 7000.0f), 0);
    for (int64_t position : {int64_t{0}, int64_t{2000}, int64_t{5000}}) {
        TwoStreams two;
        two.media.InsertMedia(clip, position, false);
        EXPECT_EQ(two.media.GetEventCount(), 3) << position;
        EXPECT_EQ(Render(two.media), Join({Frames(7000, 0, 10), Frames(0, 0, 1000), Frames(5000, 0, 1000)}))
            << position;
    }
    CEditedMedia empty;
    empty.InsertMedia(clip, 0, false);
    EXPECT_EQ(empty.GetLength(), 10);
    EXPECT_EQ(empty.GetFormat(), clip.GetFormat());
}

TEST(EditedMediaEdits, MoveSplice_IsHeldByTheNextEventTheOwnStartAndTheStreamEnd) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    media.AddMedia(Numbered(1000, 5000.0f), 100);
    media.DeleteSection(CSection(100, 600), false);
    ASSERT_EQ(Timelines(media), (Sections{{0, 100}, {500, 1000}, {100, 1000}}));
    CMediaEvent* first = media.GetEventAt(0);
    CMediaEvent* middle = media.GetEventAt(1);
    const struct {
        CMediaEvent* event;
        int64_t delta, moved;
        Sections after; // empty: unchanged
    } steps[] = {
        {middle, 50, 0, {}}, // the middle event already reaches its stream's end
        {middle, -50, -50, {{0, 100}, {500, 950}, {50, 1000}}},
        {middle, -1000, -50, {{0, 100}, {500, 900}, {0, 1000}}}, // the next cannot start before its stream
        {first, -5000, -100, {{0, 0}, {400, 900}, {0, 1000}}},   // back past the own start: stops there
        {first, 5000, 500, {{0, 500}, {900, 900}, {0, 1000}}},   // on past the next event's end: stops
        {first, 1, 0, {}},
        {media.GetEventAt(2), 10, 0, {}},
        {nullptr, 10, 0, {}},
    };
    for (const auto& s : steps) {
        const Sections before = Timelines(media);
        EXPECT_EQ(media.MoveSplice(s.event, s.delta), s.moved) << s.delta;
        EXPECT_EQ(Timelines(media), s.after.empty() ? before : s.after) << s.delta;
        EXPECT_EQ(media.GetLength(), 1500);
        if (s.moved == -50 && s.delta == -50) {
            EXPECT_EQ(Render(media), Join({Frames(0, 0, 100), Frames(5000, 500, 950), Frames(0, 50, 1000)}));
        }
    }
}

TEST(EditedMediaEdits, MoveSplice_OfAStretchedEvent_MovesBySourceFramesTimesItsFactor) {
    CEditedMedia media;
    media.AddMedia(Numbered(2000, 0.0f), 0);
    media.AddMedia(Numbered(1000, 5000.0f), 1000);
    media.DeleteSection(CSection(1000, 1300), false);
    media.DeleteSection(CSection(1700, 2700), false); // a(0,1000) b(300,1000)
    media.ApplyTransform(CSection(0, 1000), new test::DecimateTransform(2));
    ASSERT_EQ(Timelines(media), (Sections{{0, 500}, {300, 1000}}));
    // 100 document frames are 200 source frames of the halved event; the next event, unstretched,
    // gives up 200 of its own frames for the 100 the first one gains.
    EXPECT_EQ(media.MoveSplice(media.GetEventAt(0), 100), 100);
    EXPECT_EQ(Timelines(media), (Sections{{0, 600}, {500, 1000}}));
    EXPECT_EQ(media.GetEventAt(0)->GetSourceRange(), CSection(0, 1200));
    EXPECT_EQ(media.GetLength(), 1100);
    std::vector<float> halved;
    for (int i = 0; i < 1200; i += 2)
        halved.push_back(static_cast<float>(i));
    EXPECT_EQ(Render(media), Join({halved, Frames(5000, 500, 1000)}));
}

TEST(EditedMediaEdits, RangesStartingOnABoundary_BeginWithTheLaterEvent) {
    TwoStreams two;
    auto* gain = new GainTransform(2.0f);
    two.media.ApplyTransform(CSection(1000, 2000), gain);
    EXPECT_EQ(two.media.GetEventCount(), 2);
    EXPECT_EQ(two.media.GetEventAt(0)->GetChain().GetCount(), 0);
    EXPECT_EQ(two.media.GetEventAt(1)->GetChain().GetAt(0), gain);
    CEditedMedia part;
    two.media.CopyTo(part, CSection(1000, 1500));
    EXPECT_EQ(Timelines(part), (Sections{{0, 500}}));
    EXPECT_EQ(part.GetEventAt(0)->GetStream(), two.b);
    EXPECT_EQ(Render(part), Frames(5000, 0, 500, 2.0f));
}

TEST(EditedMediaEdits, Compact_JoinsPlainNeighboursOfOneStreamButNotUnderOneEffect) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    media.DeleteSection(CSection(400, 400), false); // a cut of nothing splits at 400
    ASSERT_EQ(media.GetEventCount(), 2);
    media.Compact();
    EXPECT_EQ(Timelines(media), (Sections{{0, 1000}}));
    auto* shared = new GainTransform(2.0f);
    media.ApplyTransform(CSection(0, 400), shared);
    media.ApplyTransform(CSection(400, 1000), shared);
    ASSERT_EQ(media.GetEventCount(), 2);
    media.Compact();
    EXPECT_EQ(media.GetEventCount(), 2);

    // Different transforms at every position: joined.
    CEditedMedia other;
    other.AddMedia(Numbered(1000, 0.0f), 0);
    other.ApplyTransform(CSection(0, 400), new GainTransform(2.0f));
    other.ApplyTransform(CSection(400, 1000), new GainTransform(2.0f));
    other.Compact();
    EXPECT_EQ(other.GetEventCount(), 1);
    EXPECT_EQ(Render(other), Frames(0, 0, 1000, 2.0f));
    // Neighbours from different places of the stream stay apart.
    CEditedMedia gap;
    gap.AddMedia(Numbered(1000, 0.0f), 0);
    gap.DeleteSection(CSection(400, 500), false);
    gap.Compact();
    EXPECT_EQ(gap.GetEventCount(), 2);
}

TEST(EditedMediaEdits, Compact_AfterAnEmptyEvent_SkipsOneAndThrowsWhenTheEmptyOneIsLast) {
    CEditedMedia media;
    auto* a = Numbered(1000, 0.0f);
    media.AddMedia(a, 0);
    media.AddMedia(a, 0); // empty, whole, whole
    media.GetEventAt(1)->SetTimelineSection(CSection(0, 400));
    media.GetEventAt(2)->SetTimelineSection(CSection(400, 1000));
    media.Compact();
    // The empty event went; the event behind it was not examined, so no join.
    EXPECT_EQ(Timelines(media), (Sections{{0, 400}, {400, 1000}}));
    media.Compact();
    EXPECT_EQ(Timelines(media), (Sections{{0, 1000}}));
    media.AddMedia(Numbered(10, 0.0f), 1000); // empty, whole a, new
    media.GetEventAt(2)->SetTimelineSection(CSection(5, 5));
    // The whole event behind the first empty one is skipped; the walk goes on with the empty last
    // one, deletes it and finds nothing behind.
    EXPECT_THROW(media.Compact(), std::invalid_argument);
    EXPECT_EQ(Timelines(media), (Sections{{0, 1000}}));
}

TEST(EditedMediaEdits, RemoveTransform_AfterSectionOfTransformSpansIt_JoinsThePiecesAndKeepsItListed) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    bool gone = false;
    auto* gain = new GainTransform(2.0f, &gone);
    media.ApplyTransform(CSection(100, 300), gain);
    media.ApplyTransform(CSection(600, 700), new GainTransform(3.0f));
    media.GetEventAt(4)->AddTransform(gain);
    EXPECT_EQ(media.GetEventCount(), 5);
    // The hull spans the uncovered events between.
    EXPECT_EQ(media.SectionOfTransform(gain), CSection(100, 1000));
    media.RemoveTransform(gain);
    EXPECT_EQ(Timelines(media), (Sections{{0, 600}, {600, 700}, {700, 1000}}));
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 600), Frames(0, 600, 700, 3.0f), Frames(0, 700, 1000)}));
    EXPECT_EQ(media.GetTransformCount(), 2);
    EXPECT_FALSE(gone);
    media.Clear();
    EXPECT_TRUE(gone);
}

class CountingListener : public IMediaListener {
public:
    uint32_t AddRef() override { return static_cast<uint32_t>(++m_refs); }
    uint32_t Release() override { return static_cast<uint32_t>(--m_refs); }
    int32_t OnMediaChanged(const char16_t* path, int64_t progress) override {
        ++m_changes;
        m_path = path != nullptr ? path : u"";
        m_progress = progress;
        return m_answer;
    }
    int32_t QueryKeepChanges() override {
        ++m_queries;
        return m_answer;
    }
    int m_refs = 0, m_changes = 0, m_queries = 0;
    int32_t m_answer = 0;
    int64_t m_progress = 0;
    std::u16string m_path;
};

TEST(EditedMediaEdits, NotifyListeners_TellsTheFirstOrAsksEachUntilOneSaysNo) {
    CountingListener first, second;
    {
        CEditedMedia media;
        EXPECT_FALSE(media.NotifyListeners(true, nullptr, 0));
        media.AddListener(&first);
        media.AddListener(&first);
        media.AddListener(&second);
        EXPECT_EQ(first.m_refs, 1);
        EXPECT_EQ(media.GetListenerCount(), 2);
        EXPECT_TRUE(media.NotifyListeners(true, u"/tmp/a.wav", int64_t{1} << 40));
        EXPECT_EQ(first.m_path, u"/tmp/a.wav");
        EXPECT_EQ(first.m_progress, int64_t{1} << 40);
        EXPECT_EQ(second.m_changes, 0);
        first.m_answer = 1;
        EXPECT_FALSE(media.NotifyListeners(true, nullptr, 0));
        EXPECT_FALSE(media.NotifyListeners(false, nullptr, 0));
        EXPECT_EQ(second.m_queries, 0);
        first.m_answer = 0;
        EXPECT_TRUE(media.NotifyListeners(false, nullptr, 0));
        EXPECT_EQ(second.m_queries, 1);
        media.RemoveListener(&first);
        EXPECT_EQ(first.m_refs, 0);
        EXPECT_EQ(media.GetListenerCount(), 1);
    }
    EXPECT_EQ(second.m_refs, 0);
}

} // namespace
} // namespace tw
