// The document as a list of events: inserting whole streams, length, and the pool references
// that keep shared streams and transforms alive.
#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "core/ObjectPool.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

namespace tw {
namespace {

using test::VectorStream;

std::vector<CSection> SourceSections(const CEditedMedia& media) {
    std::vector<CSection> out;
    for (const CMediaEvent* event : media.GetEvents())
        out.push_back(event->GetSourceSection());
    return out;
}

TEST(EditedMedia, AddMedia_IntoAnEmptyDocument_MakesOneEventOfTheWholeStream) {
    CEditedMedia media;
    EXPECT_EQ(media.GetFormat(), nullptr);
    EXPECT_EQ(media.GetLength(), 0);
    EXPECT_TRUE(media.IsEmpty());
    auto* stream = VectorStream::Ramp(1000);
    media.AddMedia(stream, 0);
    ASSERT_EQ(media.GetEventCount(), 1);
    EXPECT_EQ(media.GetEventAt(0)->GetSourceRange(), CSection(0, 1000));
    EXPECT_EQ(media.GetLength(), 1000);
    EXPECT_EQ(ObjectPool().GetRefCount(stream), 1);
    EXPECT_EQ(media.GetFormat(), stream->GetFormat());
    EXPECT_EQ(media.GetNativeFormat()->wBitsPerSample, 16);
    EXPECT_EQ(media.GetFrameSize(), 4);
}

TEST(EditedMedia, AddMedia_InTheMiddle_SplitsTheEventAroundTheNewOne) {
    CEditedMedia media;
    auto* a = VectorStream::Ramp(1000);
    auto* b = VectorStream::Ramp(500);
    media.AddMedia(a, 0);
    media.AddMedia(b, 300);
    ASSERT_EQ(media.GetEventCount(), 3);
    EXPECT_EQ(media.GetEventAt(0)->GetStream(), a);
    EXPECT_EQ(media.GetEventAt(1)->GetStream(), b);
    EXPECT_EQ(media.GetEventAt(2)->GetStream(), a);
    EXPECT_EQ(SourceSections(media), (std::vector<CSection>{{0, 300}, {0, 500}, {300, 1000}}));
    EXPECT_EQ(media.GetLength(), 1500);
    EXPECT_EQ(media.GetEventPosition(media.GetEventAt(2)), 800);

    // A position inside the second piece of the first stream lands there, in its own coordinates.
    auto* c = VectorStream::Ramp(10);
    media.AddMedia(c, 900);
    EXPECT_EQ(SourceSections(media),
              (std::vector<CSection>{{0, 300}, {0, 500}, {300, 400}, {0, 10}, {400, 1000}}));
}

TEST(EditedMedia, AddMedia_AtTheStartOrTheEnd_LeavesAnEmptyEventBehind) {
    CEditedMedia atStart;
    atStart.AddMedia(VectorStream::Ramp(1000), 0);
    atStart.AddMedia(VectorStream::Ramp(200), 0);
    EXPECT_EQ(SourceSections(atStart), (std::vector<CSection>{{0, 0}, {0, 200}, {0, 1000}}));

    CEditedMedia atEnd;
    auto* first = VectorStream::Ramp(1000);
    auto* second = VectorStream::Ramp(200);
    atEnd.AddMedia(first, 0);
    atEnd.AddMedia(second, 1000);
    EXPECT_EQ(SourceSections(atEnd), (std::vector<CSection>{{0, 0}, {0, 1000}, {0, 200}}));
    EXPECT_EQ(atEnd.GetEventAt(1)->GetStream(), first);
    EXPECT_EQ(atEnd.GetEventAt(2)->GetStream(), second);
    EXPECT_EQ(atEnd.GetLength(), 1200);
    // The empty event counts for nothing when looking up positions.
    int32_t index = -1;
    int64_t start = -1;
    EXPECT_EQ(atEnd.FindEvent(0, &index, &start), atEnd.GetEventAt(1));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(start, 0);
    EXPECT_EQ(atEnd.FindEvent(1200), nullptr);

    int walked = 0;
    for (CMediaEvent* e = atEnd.First(); e != nullptr; e = atEnd.Next())
        EXPECT_EQ(e, atEnd.GetEventAt(walked++));
    EXPECT_EQ(walked, 3);
}

TEST(EditedMedia, AddMedia_IntoAFadedEvent_KeepsTheFadeOnBothPieces) {
    CEditedMedia media;
    auto* a = VectorStream::Ramp(10000);
    media.AddMedia(a, 0);
    CMediaEvent* event = media.GetEventAt(0);
    event->SetTimelineSection(CSection(0, 5000));
    event->SetCrossFade(100);
    media.AddMedia(VectorStream::Ramp(10), 2000);
    ASSERT_EQ(media.GetEventCount(), 3);
    EXPECT_EQ(media.GetEventAt(0)->GetCrossFade(), 100);
    EXPECT_EQ(media.GetEventAt(0)->GetSourceRange(), CSection(0, 2100));
    EXPECT_EQ(media.GetEventAt(2)->GetCrossFade(), 100);
    EXPECT_EQ(media.GetEventAt(2)->GetSourceRange(), CSection(2000, 5100));
    EXPECT_EQ(media.GetLength(), 5010);
}

TEST(EditedMedia, Clear_ReleasesSharedStreamsAndTransformsOnlyAtTheLastHolder) {
    bool streamGone = false;
    bool transformGone = false;
    auto* stream = VectorStream::Ramp(100, &streamGone);
    auto* gain = new test::GainTransform(0.5f, &transformGone);
    CEditedMedia document;
    CEditedMedia snapshot;
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
    EXPECT_FALSE(streamGone);
    EXPECT_FALSE(transformGone);
    EXPECT_EQ(document.GetEventCount(), 0);
    EXPECT_EQ(document.GetSourceCount(), 0);
    EXPECT_EQ(document.GetLabels().GetCount(), 0);
    EXPECT_EQ(document.GetLength(), 0);
    EXPECT_EQ(ObjectPool().GetRefCount(stream), 1);

    snapshot.Clear();
    EXPECT_TRUE(streamGone);
    EXPECT_TRUE(transformGone);
}

TEST(EditedMedia, ClipboardMedia_ReleasesItsStreamsWhenCleared) {
    bool gone = false;
    ClipboardMedia().AddMedia(VectorStream::Ramp(10, &gone), 0);
    EXPECT_EQ(ClipboardMedia().GetLength(), 10);
    ClipboardMedia().Clear();
    EXPECT_TRUE(gone);
}

} // namespace
} // namespace tw
