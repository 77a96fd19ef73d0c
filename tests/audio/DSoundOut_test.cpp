// The timing logic of the PulseAudio output, on a ring whose cursor the test moves by hand: free
// space, the start at the last twentieth, turns counted at the last notification, the end mark,
// pausing by silence, stops and a lost ring. The same device against a real server is in
// tests/sound.
#include "AudioTestSupport.h"

#include "audio/DSoundOut.h"
#include "audio/LoopingRing.h"
#include "core/MediaData.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <thread>
#include <tuple>

using namespace tw;
using namespace tw::test;

namespace {

constexpr int32_t kRate = 1000; // one frame a millisecond keeps the arithmetic readable

class HandRing : public CLoopingRing {
public:
    using CLoopingRing::Advance;
    using CLoopingRing::CLoopingRing;
    using CLoopingRing::MarkLost;

    bool Play() override {
        ++plays;
        return CLoopingRing::Play();
    }
    std::vector<uint8_t> Bytes() {
        std::vector<uint8_t> out(GetBufferBytes());
        CopyOut(out.data(), 0, GetBufferBytes());
        return out;
    }

    std::atomic<int32_t> plays{0};
};

class HandOut : public CDSoundOut {
public:
    HandOut() : CDSoundOut("hand") {}
    HandRing* ring = nullptr;

protected:
    std::unique_ptr<CLoopingRing> CreateRing(const WaveFormatExtensible& format, uint32_t bytes) override {
        auto made = std::make_unique<HandRing>(format, bytes);
        ring = made.get();
        return made;
    }
};

bool WaitUntil(const std::function<bool()>& done, int timeoutMs = 5000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::future<int32_t> WriteAsync(CDSoundOut& out, CMediaData& block) {
    return std::async(std::launch::async, [&out, &block] { return out.Write(block); });
}

bool Finishes(std::future<int32_t>& f, int timeoutMs = 5000) {
    return f.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
}

bool StillRunning(std::future<int32_t>& f) {
    return f.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
}

} // namespace

TEST(DSoundOut, Write_FillsTheRing_StartsItAtTheLastTwentieth_AndCountsATurnAtTheLastNotification) {
    HandOut out;
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    ASSERT_EQ(out.GetBufferBytes(), 2000u);
    CMediaData block;
    FillCoded(block, 0, 1500, 1);
    auto writer = WriteAsync(out, block);

    // The whole ring is filled before anything plays.
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
    EXPECT_EQ(out.GetBytesWritten(), 1000 * 4);
    EXPECT_TRUE(StillRunning(writer));

    // One twentieth played: exactly that much more is written, at the ring's start.
    out.ring->Advance(100);
    ASSERT_TRUE(WaitUntil([&] { return out.GetBytesWritten() == 1050 * 4; }));
    EXPECT_TRUE(StillRunning(writer));

    // A whole turn: the turn is counted once the cursor has come round, and the rest goes in.
    out.ring->Advance(2000);
    ASSERT_TRUE(Finishes(writer));
    EXPECT_EQ(std::tuple(writer.get(), out.GetBytesWritten(), out.GetPosition(), out.ring->plays.load()),
              std::tuple(0, 1500 * 4, 1000, 1));

    const std::vector<int16_t> ring = Samples16(out.ring->Bytes());
    for (int32_t i = 0; i < 1000; ++i)
        ASSERT_EQ(ring[i], FrameCode(i < 500 ? 1000 + i : i, 0)) << "ring frame " << i;
}

TEST(DSoundOut, Position_NeverRunsBackwardAcrossWraps_AndCatchesUpWithTheCursor) {
    HandOut out;
    ASSERT_TRUE(out.Open(kRate, 1, 16, 200, 0));
    ASSERT_EQ(out.GetBufferBytes(), 400u);
    CMediaData block;
    FillCoded(block, 0, 100000, 1);
    auto writer = WriteAsync(out, block);
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));

    int32_t last = 0;
    bool backward = false;
    for (int64_t played = 14; played < 12 * 400; played += 14) {
        out.ring->Advance(played);
        const bool caughtUp = WaitUntil([&] {
            const int32_t p = out.GetPosition();
            backward = backward || p < last;
            last = p;
            return p == played / 2;
        });
        ASSERT_TRUE(caughtUp) << "at " << played << " bytes the position is " << last;
        ASSERT_FALSE(backward) << "at " << played << " bytes";
    }
    out.Stop();
    ASSERT_TRUE(Finishes(writer));
    EXPECT_EQ(writer.get(), 0);
}

TEST(DSoundOut, Stop_EndsAWriteWaitingForTheCursor_OrHoldingForItToComeRoundAfterTheLastNotification) {
    for (const bool holding : {false, true}) {
        SCOPED_TRACE(holding ? "holding" : "waiting");
        HandOut out;
        ASSERT_TRUE(out.Open(kRate, 1, 16, 60000, 0)); // the wait's time-out is a minute
        const uint32_t ring = out.GetBufferBytes();
        CMediaData block;
        FillCoded(block, 0, 150000, 1); // more than two rings
        auto writer = WriteAsync(out, block);
        ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
        if (holding) {
            // The cursor stops one byte short of the end: every notification has fired, the
            // writer fills what is free and then, at the last one, holds for the cursor to wrap.
            out.ring->Advance(ring - 1);
            ASSERT_TRUE(
                WaitUntil([&] { return out.GetBytesWritten() == static_cast<int32_t>(ring - 1) * 4; }));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            EXPECT_EQ(out.GetBytesWritten(), static_cast<int32_t>(ring - 1) * 4)
                << "a turn counted too early";
        }
        EXPECT_TRUE(StillRunning(writer));

        out.Stop();
        const bool ended = Finishes(writer);
        if (!ended) {
            out.ring->Play(); // let the writer go, so that the test can end
            out.ring->Advance(ring + 10);
            writer.wait();
        }
        ASSERT_TRUE(ended);
        EXPECT_EQ(writer.get(), 0);
        EXPECT_EQ(out.ring->GetStatus() & CLoopingRing::kStatusPlaying, 0u);
        EXPECT_EQ(out.Write(block), 0);
        out.Drain(); // a no-op after Stop
        EXPECT_EQ(out.ring->plays.load(), 1);
    }
}

TEST(DSoundOut, DrainOfASoundShorterThanTheRing_StartsIt_AndThePositionStopsAtItsLastFrame) {
    HandOut out;
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    CMediaData block;
    FillCoded(block, 1, 300, 1);
    ASSERT_EQ(out.Write(block), 0);
    EXPECT_EQ(out.ring->plays.load(), 0); // never reached the wait

    auto drain = std::async(std::launch::async, [&] { out.Drain(); });
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
    out.ring->Advance(400);
    EXPECT_EQ(out.GetPosition(), 200);
    int64_t played = 400;
    while (drain.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready && played < 20000) {
        played += 50;
        out.ring->Advance(played);
        ASSERT_LE(out.GetPosition(), 300);
    }
    ASSERT_EQ(drain.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(out.GetPosition(), 300);
    // A ring's worth of silence went in behind the sound.
    const std::vector<uint8_t> ring = out.ring->Bytes();
    EXPECT_EQ(std::count(ring.begin(), ring.end(), 0), static_cast<ptrdiff_t>(ring.size()));
}

TEST(DSoundOut, Pause_SilencesTheLoopingRing_HoldsThePositionAtTheLastTurn_AndResumeWritesOn) {
    HandOut out;
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    out.Pause(); // a ring that does not play yet has nothing to pause
    EXPECT_FALSE(out.IsPaused());

    CMediaData block;
    FillCoded(block, 1, 1500, 1);
    auto first = WriteAsync(out, block);
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
    out.ring->Advance(2200);
    ASSERT_TRUE(Finishes(first));
    ASSERT_EQ(first.get(), 0);
    ASSERT_EQ(out.GetPosition(), 1100);

    out.Pause();
    ASSERT_TRUE(out.IsPaused());
    EXPECT_EQ(out.GetPosition(), 1000);
    CMediaData more;
    FillCoded(more, 1501, 100, 1);
    auto second = WriteAsync(out, more);
    ASSERT_TRUE(WaitUntil([&] {
        const std::vector<uint8_t> ring = out.ring->Bytes();
        return std::count(ring.begin(), ring.end(), 0) == static_cast<ptrdiff_t>(ring.size());
    }));
    EXPECT_TRUE(StillRunning(second));
    out.ring->Advance(2600);
    EXPECT_EQ(out.GetPosition(), 1000);
    const float* meter = out.GetMeterBuffer();
    ASSERT_NE(meter, nullptr);
    EXPECT_EQ(out.GetPeak(0), 0.0f);

    out.Resume();
    ASSERT_TRUE(Finishes(second));
    EXPECT_EQ(std::tuple(second.get(), out.GetPosition(), out.GetBytesWritten()),
              std::tuple(0, 1300, 1600 * 4));
}

TEST(DSoundOut, ALostRing_EndsAWaitingWrite_AndEveryLaterWriteFails) {
    HandOut out;
    ASSERT_TRUE(out.Open(kRate, 2, 16, 60000, 0));
    CMediaData block;
    FillCoded(block, 0, 70000, 2);
    auto writer = WriteAsync(out, block);
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
    out.ring->Advance(4000);
    const int32_t position = out.GetPosition();

    out.ring->MarkLost();
    ASSERT_TRUE(Finishes(writer));
    EXPECT_EQ(writer.get(), 1);
    EXPECT_EQ(out.Write(block), 1);
    out.Drain();
    EXPECT_EQ(std::tuple(out.ring->plays.load(), out.GetPosition()), std::tuple(1, position));
}

TEST(DSoundOut, Write_TakesOnlyBlocksOfTheOpenShape) {
    HandOut out;
    CMediaData stereo;
    FillCoded(stereo, 0, 10, 2);
    EXPECT_EQ(out.Write(stereo), 1); // not open
    EXPECT_EQ(out.GetPosition(), 0);

    EXPECT_EQ((std::vector<bool>{out.Open(kRate, 2, 20, 1000, 0), out.Open(kRate, 0, 16, 1000, 0),
                                 out.Open(kRate, 9, 16, 1000, 0), out.Open(0, 2, 16, 1000, 0)}),
              std::vector<bool>(4, false));

    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    CMediaData empty(0, 4);
    EXPECT_EQ(out.Write(empty), 0);
    EXPECT_EQ(out.Write(stereo), 1);
    EXPECT_EQ(out.GetBytesWritten(), 0);
}

TEST(DSoundOut, TwentyFourBitFrames_GoInWholeAcrossTheWrap_AndCountAsFloatBytes) {
    HandOut out;
    ASSERT_TRUE(out.Open(kRate, 2, 24, 10, 0));
    ASSERT_EQ(out.GetBufferBytes(), 60u); // ten frames of six bytes
    CMediaData block(16, 8);
    for (int32_t f = 0; f < 16; ++f) {
        block.GetFloats()[2 * f] = (f + 1) * 1000 / 8388608.0f;
        block.GetFloats()[2 * f + 1] = -(f + 1) * 1000 / 8388608.0f;
    }
    auto writer = WriteAsync(out, block);
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
    out.ring->Advance(36);
    ASSERT_TRUE(Finishes(writer));
    EXPECT_EQ(writer.get(), 0);
    EXPECT_EQ(out.GetBytesWritten(), 16 * 8);

    const std::vector<uint8_t> ring = out.ring->Bytes();
    auto sample = [&](int32_t frame, int32_t channel) {
        const uint8_t* p = &ring[static_cast<size_t>(frame * 6 + channel * 3)];
        return static_cast<int32_t>(static_cast<uint32_t>(p[0] | p[1] << 8 | p[2] << 16) << 8) >> 8;
    };
    for (int32_t i = 0; i < 10; ++i) {
        const int32_t source = i < 6 ? 10 + i : i; // frames 10..15 wrapped over the first six
        EXPECT_EQ(std::pair(sample(i, 0), sample(i, 1)), std::pair((source + 1) * 1000, -(source + 1) * 1000))
            << i;
    }
}

TEST(DSoundOut, Peak_IsTheLargestValueOfTheMeterBlockBeforeTheCursor) {
    HandOut out;
    out.SetMeterBlock(16);
    ASSERT_TRUE(out.Open(kRate, 2, 16, 1000, 0));
    CMediaData block(1000, 8);
    for (int32_t f = 0; f < 1000; ++f) {
        block.GetFloats()[2 * f] = f % 2 == 0 ? 0.25f : -0.75f; // negative peaks are not seen
        block.GetFloats()[2 * f + 1] = f / 1000.0f;
    }
    ASSERT_EQ(out.Write(block), 0);
    EXPECT_EQ(out.GetMeterBuffer(), nullptr); // not playing yet
    EXPECT_EQ(out.GetPeak(0), 0.0f);

    CMediaData one(1, 8);
    std::memset(one.GetBuffer(), 0, 8);
    auto writer = WriteAsync(out, one);
    ASSERT_TRUE(WaitUntil([&] { return out.ring->plays.load() == 1; }));
    out.ring->Advance(400 * 4);
    ASSERT_TRUE(Finishes(writer));

    // Beyond the channels: the last one.
    EXPECT_EQ((std::vector<float>{out.GetPeak(0), out.GetPeak(1), out.GetPeak(5), out.GetMeterBuffer()[1]}),
              (std::vector<float>{0.25f, 399 / 1000.0f, 399 / 1000.0f, 384 / 1000.0f}));

    out.Close();
    EXPECT_EQ(out.GetPeak(0), 0.0f);
    EXPECT_EQ(out.GetPosition(), 0);
    WAVEFORMATEX f{};
    out.GetFormat(&f);
    EXPECT_EQ(f.nChannels, 0);
}

struct SizeCase {
    int32_t blockAlign;
    int32_t rate;
    int32_t latencyMs;
    uint32_t bytes;
};

TEST(DSoundOut, RingSize_FollowsTheLatencyInWholeFrames_WithinItsLimits) {
    const SizeCase cases[] = {
        {4, 44100, 1000, 176400},            // a second of stereo 16-bit
        {6, 44100, 10, 2646},                // 441 frames
        {4, 44100, 0, 4},                    // too small: four bytes
        {1, 8000, 0, 4},                     //
        {3, 8000, 0, 6},                     // four bytes in whole frames
        {32, 192000, 100000, 0xFFFFFE0},     // too large: the limit, in whole frames
        {32, 192000, 2000000000, 0xFFFFFE0}, // no overflow on the way
        {24, 44100, 1, 1056},                // 1058.4 bytes cut to 44 frames
    };
    for (const SizeCase& c : cases)
        EXPECT_EQ(CDSoundOut::BufferBytesFor(c.blockAlign, c.rate, c.latencyMs), c.bytes)
            << c.blockAlign << " x " << c.rate << " x " << c.latencyMs;

    EXPECT_EQ((std::vector<uint32_t>{
                  CDSoundOut::NotificationOffset(2000, 1), CDSoundOut::NotificationOffset(2000, 20),
                  CDSoundOut::NotificationOffset(4, 1), CDSoundOut::NotificationOffset(4, 20),
                  CDSoundOut::NotificationOffset(0xFFFFFE0, 20)}),
              (std::vector<uint32_t>{99u, 1999u, 0u, 3u, 0xFFFFFDFu}));
}

TEST(DSoundOut, Format_IsAlwaysExtensible_WithTheDeviceMaskOfItsChannelCount) {
    const struct {
        int32_t channels;
        uint32_t mask;
    } cases[] = {{1, 4}, {2, 3}, {3, 0}, {6, 0x3F}, {8, 0xFF}};
    for (const auto& c : cases) {
        const WaveFormatExtensible f = CDSoundOut::MakeFormat(48000, c.channels, 24);
        EXPECT_EQ(std::tuple(int(f.Format.wFormatTag), int(f.Format.cbSize), int(f.Format.nBlockAlign),
                             uint32_t(f.Format.nAvgBytesPerSec), int(f.wValidBitsPerSample),
                             uint32_t(f.dwChannelMask), std::memcmp(f.SubFormat, kSubFormatPcm, 16)),
                  std::tuple(0xFFFE, 22, c.channels * 3, uint32_t(c.channels * 3 * 48000), 24, c.mask, 0))
            << c.channels << " channels";
    }
    HandOut out;
    ASSERT_TRUE(out.Open(22050, 2, 16, 100, 0));
    WAVEFORMATEX head{};
    out.GetFormat(&head);
    EXPECT_EQ(std::tuple(int(head.wFormatTag), int(head.nChannels), uint32_t(head.nSamplesPerSec)),
              std::tuple(0xFFFE, 2, 22050u));
}

TEST(DSoundOut, MoreSourceChannelsThanTheDeviceOpens_AreFoldedDownByTheRenderer) {
    HandOut out;
    out.SetSurroundMode(0, 6);
    ASSERT_TRUE(out.Open(kRate, 2, 16, 1000, 0));
    // The centre alone reaches both sides of the stereo ring.
    CMediaData block(400, 6 * 4);
    std::fill_n(block.GetFloats(), 400 * 6, 0.0f);
    for (int f = 0; f < 400; ++f)
        block.GetFloats()[f * 6 + 2] = 0.5f;
    ASSERT_EQ(out.Write(block), 0);
    CMediaData stereo(400, 8);
    EXPECT_EQ(out.Write(stereo), 1); // blocks come with the source's channels
    const std::vector<int16_t> ring = Samples16(out.ring->Bytes());
    EXPECT_GT(ring[2 * 200], 1000);
    EXPECT_EQ(ring[2 * 200], ring[2 * 200 + 1]);
    EXPECT_EQ(out.GetBytesWritten(), 400 * 8);

    out.SetSurroundMode(7, 6); // a mode the renderer refuses: nothing opens, nothing is held
    EXPECT_FALSE(out.Open(kRate, 2, 16, 1000, 0));
    EXPECT_EQ(out.GetBufferBytes(), 0u);
    EXPECT_EQ(out.Write(block), 1);
}
