// Reading a document: samples through cursors and fade tails, rendering into a sink, transform
// positions, and the peaks the display draws from.
#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/ObjectPool.h"
#include "core/PeakData.h"
#include "core/ReadCursor.h"
#include "core/StreamOut.h"
#include "core/TransformChain.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace tw {
namespace {

using test::GainTransform;
using test::Numbered;
using test::PeakStream;
using test::Read;
using test::ReadAt;

// A sine-like wave of small integers scaled into +-1, mono, different in every 256-frame block.
PeakStream* Wave(int64_t frames) {
    std::vector<float> samples(static_cast<size_t>(frames));
    for (int64_t n = 0; n < frames; ++n)
        samples[static_cast<size_t>(n)] =
            static_cast<float>((n * 37) % 201 - 100) / 128.0f * (n % 3 ? 1.0f : 0.5f);
    return new PeakStream(std::move(samples), 1);
}

// Repeats every frame twice: doubles the length of what it covers.
class DoubleTransform : public CTransformBase {
public:
    CTransformBase* CreateReadInstance() override { return new DoubleTransform; }
    CMediaData* Process(CMediaData* input) override {
        const int64_t frames = input->GetFrameCount();
        const int32_t channels = input->GetFrameSize() / 4;
        auto* out = new CMediaData(frames * 2, input->GetFrameSize());
        for (int64_t f = 0; f < frames; ++f)
            for (int32_t c = 0; c < channels; ++c) {
                const float v = input->GetFloats()[f * channels + c];
                out->GetFloats()[(2 * f) * channels + c] = v;
                out->GetFloats()[(2 * f + 1) * channels + c] = v;
            }
        return out;
    }
    double GetTimeRatio() override { return 2.0; }
    std::string GetName() override { return "Double"; }
};

// Notes what SyncTransforms tells it.
class PositionProbe : public CTransformBase {
public:
    CTransformBase* CreateReadInstance() override { return nullptr; }
    CMediaData* Process(CMediaData* input) override { return input; }
    std::string GetName() override { return "Probe"; }
    void SetLength(int64_t frames) override { length = frames; }
    void SetReadPosition(int64_t frames) override { read = frames; }
    void SetDisplayPosition(int64_t frames) override { display = frames; }
    int64_t length = -1, read = -1, display = -1;
};

// Keeps every block it is given; may refuse one or ask the document to stop after a block.
class CollectSink : public CStreamOut {
public:
    int32_t Write(CMediaData& block) override {
        ++writes;
        const float* f = block.GetFloats();
        samples.insert(samples.end(), f, f + block.GetByteCount() / 4);
        bytes += block.GetByteCount();
        if (afterWrite)
            afterWrite(writes);
        return writes == refuseAt ? 4 : 0;
    }
    int32_t GetBytesWritten() override { return bytes; }

    int writes = 0;
    int refuseAt = -1;
    int32_t bytes = 0;
    std::vector<float> samples;
    std::function<void(int)> afterWrite;
};

void ExpectNear(const std::vector<float>& actual, const std::vector<float>& expected, float tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i)
        ASSERT_NEAR(actual[i], expected[i], tolerance) << "at value " << i;
}

// A: frames 0..999 valued 0.., B: frames 0..999 valued 5000..; the document plays A [0, 500) and
// then B [0, 500), with A fading out over the first `fade` frames of B.
struct FadedPair {
    explicit FadedPair(int64_t fade, int channels = 1) {
        media.AddMedia(Numbered(1000, 0.0f, channels), 0);
        media.AddMedia(Numbered(1000, 5000.0f, channels), 1000);
        // AddMedia at the end leaves an empty event in front: A [0,0), A whole, B whole.
        media.DeleteSection(CSection(500, 1000), false);
        media.DeleteSection(CSection(1000, 1500), false);
        media.Compact();
        CMediaEvent* first = media.FindEvent(0);
        first->SetCrossFade(fade);
    }
    // The expected frame at document position p (mono).
    float Expected(int64_t p, int64_t fade) const {
        if (p < 500)
            return static_cast<float>(p);
        const int64_t k = p - 500;
        const float b = 5000.0f + static_cast<float>(k);
        if (k >= fade)
            return b;
        const float g = static_cast<float>(fade - k) / static_cast<float>(fade);
        return (1.0f - g) * b + g * static_cast<float>(500 + k);
    }
    CEditedMedia media;
};

TEST(ReadSamples, PastTheEndAndOnAnEmptyListGiveSilence) {
    CEditedMedia empty;
    ReadCursor* cursor = empty.MakeCursor();
    EXPECT_EQ(cursor->event, ReadCursor::kNone);
    EXPECT_EQ(Read(empty, *cursor, 300), std::vector<float>(300, 0.0f));
    empty.FreeCursor(cursor);

    CEditedMedia media;
    media.AddMedia(Numbered(100, 1.0f), 0);
    // A block straddling the end: the samples, then zeros; a later block only zeros.
    cursor = media.MakeCursor();
    media.Seek(*cursor, 90);
    EXPECT_EQ(Read(media, *cursor, 20),
              test::Join({test::Frames(1.0f, 90, 100), std::vector<float>(10, 0.0f)}));
    EXPECT_EQ(Read(media, *cursor, 50), std::vector<float>(50, 0.0f));
    media.FreeCursor(cursor);
    EXPECT_EQ(ReadAt(media, 5000, 4), std::vector<float>(4, 0.0f));
}

TEST(ReadSamples, CrossFadeMixesTheTailWithAGainFallingFromOneAtTheCut) {
    FadedPair pair(100);
    ASSERT_EQ(pair.media.GetLength(), 1000);
    std::vector<float> all = ReadAt(pair.media, 0, 1000);
    std::vector<float> expected;
    for (int64_t p = 0; p < 1000; ++p)
        expected.push_back(pair.Expected(p, 100));
    ExpectNear(all, expected, 0.05f);
    // Right at the cut the old event is still heard in full.
    EXPECT_FLOAT_EQ(all[500], 500.0f);
}

TEST(ReadSamples, AReadStartingInsideAFadeAfterSeekEqualsTheContinuousRead) {
    FadedPair pair(100);
    const std::vector<float> whole = ReadAt(pair.media, 0, 1000);
    for (int64_t start : {520, 599, 500, 450}) {
        ReadCursor* cursor = pair.media.MakeCursor();
        // Read somewhere else first so that the cursor holds accesses that the seek must fix.
        Read(pair.media, *cursor, 700);
        pair.media.Seek(*cursor, start);
        const std::vector<float> part = Read(pair.media, *cursor, 150);
        pair.media.FreeCursor(cursor);
        ExpectNear(part, std::vector<float>(whole.begin() + start, whole.begin() + start + 150), 0.05f);
    }
}

// Only the event directly before can fade into the current one: a seek that passes a faded event
// and then a plain one must not mix the first one's tail into the third.
TEST(ReadSamples, ASeekPastAPlainEventAfterAFadedOneMixesNoTail) {
    CEditedMedia media;
    media.AddMedia(Numbered(3000, 0.0f), 0);
    media.DeleteSection(CSection(500, 1000), false); // [0,500) [1000,3000)
    media.DeleteSection(CSection(550, 1000), false); // [0,500) [1000,1050) [1500,3000)
    ASSERT_EQ(media.GetEventCount(), 3);
    media.GetEventAt(0)->SetCrossFade(100);
    const std::vector<float> whole = ReadAt(media, 0, 700);
    // The plain middle event is heard under the fade; the third starts clean.
    EXPECT_EQ(whole[550], 1500.0f);
    EXPECT_EQ(whole[560], 1510.0f);
    const std::vector<float> part = ReadAt(media, 560, 50);
    EXPECT_EQ(part, std::vector<float>(whole.begin() + 560, whole.begin() + 610));
}

// One cursor skipping forward (and now and then back) over many events, some faded, reads what a
// fresh cursor reads at each place.
TEST(ReadSamples, SkippingThroughManyEventsWithOneCursorEqualsFreshReads) {
    CEditedMedia media;
    media.AddMedia(Numbered(40000, 0.0f), 0);
    for (int64_t at = 36000; at > 0; at -= 1800)
        media.DeleteSection(CSection(at, at + 300), false);
    for (int32_t i = 0; i + 1 < media.GetEventCount(); i += 2)
        media.GetEventAt(i)->SetCrossFade(120);
    ASSERT_GT(media.GetEventCount(), 15);
    const int64_t length = media.GetLength();

    ReadCursor* cursor = media.MakeCursor();
    int64_t position = 0;
    for (int step = 0; step < 120; ++step) {
        // Mostly forward by a few hundred frames, landing in and out of fades; every tenth step back.
        position = step % 10 == 9 ? position / 3 : std::min(length - 1, position + 37 + (step * 211) % 900);
        media.Seek(*cursor, position);
        const std::vector<float> got = Read(media, *cursor, 256);
        ASSERT_EQ(got, ReadAt(media, position, 256)) << "at " << position;
    }
    media.FreeCursor(cursor);
}

TEST(ReadSamples, TwoReadsMeetingInsideAFadeEqualOneRead) {
    FadedPair pair(300, 2);
    const std::vector<float> one = ReadAt(pair.media, 0, 1000, 2);
    ReadCursor* cursor = pair.media.MakeCursor();
    std::vector<float> two = Read(pair.media, *cursor, 617, 2);
    const std::vector<float> rest = Read(pair.media, *cursor, 383, 2);
    pair.media.FreeCursor(cursor);
    two.insert(two.end(), rest.begin(), rest.end());
    ExpectNear(two, one, 0.02f);
    // Stereo: the gain steps per sample value (600 of them over this fade), so the two channels
    // of frame 100 of the fade are mixed at gains 1 - 200 / 600 and 1 - 201 / 600.
    const float gLeft = 1.0f - 200.0f / 600.0f, gRight = 1.0f - 201.0f / 600.0f;
    EXPECT_NEAR(one[2 * 600], (1 - gLeft) * 5100.0f + gLeft * 600.0f, 0.01f);
    EXPECT_NEAR(one[2 * 600 + 1], (1 - gRight) * 5100.1f + gRight * 600.1f, 0.01f);
}

TEST(ReadSamples, ATransformThatDoublesTheLengthIsReadAtItsNewLength) {
    CEditedMedia media;
    media.AddMedia(Numbered(3000, 0.0f), 0);
    auto* stretch = new DoubleTransform;
    media.ApplyTransform(CSection(0, 3000), stretch);
    ASSERT_EQ(media.GetLength(), 6000);
    // Across several of the access's 2048-frame fetches, and from a position inside.
    const std::vector<float> all = ReadAt(media, 0, 6000);
    for (int64_t p = 0; p < 6000; ++p)
        ASSERT_EQ(all[static_cast<size_t>(p)], static_cast<float>(p / 2)) << p;
    // A seek through the stretch lands on a whole source frame (4001 / 2, truncated), so an odd
    // position starts with the first of the pair.
    const std::vector<float> inside = ReadAt(media, 4001, 10);
    for (int64_t i = 0; i < 10; ++i)
        EXPECT_EQ(inside[static_cast<size_t>(i)], static_cast<float>((4000 + i) / 2));
}

TEST(SyncTransforms, TellsCoveredFramesAndThoseBeforeThePosition) {
    CEditedMedia media;
    media.AddMedia(Numbered(1000, 0.0f), 0);
    auto* probe = new PositionProbe;
    media.ApplyTransform(CSection(200, 600), probe);
    media.SyncTransforms(100, false);
    EXPECT_EQ(probe->length, 400);
    EXPECT_EQ(probe->read, 0);
    media.SyncTransforms(350, true);
    EXPECT_EQ(probe->display, 150);
    EXPECT_EQ(probe->read, 0);
    media.SyncTransforms(900, false);
    EXPECT_EQ(probe->read, 400);
    // Every read tells the read position where it starts.
    ReadCursor* cursor = media.MakeCursor();
    media.Seek(*cursor, 250);
    Read(media, *cursor, 10);
    EXPECT_EQ(probe->read, 50);
    media.FreeCursor(cursor);
}

TEST(Render, WritesFiftyMillisecondBlocksThroughPostEffectsAndAMask) {
    CEditedMedia media;
    media.AddMedia(Numbered(10000, 0.0f, 2), 0);
    CollectSink sink;
    CTransformChain post;
    GainTransform half(0.5f);
    post.Add(&half);
    const std::atomic<uint32_t> mask{0x1}; // right channel (bit 1) off
    EXPECT_TRUE(media.Render(sink, CSection(1000, 6000), &post, false, nullptr, &mask));
    EXPECT_EQ(sink.writes, 3); // 2205 + 2205 + 590 frames at 44.1 kHz
    ASSERT_EQ(sink.samples.size(), 10000u);
    for (int64_t f = 0; f < 5000; ++f) {
        ASSERT_FLOAT_EQ(sink.samples[static_cast<size_t>(2 * f)], 0.5f * (1000.0f + f));
        ASSERT_EQ(sink.samples[static_cast<size_t>(2 * f + 1)], 0.0f);
    }
    // Mask bits wrap after 32: bit 1 of 0x2 keeps the right channel only.
    CollectSink wrapped;
    const std::atomic<uint32_t> right{0x2};
    EXPECT_TRUE(media.Render(wrapped, CSection(0, 10), nullptr, false, nullptr, &right));
    EXPECT_EQ(wrapped.samples[0], 0.0f);
    EXPECT_FLOAT_EQ(wrapped.samples[1], 0.1f);
}

TEST(Render, LoopWrapsWithACounterUntilStopped) {
    CEditedMedia media;
    media.AddMedia(Numbered(10000, 0.0f), 0);
    CollectSink sink;
    int32_t passes = 0;
    // Three blocks per pass of 5000 frames; stop after the eighth block, inside the third pass.
    sink.afterWrite = [&](int writes) {
        if (writes == 8)
            media.RequestStop();
    };
    EXPECT_TRUE(media.Render(sink, CSection(2000, 7000), nullptr, true, &passes, nullptr));
    EXPECT_EQ(sink.writes, 8);
    EXPECT_EQ(passes, 2);
    // Every pass starts again at the section's start.
    ASSERT_GE(sink.samples.size(), 10000u + 2205u);
    EXPECT_EQ(sink.samples[0], 2000.0f);
    EXPECT_EQ(sink.samples[4999], 6999.0f);
    EXPECT_EQ(sink.samples[5000], 2000.0f);
    EXPECT_EQ(sink.samples[10000], 2000.0f);
    // A later render clears the flag it left.
    CollectSink again;
    EXPECT_TRUE(media.Render(again, CSection(0, 100), nullptr, false, nullptr, nullptr));
    EXPECT_EQ(again.writes, 1);
}

TEST(Render, AnEmptySectionWritesNothingAndARefusingSinkEndsTheRenderWithFalse) {
    CEditedMedia media, empty;
    media.AddMedia(Numbered(10000, 0.0f), 0);
    CollectSink sink;
    EXPECT_TRUE(media.Render(sink, CSection(300, 300), nullptr, true, nullptr, nullptr));
    EXPECT_TRUE(empty.Render(sink, CSection(0, 1000), nullptr, false, nullptr, nullptr));
    EXPECT_EQ(sink.writes, 0);
    sink.refuseAt = 2;
    EXPECT_FALSE(media.Render(sink, CSection(0, 10000), nullptr, false, nullptr, nullptr));
    EXPECT_EQ(sink.writes, 2);
}

TEST(ReadPeakBlocks, AssemblesPiecesOfEventsWithTheirTransformsAndFades) {
    CEditedMedia media;
    PeakStream* stream = Wave(4096);
    media.AddMedia(stream, 0);
    media.DeleteSection(CSection(1000, 1500), false); // two events: [0,1000) and [1500,4096)
    std::unique_ptr<CPeakData> fine(media.ReadPeakBlocks(CSection(900, 1100), false));
    ASSERT_NE(fine, nullptr);
    EXPECT_EQ(fine->GetCount(), 200);
    EXPECT_EQ(fine->GetFramesPerRow(), 1);
    const std::vector<float> samples = ReadAt(media, 900, 200);
    for (int32_t i = 0; i < 200; ++i)
        ASSERT_EQ(fine->Row(i)[0].maximum, samples[static_cast<size_t>(i)]);

    // Block mode: one request per event piece, at the source coordinates of each piece.
    stream->m_requests.clear();
    std::unique_ptr<CPeakData> blocks(media.ReadPeakBlocks(CSection(0, 3596), true));
    ASSERT_NE(blocks, nullptr);
    ASSERT_EQ(stream->m_requests.size(), 2u);
    EXPECT_EQ(stream->m_requests[1].section, CSection(1500, 4096));
    EXPECT_EQ(blocks->GetCount(), 1000 / 256 + 2596 / 256);
    EXPECT_EQ(blocks->GetFramesPerRow(), 256);

    // A fade: fine peaks through the overlap are the samples as ReadSamples mixes them.
    media.FindEvent(0)->SetCrossFade(64);
    std::unique_ptr<CPeakData> faded(media.ReadPeakBlocks(CSection(990, 1080), false));
    const std::vector<float> mixed = ReadAt(media, 990, 90);
    for (int32_t i = 0; i < 90; ++i)
        ASSERT_NEAR(faded->Row(i)[0].maximum, mixed[static_cast<size_t>(i)], 1e-5f) << i;

    EXPECT_EQ(media.ReadPeakBlocks(CSection(5000, 6000), true), nullptr);
}

// Which path ReadPeakColumns takes shows in the peak requests the stream receives.
TEST(ReadPeakColumns, RegimesChangeAtOneTwoFiftySixAndTwelveEightyFramesPerColumn) {
    constexpr int32_t n = 8;
    CEditedMedia media;
    PeakStream* stream = Wave(n * 1280 * 2);
    media.AddMedia(stream, 0);

    struct Case {
        int64_t length;
        size_t requests;
        bool blockMode;
    };
    const Case cases[] = {
        {n, 0, false},           // samples themselves
        {n * 256, 1, false},     // fine peaks, one request
        {n * 256 + 1, 1, true},  // file peaks, one request
        {n * 1280 - 1, 1, true}, // still one request
        {n * 1280, n, true},     // each column on its own
    };
    for (const Case& c : cases) {
        stream->m_requests.clear();
        std::unique_ptr<CPeakData> columns(media.ReadPeakColumns(CSection(100, 100 + c.length), n));
        ASSERT_NE(columns, nullptr);
        EXPECT_EQ(columns->GetCount(), n);
        EXPECT_EQ(columns->GetFramesPerRow(), c.length / n);
        ASSERT_EQ(stream->m_requests.size(), c.requests) << c.length;
        for (const auto& request : stream->m_requests)
            EXPECT_EQ(request.blockMode, c.blockMode) << c.length;
        if (c.requests == static_cast<size_t>(n)) {
            EXPECT_EQ(stream->m_requests[3].section,
                      CSection(100 + c.length * 3 / n, 100 + c.length * 3 / n + c.length / n));
        }
        // Every column's extremes lie within the section's true extremes.
        const std::vector<float> samples = ReadAt(media, 100, c.length);
        const auto [lo, hi] = std::minmax_element(samples.begin(), samples.end());
        for (int32_t j = 0; j < n; ++j) {
            EXPECT_LE(columns->Row(j)[0].minimum, columns->Row(j)[0].maximum);
            EXPECT_GE(columns->Row(j)[0].minimum, *lo - 1.0f / 128.0f);
            EXPECT_LE(columns->Row(j)[0].maximum, *hi + 1.0f / 128.0f);
        }
    }

    // Up to one frame per column, column j shows the frame at length * j / n.
    std::unique_ptr<CPeakData> sparse(media.ReadPeakColumns(CSection(40, 45), n));
    const std::vector<float> five = ReadAt(media, 40, 5);
    for (int32_t j = 0; j < n; ++j)
        EXPECT_EQ(sparse->Row(j)[0].minimum, five[static_cast<size_t>(5 * j / n)]);

    EXPECT_EQ(media.ReadPeakColumns(CSection(10, 10), n), nullptr);
    EXPECT_EQ(media.ReadPeakColumns(CSection(0, 100), 0), nullptr);
    CEditedMedia empty;
    EXPECT_EQ(empty.ReadPeakColumns(CSection(0, 100), n), nullptr);
}

TEST(ReadPeakColumns, ColumnsOfFilePeaksMatchAScanOfTheSamples) {
    constexpr int32_t n = 16;
    CEditedMedia media;
    media.AddMedia(Wave(n * 2560), 0);
    std::unique_ptr<CPeakData> columns(media.ReadPeakColumns(CSection(0, n * 2560), n));
    const std::vector<float> samples = ReadAt(media, 0, n * 2560);
    for (int32_t j = 0; j < n; ++j) {
        const auto first = samples.begin() + j * 2560;
        const auto [lo, hi] = std::minmax_element(first, first + 2560);
        EXPECT_EQ(columns->Row(j)[0].minimum, *lo);
        EXPECT_EQ(columns->Row(j)[0].maximum, *hi);
    }
}

// Turns the wave upside down, peaks included: minimum and maximum swap and change sign (a zero
// becomes a negative zero).
class InvertTransform : public CTransformBase {
public:
    CTransformBase* CreateReadInstance() override { return new InvertTransform; }
    CMediaData* Process(CMediaData* input) override {
        for (int32_t i = 0; i < input->GetByteCount() / 4; ++i)
            input->GetFloats()[i] = -input->GetFloats()[i];
        return input;
    }
    CPeakData* ProcessPeaks(CPeakData* peaks) override {
        PeakPair* pairs = peaks->GetData();
        for (int64_t i = 0; i < int64_t{peaks->GetCount()} * peaks->GetChannels(); ++i)
            pairs[i] = PeakPair{-pairs[i].maximum, -pairs[i].minimum};
        return peaks;
    }
    std::string GetName() override { return "Invert"; }
};

// The merged regimes from first principles: the entries ReadPeakBlocks assembles, entry i merged
// into column n * i / count one at a time.
std::vector<PeakPair> ColumnsFromBlocks(CEditedMedia& media, const CSection& s, int32_t n, bool blockMode) {
    std::unique_ptr<CPeakData> entries(media.ReadPeakBlocks(s, blockMode));
    const int32_t channels = entries->GetChannels();
    std::vector<PeakPair> columns(static_cast<size_t>(n * channels), PeakPair{1.0f, -1.0f});
    const int64_t count = entries->GetCount();
    for (int64_t i = 0; i < count; ++i) {
        PeakPair* column = &columns[static_cast<size_t>(n * i / count * channels)];
        for (int32_t c = 0; c < channels; ++c) {
            column[c].minimum = std::min(column[c].minimum, entries->Row(static_cast<int32_t>(i))[c].minimum);
            column[c].maximum = std::max(column[c].maximum, entries->Row(static_cast<int32_t>(i))[c].maximum);
        }
    }
    return columns;
}

// Long pieces of fine peaks are merged a stretch at a time; the columns must not show it, across
// fades longer than such a stretch, transformed events and both channels.
TEST(ReadPeakColumns, MergedColumnsAreTheAssembledEntriesBitForBit) {
    constexpr int64_t kFrames = 400000;
    std::vector<float> samples(static_cast<size_t>(kFrames * 2));
    for (int64_t f = 0; f < kFrames; ++f) {
        samples[static_cast<size_t>(2 * f)] = static_cast<float>((f * 37) % 201 - 100) / 128.0f;
        // Whole runs of silence on the right, so that zeros decide some columns.
        samples[static_cast<size_t>(2 * f + 1)] = (f / 3000) % 2 ? 0.0f : static_cast<float>(f % 97) / 97.0f;
    }
    CEditedMedia media;
    media.AddMedia(new PeakStream(std::move(samples), 2), 0);
    media.DeleteSection(CSection(90000, 91000), false);
    media.DeleteSection(CSection(150000, 160000), false);
    media.DeleteSection(CSection(250000, 250500), false);
    media.FindEvent(0)->SetCrossFade(9000); // longer than a stretch of fine peaks
    media.FindEvent(100000)->SetCrossFade(300);
    media.ApplyTransform(CSection(200000, 260000), new InvertTransform);

    constexpr int32_t n = 100;
    const struct {
        int64_t start;
        int64_t length;
    } sections[] = {{0, n * 256},      {85000, n * 256}, {80000, n * 1000},     {140000, n * 1279},
                    {195000, n * 200}, {30000, n * 37},  {240000, n * 256 + 1}, {1000, n * 3}};
    for (const auto& section : sections) {
        const CSection s(section.start, section.start + section.length);
        std::unique_ptr<CPeakData> columns(media.ReadPeakColumns(s, n));
        ASSERT_NE(columns, nullptr);
        const std::vector<PeakPair> expected = ColumnsFromBlocks(media, s, n, section.length > n * 256);
        ASSERT_EQ(expected.size(), static_cast<size_t>(n * columns->GetChannels()));
        EXPECT_EQ(std::memcmp(columns->GetData(), expected.data(), expected.size() * sizeof(PeakPair)), 0)
            << section.start << " + " << section.length;
    }
}

TEST(GetPeakLevel, IsTheLargestMagnitudeOfTheFilePeaks) {
    CEditedMedia media;
    std::vector<float> samples(300000, 0.25f);
    samples[123456] = -0.875f;
    samples[200001] = 0.5f;
    media.AddMedia(new PeakStream(samples, 1), 0);
    EXPECT_FLOAT_EQ(media.GetPeakLevel(CSection(0, 300000)), 0.875f);
    EXPECT_FLOAT_EQ(media.GetPeakLevel(CSection(150000, 300000)), 0.5f);
    EXPECT_EQ(media.GetPeakLevel(CSection(400000, 500000)), 0.0f);
    CEditedMedia empty;
    EXPECT_EQ(empty.GetPeakLevel(CSection(0, 100000)), 0.0f);
}

} // namespace
} // namespace tw
