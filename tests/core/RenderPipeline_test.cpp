// Render reads ahead on a second thread while the sink writes: the sink must still get exactly the
// blocks a plain read would give, in order, and a stop or a refusal must end both sides.
#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/ReadCursor.h"
#include "core/StreamOut.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

namespace tw {
namespace {

using test::VectorStream;

// A stereo tone with cuts and cross-fades at every joint: reads that mix two events at once.
void FadedDocument(CEditedMedia& media, int64_t frames) {
    std::vector<float> samples(static_cast<size_t>(frames * 2));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(0.5 * std::sin(0.01 * static_cast<double>(i)));
    media.AddMedia(new VectorStream(std::move(samples), 2), 0);
    for (int64_t at = frames - 9000; at > 3000; at -= 7000)
        media.DeleteSection(CSection(at, at + 500), false);
    for (int i = 0; i + 1 < media.GetEventCount(); ++i)
        media.GetEventAt(i)->SetCrossFade(300);
}

class BlockSink : public CStreamOut {
public:
    int32_t Write(CMediaData& block) override {
        blocks.emplace_back(block.GetFloats(), block.GetFloats() + block.GetByteCount() / 4);
        if (slow)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (media != nullptr && static_cast<int>(blocks.size()) == stopAt)
            media->RequestStop();
        return static_cast<int>(blocks.size()) == refuseAt ? 4 : 0;
    }
    int32_t GetBytesWritten() override { return 0; }

    std::vector<std::vector<float>> blocks;
    int refuseAt = -1;
    int stopAt = -1;
    CEditedMedia* media = nullptr;
    bool slow = false;
};

TEST(Render, GivesTheSinkTheBlocksOfAPlainReadInOrder) {
    CEditedMedia media;
    FadedDocument(media, 100000);
    ASSERT_GT(media.GetEventCount(), 5);
    const int64_t length = media.GetLength();
    for (bool slow : {false, true}) {
        BlockSink sink;
        sink.slow = slow; // a sink slower than the reads fills the ring; a fast one drains it
        ASSERT_TRUE(media.Render(sink, CSection(1234, length), nullptr, false, nullptr, nullptr));

        ReadCursor* cursor = media.MakeCursor();
        media.Seek(*cursor, 1234);
        size_t index = 0;
        for (int64_t at = 1234; at < length; at += 2205, ++index) {
            CMediaData block(std::min<int64_t>(2205, length - at), 8);
            media.ReadSamples(*cursor, block);
            ASSERT_LT(index, sink.blocks.size());
            const std::vector<float> expected(block.GetFloats(),
                                              block.GetFloats() + block.GetByteCount() / 4);
            ASSERT_EQ(sink.blocks[index], expected) << "block " << index << (slow ? ", slow sink" : "");
        }
        media.FreeCursor(cursor);
        EXPECT_EQ(sink.blocks.size(), index);
    }
}

TEST(Render, AStopWhileTheReaderIsAheadEndsItAndAFailedWriteIsTheLast) {
    CEditedMedia media;
    FadedDocument(media, 100000);
    {
        // Looping until stopped, as playback is; the reader is well ahead when the stop comes.
        BlockSink sink;
        sink.slow = true;
        sink.stopAt = 11;
        sink.media = &media;
        int32_t passes = 0;
        EXPECT_TRUE(media.Render(sink, CSection(0, 5000), nullptr, true, &passes, nullptr));
        EXPECT_EQ(sink.blocks.size(), 11u);
        // Three blocks a pass (2205 + 2205 + 590 frames); only passes written to the end count.
        EXPECT_EQ(passes, 3);
    }
    {
        BlockSink sink;
        sink.refuseAt = 5;
        EXPECT_FALSE(media.Render(sink, CSection(0, media.GetLength()), nullptr, false, nullptr, nullptr));
        EXPECT_EQ(sink.blocks.size(), 5u);
    }
}

// A sink that finishes blocks late: its failure shows only when the run ends.
class LateSink : public BlockSink {
public:
    void BeginBackgroundWrites() override { ++begun; }
    int32_t EndBackgroundWrites() override {
        ++ended;
        return lateFailure;
    }
    int begun = 0;
    int ended = 0;
    int32_t lateFailure = 0;
};

TEST(Render, BracketsItsWritesForTheSinkAndFailsOnALateFailure) {
    CEditedMedia media;
    FadedDocument(media, 30000);
    LateSink good;
    EXPECT_TRUE(media.Render(good, CSection(0, 20000), nullptr, false, nullptr, nullptr));
    EXPECT_EQ(good.begun, 1);
    EXPECT_EQ(good.ended, 1);
    LateSink late;
    late.lateFailure = 4;
    EXPECT_FALSE(media.Render(late, CSection(0, 20000), nullptr, false, nullptr, nullptr));
    EXPECT_EQ(late.blocks.size(), 10u); // every block was taken; the failure came after
    EXPECT_EQ(late.ended, 1);
}

} // namespace
} // namespace tw
