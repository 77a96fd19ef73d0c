// Edit operations on the event list, checked against the expected events and against the samples
// that reading the events gives back.
#include "core/EditedMedia.h"
#include "core/MEReadAccess.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/MediaListener.h"
#include "core/ObjectPool.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>

namespace tw {

// Readable failure messages; internal linkage so that other test files may have their own.
[[maybe_unused]] static void PrintTo(const CSection& section, std::ostream* os) {
    *os << "[" << section.m_start << ", " << section.m_end << ")";
}

namespace {

using test::GainTransform;
using test::VectorStream;

// A mono stream whose frame n holds base + n, so every sample tells its stream and frame.
VectorStream* Numbered(int64_t frames, float base) {
    std::vector<float> samples(static_cast<size_t>(frames));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = base + static_cast<float>(i);
    return new VectorStream(std::move(samples), 1);
}

// base + from ... base + to - 1, times gain.
std::vector<float> Frames(float base, int64_t from, int64_t to, float gain = 1.0f) {
    std::vector<float> out;
    for (int64_t i = from; i < to; ++i)
        out.push_back((base + static_cast<float>(i)) * gain);
    return out;
}

std::vector<float> Join(std::initializer_list<std::vector<float>> parts) {
    std::vector<float> out;
    for (const auto& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// Plays each event's visible part through its own read access, one after the other (no fades).
std::vector<float> Render(const CEditedMedia& media) {
    std::vector<float> out;
    for (const CMediaEvent* event : media.GetEvents()) {
        const CSection a = event->GetTimelineSection();
        if (a.SectionLength() <= 0)
            continue;
        CMEReadAccess* access = event->MakeReadAccess();
        access->Seek(a.m_start);
        CMediaData block(a.SectionLength(), 4);
        access->Read(&block);
        out.insert(out.end(), block.GetFloats(), block.GetFloats() + a.SectionLength());
        delete access;
    }
    return out;
}

std::vector<CSection> Timelines(const CEditedMedia& media) {
    std::vector<CSection> out;
    for (const CMediaEvent* event : media.GetEvents())
        out.push_back(event->GetTimelineSection());
    return out;
}

// Two streams back to back: A is frames 0..999 valued 0.., B frames 0..999 valued 5000...
struct TwoStreams {
    TwoStreams() {
        a = Numbered(1000, 0.0f);
        b = Numbered(1000, 5000.0f);
        media.AddMedia(a, 0);
        media.AddMedia(b, 1000);
        media.DeleteSection(CSection(0, 0), false); // drops the empty event AddMedia left in front
    }
    CEditedMedia media;
    VectorStream* a;
    VectorStream* b;
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

TEST(EditedMediaEdits, ApplyTransform_InsideOneEvent_CoversOnlyTheMiddlePiece) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    auto* gain = new ProbeTransform(2.0f);
    media.ApplyTransform(CSection(200, 500), gain);
    EXPECT_EQ(gain->m_length, 300);
    EXPECT_EQ(ObjectPool().GetRefCount(gain), 1);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 200}, {200, 500}, {500, 1000}}));
    EXPECT_EQ(media.GetEventAt(0)->GetChain().GetCount(), 0);
    EXPECT_EQ(media.GetEventAt(1)->GetChain().GetCount(), 1);
    EXPECT_EQ(media.GetEventAt(2)->GetChain().GetCount(), 0);
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 200), Frames(0, 200, 500, 2.0f), Frames(0, 500, 1000)}));
    EXPECT_EQ(media.SectionOfTransform(gain), CSection(200, 500));

    media.PrepareTransforms();
    EXPECT_EQ(gain->m_resets, 1);
}

TEST(EditedMediaEdits, ApplyTransform_AcrossEventsTwice_ChainsFollowTheOrderOfApplication) {
    TwoStreams two;
    auto* first = new GainTransform(2.0f);
    auto* second = new GainTransform(3.0f);
    two.media.ApplyTransform(CSection(500, 1500), first);
    two.media.ApplyTransform(CSection(500, 1500), second);
    CEditedMedia& media = two.media;
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 500}, {500, 1000}, {0, 500}, {500, 1000}}));
    EXPECT_EQ(media.GetEventAt(1)->GetChain().GetAt(0), first);
    EXPECT_EQ(media.GetEventAt(1)->GetChain().GetAt(1), second);
    EXPECT_EQ(media.GetEventAt(2)->GetChain().GetCount(), 2);
    EXPECT_EQ(media.GetEventAt(3)->GetChain().GetCount(), 0);
    EXPECT_EQ(media.GetLength(), 2000);
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 500), Frames(0, 500, 1000, 6.0f), Frames(5000, 0, 500, 6.0f),
                                   Frames(5000, 500, 1000)}));

    // At the end nothing is covered, but the transform is listed.
    auto* late = new GainTransform(1.0f);
    media.ApplyTransform(CSection(2000, 2100), late);
    EXPECT_EQ(media.GetEventCount(), 4);
    EXPECT_EQ(media.GetTransformCount(), 3);
    EXPECT_EQ(media.SectionOfTransform(late), CSection(2147483647, 0));
}

TEST(EditedMediaEdits, ApplyTransform_SplittingAFadedEvent_MovesTheFadeToTheLastPiece) {
    CEditedMedia media;
    media.AddMedia(Numbered(5000, 0.0f), 0);
    media.GetEventAt(0)->SetTimelineSection(CSection(0, 1000));
    media.GetEventAt(0)->SetCrossFade(100);
    media.ApplyTransform(CSection(200, 500), new GainTransform(2.0f));
    ASSERT_EQ(media.GetEventCount(), 3);
    EXPECT_EQ(media.GetEventAt(0)->GetCrossFade(), 0);
    EXPECT_EQ(media.GetEventAt(1)->GetCrossFade(), 0);
    EXPECT_EQ(media.GetEventAt(1)->GetSourceRange(), CSection(200, 500));
    EXPECT_EQ(media.GetEventAt(2)->GetCrossFade(), 100);
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
    EXPECT_EQ(Timelines(part), (std::vector<CSection>{{700, 1000}, {0, 200}}));
    EXPECT_EQ(Render(part), Join({Frames(0, 700, 1000), Frames(5000, 0, 200)}));
    EXPECT_EQ(part.GetSourceCount(), 2);
    EXPECT_EQ(ObjectPool().GetRefCount(two.a), 2);
    ASSERT_EQ(part.GetLabels().GetCount(), 1);
    EXPECT_EQ(part.GetLabels().GetAt(0)->m_position, 800);
    EXPECT_EQ(part.GetLabels().GetAt(0)->m_type, 7);
    EXPECT_EQ(part.GetLabels().GetAt(0)->m_firstText, "");

    // Inside one event: one piece. Ending on a boundary: no empty last piece.
    two.media.CopyTo(part, CSection(1100, 1300));
    EXPECT_EQ(Timelines(part), (std::vector<CSection>{{100, 300}}));
    two.media.CopyTo(part, CSection(500, 1000));
    EXPECT_EQ(Timelines(part), (std::vector<CSection>{{500, 1000}}));
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
    const int32_t events = two.media.GetEventCount();
    const std::vector<CMediaEvent*> moved = two.media.GetEvents();
    const std::vector<float> sound = Render(two.media);

    CEditedMedia whole;
    whole.AddMedia(Numbered(10, 0.0f), 0); // replaced
    two.media.MoveTo(whole, true);
    EXPECT_EQ(whole.GetEvents(), moved);
    EXPECT_EQ(whole.GetEventCount(), events);
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
    ASSERT_EQ(media.GetEventCount(), 2);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 300}, {400, 1000}}));
    EXPECT_FALSE(media.GetEventAt(0)->m_spliceFlag);
    EXPECT_TRUE(media.GetEventAt(1)->m_spliceFlag);
    // The piece behind the cut loses the fade; the piece in front keeps its own.
    EXPECT_EQ(media.GetEventAt(1)->GetCrossFade(), 0);
    EXPECT_EQ(media.GetEventAt(0)->GetCrossFade(), 50);
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 300), Frames(0, 400, 1000)}));
}

TEST(EditedMediaEdits, DeleteSection_AcrossAndOnBoundaries_RemovesWholeEventsAndMarksTheNext) {
    TwoStreams two;
    auto* c = Numbered(1000, 9000.0f);
    two.media.AddMedia(c, 2000);
    two.media.DeleteSection(CSection(1000, 1000), false); // the empty piece left in front of B
    ASSERT_EQ(two.media.GetEventCount(), 3);

    // From inside A to inside C: B goes entirely.
    CEditedMedia& media = two.media;
    CEditedMedia copy;
    media.CopyTo(copy, CSection(0, 3000));
    copy.DeleteSection(CSection(900, 2100), true);
    EXPECT_EQ(Timelines(copy), (std::vector<CSection>{{0, 900}, {100, 1000}}));
    EXPECT_TRUE(copy.GetEventAt(1)->m_spliceFlag);
    EXPECT_EQ(Render(copy), Join({Frames(0, 0, 900), Frames(9000, 100, 1000)}));

    // Exactly B: A and C stay whole, C is marked.
    media.CopyTo(copy, CSection(0, 3000));
    copy.DeleteSection(CSection(1000, 2000), true);
    EXPECT_EQ(Timelines(copy), (std::vector<CSection>{{0, 1000}, {0, 1000}}));
    EXPECT_EQ(copy.GetEventAt(1)->GetStream(), c);
    EXPECT_TRUE(copy.GetEventAt(1)->m_spliceFlag);

    // Exactly the first event: it goes, the next one is marked.
    media.CopyTo(copy, CSection(0, 3000));
    copy.DeleteSection(CSection(0, 1000), true);
    EXPECT_EQ(copy.GetEventCount(), 2);
    EXPECT_EQ(copy.GetEventAt(0)->GetStream(), two.b);
    EXPECT_TRUE(copy.GetEventAt(0)->m_spliceFlag);

    // The tail: nothing behind to mark.
    media.CopyTo(copy, CSection(0, 3000));
    copy.DeleteSection(CSection(2000, 3000), true);
    EXPECT_EQ(copy.GetLength(), 2000);
    EXPECT_FALSE(copy.GetEventAt(1)->m_spliceFlag);

    // Everything: no event, but the format still comes from the first source.
    media.DeleteSection(CSection(0, 3000), false);
    EXPECT_EQ(media.GetEventCount(), 0);
    EXPECT_EQ(media.GetLength(), 0);
    EXPECT_EQ(media.GetFormat(), two.a->GetFormat());
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
    EXPECT_TRUE(clip.GetEventAt(0)->m_pastedFlag);
    EXPECT_FALSE(clip.GetEventAt(0)->m_spliceFlag);
    CEditedMedia& media = two.media;
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 400}, {0, 100}, {400, 990}, {0, 1000}}));
    EXPECT_TRUE(media.GetEventAt(1)->m_pastedFlag);
    EXPECT_EQ(media.GetEventAt(0)->GetCrossFade(), 10);
    EXPECT_EQ(media.GetEventAt(2)->GetCrossFade(), 0);
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
    ASSERT_EQ(Timelines(media), (std::vector<CSection>{{0, 100}, {500, 1000}, {100, 1000}}));
    CMediaEvent* first = media.GetEventAt(0);
    CMediaEvent* middle = media.GetEventAt(1);

    // The middle event already reaches its stream's end.
    EXPECT_EQ(media.MoveSplice(middle, 50), 0);
    EXPECT_EQ(media.MoveSplice(middle, -50), -50);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 100}, {500, 950}, {50, 1000}}));
    EXPECT_EQ(media.GetLength(), 1500);
    EXPECT_EQ(Render(media), Join({Frames(0, 0, 100), Frames(5000, 500, 950), Frames(0, 50, 1000)}));

    // The next event cannot start before its stream does.
    EXPECT_EQ(media.MoveSplice(middle, -1000), -50);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 100}, {500, 900}, {0, 1000}}));

    // Back past the own start: stops there, leaving the event empty.
    EXPECT_EQ(media.MoveSplice(first, -5000), -100);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 0}, {400, 900}, {0, 1000}}));
    // On past the next event's end: stops there.
    EXPECT_EQ(media.MoveSplice(first, 5000), 500);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 500}, {900, 900}, {0, 1000}}));
    EXPECT_EQ(media.MoveSplice(first, 1), 0);
    EXPECT_EQ(media.GetLength(), 1500);

    EXPECT_EQ(media.MoveSplice(media.GetEventAt(2), 10), 0);
    EXPECT_EQ(media.MoveSplice(nullptr, 10), 0);
}

TEST(EditedMediaEdits, MoveSplice_OfAStretchedEvent_MovesBySourceFramesTimesItsFactor) {
    CEditedMedia media;
    media.AddMedia(Numbered(2000, 0.0f), 0);
    media.AddMedia(Numbered(1000, 5000.0f), 1000);
    media.DeleteSection(CSection(1000, 1300), false);
    media.DeleteSection(CSection(1700, 2700), false); // a(0,1000) b(300,1000)
    auto* half = new test::DecimateTransform(2);
    media.ApplyTransform(CSection(0, 1000), half);
    ASSERT_EQ(Timelines(media), (std::vector<CSection>{{0, 500}, {300, 1000}}));

    // 100 document frames are 200 source frames of the halved event; the next event, unstretched,
    // gives up 200 of its own frames for the 100 the first one gains.
    EXPECT_EQ(media.MoveSplice(media.GetEventAt(0), 100), 100);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 600}, {500, 1000}}));
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
    EXPECT_EQ(Timelines(part), (std::vector<CSection>{{0, 500}}));
    EXPECT_EQ(part.GetEventAt(0)->GetStream(), two.b);
    EXPECT_EQ(Render(part), Frames(5000, 0, 500, 2.0f));
}

TEST(EditedMediaEdits, Compact_JoinsPlainNeighboursOfOneStreamButNotUnderOneEffect) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    media.DeleteSection(CSection(400, 400), false); // a cut of nothing splits at 400
    ASSERT_EQ(media.GetEventCount(), 2);
    media.Compact();
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 1000}}));

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
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 400}, {400, 1000}}));
    media.Compact();
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 1000}}));

    media.AddMedia(Numbered(10, 0.0f), 1000); // empty, whole a, new
    media.GetEventAt(2)->SetTimelineSection(CSection(5, 5));
    // The whole event behind the first empty one is skipped; the walk goes on with the empty last
    // one, deletes it and finds nothing behind.
    EXPECT_THROW(media.Compact(), std::invalid_argument);
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 1000}}));
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
    EXPECT_EQ(Timelines(media), (std::vector<CSection>{{0, 600}, {600, 700}, {700, 1000}}));
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
    int m_refs = 0;
    int m_changes = 0;
    int m_queries = 0;
    int32_t m_answer = 0;
    int64_t m_progress = 0;
    std::u16string m_path;
};

TEST(EditedMediaEdits, NotifyListeners_TellsTheFirstOrAsksEachUntilOneSaysNo) {
    CountingListener first;
    CountingListener second;
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
