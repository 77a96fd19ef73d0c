// Document bodies: round trips of every block and of the events alone, the byte layout of the
// blocks, old records without a second class id, and damaged or hostile bytes that must end in a
// plain failure with nothing leaked.
#include "BodyTestSupport.h"

#include "storage/Archive.h"
#include "storage/DocumentBody.h"
#include "storage/FileIO.h"
#include "storage/MemFileIO.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>

namespace tw {
namespace {

using test::ScaleTransform;

class DocumentBody : public test::BodyTest {
protected:
    // Two files, two transforms (one stretching, one bypassed), five events with cuts, a fade on a
    // stretched event, splice and pasted flags, and three labels with texts.
    void MakeDocument(CEditedMedia& media) {
        AddFile(media, Wav("one.wav", 30000));
        AddFile(media, Wav("two.wav", 20000));
        ScaleTransform* half = NewScale(0.5f, 2.0f, false);
        ScaleTransform* off = NewScale(3.0f, 1.0f, true);
        media.ApplyTransform(CSection(1000, 9000), half);
        media.ApplyTransform(CSection(5000, 40000), off);
        media.DeleteSection(CSection(20000, 21000), true);
        media.GetEventAt(1)->SetCrossFade(600);
        media.GetEventAt(2)->m_pastedFlag = true;
        media.GetLabels().Add(100, 3, "artist", "title");
        media.GetLabels().Add(25000, 0, "", "second");
        media.GetLabels().Add(4, 1, "x", "");
    }

    std::vector<uint8_t> Save(const CEditedMedia& media, uint32_t flags, CBodyIndex* index = nullptr) {
        CMemFileIO io;
        CArchive out(io, CArchive::store);
        EXPECT_TRUE(SaveBody(out, media, flags, index));
        return io.Detach();
    }

    bool Load(const std::vector<uint8_t>& bytes, CEditedMedia& media, uint32_t flags, uint16_t version = 3) {
        CMemFileIO io(bytes.data(), bytes.size());
        CArchive in(io, CArchive::load);
        CBodyLoadContext context;
        context.version = version;
        return LoadBody(in, media, flags, context);
    }
};

TEST_F(DocumentBody, AllBlocks_ComeBackWithSharedStreamsNewTransformsAndBareLabels) {
    CEditedMedia media;
    MakeDocument(media);
    ASSERT_GE(media.GetEventCount(), 5);
    const std::vector<uint8_t> bytes = Save(media, kBodyAll);

    CEditedMedia loaded;
    ASSERT_TRUE(Load(bytes, loaded, kBodyAll));
    test::ExpectSameBody(media, loaded);

    // Streams of one file are one stream across documents; transforms are made anew.
    ASSERT_EQ(loaded.GetSourceCount(), 2);
    EXPECT_EQ(loaded.GetSourceAt(0), media.GetSourceAt(0));
    EXPECT_EQ(ObjectPool().GetRefCount(media.GetSourceAt(0)), 2);
    ASSERT_EQ(loaded.GetTransformCount(), 2);
    for (int32_t i = 0; i < 2; ++i) {
        auto* was = static_cast<ScaleTransform*>(media.GetTransformAt(i));
        auto* now = static_cast<ScaleTransform*>(loaded.GetTransformAt(i));
        EXPECT_NE(was, now);
        EXPECT_TRUE(test::SameGuid(now->m_subId, was->m_subId));
        // Told the document's format before use.
        EXPECT_EQ(std::make_tuple(now->m_gain, now->m_ratio, now->m_bypass, now->m_rate, now->m_channels),
                  std::make_tuple(was->m_gain, was->m_ratio, was->m_bypass, 44100, 2));
        EXPECT_EQ(ObjectPool().GetRefCount(now), 1);
    }
    std::vector<std::tuple<int64_t, int32_t, std::string, std::string>> labels;
    for (int32_t i = 0; i < loaded.GetLabels().GetCount(); ++i) {
        const CLabelData* l = loaded.GetLabels().GetAt(i);
        labels.emplace_back(l->m_position, l->m_type, l->m_firstText, l->m_secondText);
    }
    EXPECT_EQ(labels, (decltype(labels){{4, 0, "", ""}, {100, 0, "", ""}, {25000, 0, "", ""}}));

    // Saved again, the loaded document gives the same bytes.
    EXPECT_EQ(Save(loaded, kBodyAll), bytes);
    loaded.Clear();
    media.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(DocumentBody, EventRecords_HaveTheStoredLayout) {
    CEditedMedia media;
    AddFile(media, Wav("layout.wav", 5000));
    ScaleTransform* t = NewScale(1.0f, 1.0f, false);
    media.ApplyTransform(CSection(0, 5000), t);
    media.GetEventAt(0)->m_spliceFlag = true;
    media.GetEventAt(0)->m_pastedFlag = true;
    media.GetLabels().Add(77, 0, "", "");

    const std::vector<uint8_t> bytes = Save(media, kBodyEvents | kBodyLabels);
    auto u32 = [&](size_t at) {
        return static_cast<uint32_t>(bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 |
                                     bytes[at + 3] << 24);
    };
    // Events, then source index, start, end, fade, flags (splice and pasted: 3, two bytes), one
    // transform, its index; labels, then the position.
    ASSERT_EQ(bytes.size(), 4u + 4 * 4 + 2 + 4 + 4 + 4 + 4);
    const std::vector<uint32_t> fields{
        u32(0),  u32(4),  u32(8),  u32(12), u32(16),
        u32(22), u32(26), u32(30), u32(34), static_cast<uint32_t>(bytes[20] | bytes[21] << 8)};
    EXPECT_EQ(fields, (std::vector<uint32_t>{1, 0, 0, 5000, 0, 1, 0, 1, 77, 3}));
    media.Clear();
}

TEST_F(DocumentBody, RecordsWrittenInPlaceOrThroughABuffer_AreTheSameBytes) {
    CEditedMedia media;
    MakeDocument(media);
    const std::vector<uint8_t> memory = Save(media, kBodyAll);

    // A file takes the records through a buffer of their own.
    const std::string path = home.root + "/body.bin";
    {
        CFileIO file(path, CFile::modeCreate | CFile::modeReadWrite, 0);
        CArchive out(file, CArchive::store);
        ASSERT_TRUE(SaveBody(out, media, kBodyAll));
    }
    EXPECT_EQ(test::ReadWholeFile(path), memory);

    // So does a memory file written behind its end, and one rewritten from its head after a
    // longer content, which keeps its buffer.
    CMemFileIO gap;
    {
        CArchive out(gap, CArchive::store, 10);
        ASSERT_TRUE(SaveBody(out, media, kBodyAll));
    }
    ASSERT_EQ(gap.GetLength(), static_cast<int64_t>(memory.size() + 10));
    EXPECT_EQ(std::vector<uint8_t>(gap.GetData() + 10, gap.GetData() + gap.GetLength()), memory);
    gap.Truncate();
    {
        CArchive out(gap, CArchive::store);
        ASSERT_TRUE(SaveBody(out, media, kBodyAll));
    }
    EXPECT_EQ(gap.Detach(), memory);

    CEditedMedia again;
    ASSERT_TRUE(Load(memory, again, kBodyAll));
    EXPECT_EQ(again.GetEventCount(), media.GetEventCount());
    EXPECT_EQ(again.GetEventAt(1)->GetCrossFade(), media.GetEventAt(1)->GetCrossFade());
    again.Clear();
    media.Clear();
}

TEST_F(DocumentBody, EventsAlone_NameTheStreamsOfTheDocumentTheyBelongTo) {
    CEditedMedia master;
    MakeDocument(master);
    CEditedMedia stage;
    master.CopyTo(stage, CSection(0, master.GetLength()));

    // The master's save assigns the order; the stage's events are stored through it.
    CBodyIndex index;
    Save(master, kBodySources | kBodyTransforms, &index);
    ASSERT_EQ(index.streams.size(), 2u);
    const std::vector<uint8_t> events = Save(stage, kBodyEvents, &index);

    CEditedMedia restored;
    for (int32_t i = 0; i < master.GetSourceCount(); ++i)
        restored.AddSource(master.GetSourceAt(i));
    for (int32_t i = 0; i < master.GetTransformCount(); ++i)
        restored.AddTransform(master.GetTransformAt(i));
    ASSERT_TRUE(Load(events, restored, kBodyEvents));
    test::ExpectSameBody(stage, restored);
    EXPECT_EQ(restored.GetLabels().GetCount(), 0);

    // A stream the index does not know cannot be named.
    CBodyIndex empty;
    CMemFileIO io;
    CArchive out(io, CArchive::store);
    EXPECT_FALSE(SaveBody(out, stage, kBodyEvents, &empty));
    restored.Clear();
    stage.Clear();
    master.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(DocumentBody, StreamsTheIndexHoldsAlready_AreListedBehindTheDocumentsOwn) {
    CEditedMedia gone;
    AddFile(gone, Wav("dropped.wav", 1000));
    CEditedMedia media;
    AddFile(media, Wav("kept.wav", 1000));
    CBodyIndex index;
    index.streams.push_back(gone.GetSourceAt(0));
    index.streams.push_back(media.GetSourceAt(0)); // listed once only
    const std::vector<uint8_t> bytes = Save(media, kBodySources, &index);
    ASSERT_EQ(index.streams.size(), 2u);
    EXPECT_EQ(index.streams[0], media.GetSourceAt(0));
    EXPECT_EQ(index.streams[1], gone.GetSourceAt(0));

    CEditedMedia loaded;
    ASSERT_TRUE(Load(bytes, loaded, kBodySources));
    ASSERT_EQ(loaded.GetSourceCount(), 2);
    EXPECT_EQ(loaded.GetSourceAt(1), gone.GetSourceAt(0));
    loaded.Clear();
    media.Clear();
    gone.Clear();
}

TEST_F(DocumentBody, VersionOneTransformRecords_HaveNoSecondId) {
    CMemFileIO io;
    {
        CArchive out(io, CArchive::store);
        out.WriteU32(1);
        test::WriteScaleClassId(out);
        const float state[2] = {0.25f, 1.0f};
        out.WriteU32(8);
        out.WriteBytes(state, 8);
        out.WriteU8(1);
    }
    const std::vector<uint8_t> bytes = io.Detach();
    CEditedMedia media;
    ASSERT_TRUE(Load(bytes, media, kBodyTransforms, 1));
    ASSERT_EQ(media.GetTransformCount(), 1);
    auto* t = static_cast<ScaleTransform*>(media.GetTransformAt(0));
    EXPECT_TRUE(test::SameGuid(t->m_subId, GUID{}));
    EXPECT_EQ(t->m_gain, 0.25f);
    EXPECT_TRUE(t->m_bypass);
    EXPECT_EQ(t->m_rate, 0); // no source, no format to tell

    // Read as version 2 the same bytes run out.
    CEditedMedia wrong;
    EXPECT_FALSE(Load(bytes, wrong, kBodyTransforms, 2));
    EXPECT_EQ(wrong.GetTransformCount(), 0);
    media.Clear();
}

TEST_F(DocumentBody, ATransformWhoseClassIsGone_FailsTheLoadWithItsMessage) {
    CEditedMedia media;
    ScaleTransform* t = NewScale(1.0f, 1.0f, false);
    media.AddTransform(t);
    std::vector<uint8_t> bytes = Save(media, kBodyTransforms);
    bytes[4] = 0x01; // first byte of the class id: no longer the scale's
    bytes[5] = 0x00;
    bytes[6] = 0xAD;
    bytes[7] = 0xDE;

    CEditedMedia loaded;
    EXPECT_FALSE(Load(bytes, loaded, kBodyTransforms));
    EXPECT_EQ(loaded.GetTransformCount(), 0);
    const std::vector<std::string> boxes = presentation->Boxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0], "A plug-in transform was used in the file source file that is no longer available.");

    // Settings the transform refuses fail the load too, without a message.
    std::vector<uint8_t> refused = Save(media, kBodyTransforms);
    refused[4 + 32] = 7; // settings size 7
    refused.erase(refused.begin() + 4 + 32 + 4);
    EXPECT_FALSE(Load(refused, loaded, kBodyTransforms));
    EXPECT_EQ(presentation->Boxes().size(), 1u);
    media.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(DocumentBody, BadIndexesKindsAndCounts_FailWithoutLeaks) {
    CEditedMedia media;
    MakeDocument(media);
    const std::vector<uint8_t> good = Save(media, kBodyAll);
    const int32_t pooled = ObjectPool().GetCount();

    auto expectFails = [&](std::vector<uint8_t> bytes, const char* what) {
        CEditedMedia loaded;
        EXPECT_FALSE(Load(bytes, loaded, kBodyAll)) << what;
        loaded.Clear();
        EXPECT_EQ(ObjectPool().GetCount(), pooled) << what;
    };

    std::vector<uint8_t> bytes = good;
    bytes[4] = 9; // kind of the first stream
    expectFails(bytes, "unknown stream kind");

    // The events block follows the two stream and two transform records; find it by saving it.
    const std::vector<uint8_t> events = Save(media, kBodyEvents | kBodyLabels);
    const size_t at = good.size() - events.size();
    bytes = good;
    bytes[at + 4] = 2; // source index of the first event: only 0 and 1 exist
    expectFails(bytes, "source index out of range");
    bytes = good;
    const size_t firstChain = at + 4 + 22;
    bytes[firstChain] = 1; // a transform count of 1 on the first event...
    bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(firstChain) + 4,
                 {5, 0, 0, 0}); // ...naming transform 5
    expectFails(bytes, "transform index out of range");
    bytes = good;
    bytes[at] = bytes[at + 1] = bytes[at + 2] = bytes[at + 3] = 0xFF;
    expectFails(bytes, "event count past the end");
    bytes = good;
    bytes[at + 4 + 22] = bytes[at + 4 + 23] = bytes[at + 4 + 24] = bytes[at + 4 + 25] = 0xFF;
    expectFails(bytes, "chain count past the end");

    for (size_t length = 0; length < good.size(); ++length)
        expectFails(std::vector<uint8_t>(good.begin(), good.begin() + static_cast<ptrdiff_t>(length)),
                    "truncated");
    media.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(DocumentBody, ZeroLengthEventsEmptyBodiesAndEightChannels_RoundTrip) {
    CEditedMedia media;
    AddFile(media, Wav("short.wav", 4000));
    AddFile(media, Wav("other.wav", 100));
    media.AddMedia(media.GetSourceAt(1), 0); // leaves an empty event at the head
    ASSERT_EQ(media.GetEventAt(0)->GetSourceSection().SectionLength(), 0);
    // A fade longer than the stream has behind the cut empties the visible range (its stored end
    // lies before its start) and must come back as it was.
    media.DeleteSection(CSection(4100, 4150), false);
    CMediaEvent* last = media.GetEventAt(media.GetEventCount() - 1);
    last->SetCrossFade(3000);
    ASSERT_LT(last->GetSourceSection().m_end, last->GetSourceSection().m_start);
    CEditedMedia loaded;
    ASSERT_TRUE(Load(Save(media, kBodyAll), loaded, kBodyAll));
    test::ExpectSameBody(media, loaded);

    CEditedMedia none;
    const std::vector<uint8_t> empty = Save(none, kBodyAll);
    EXPECT_EQ(empty.size(), 16u);
    CEditedMedia back;
    EXPECT_TRUE(Load(empty, back, kBodyAll));
    EXPECT_EQ(back.GetEventCount(), 0);
    loaded.Clear();
    media.Clear();

    // Eight channels are the limit.
    AddFile(media, Wav("eight.wav", 1000, 8));
    ASSERT_TRUE(Load(Save(media, kBodyAll), loaded, kBodyAll));
    EXPECT_EQ(loaded.GetFormat()->nChannels, 8);
    loaded.Clear();
    media.Clear();
}

TEST_F(DocumentBody, RandomChangesOfAGoodBody_NeverCrashOrLeak) {
    CEditedMedia media;
    MakeDocument(media);
    const std::vector<uint8_t> good = Save(media, kBodyAll);
    const int32_t pooled = ObjectPool().GetCount();
    std::mt19937 random(4242);
    for (int round = 0; round < 400; ++round) {
        std::vector<uint8_t> bytes = good;
        const int edits = 1 + static_cast<int>(random() % 6);
        for (int e = 0; e < edits; ++e)
            bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        CEditedMedia loaded;
        Load(bytes, loaded, kBodyAll);
        loaded.Clear();
        ASSERT_EQ(ObjectPool().GetCount(), pooled) << "round " << round;
    }
    media.Clear();
}

} // namespace
} // namespace tw
