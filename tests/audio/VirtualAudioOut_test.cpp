#include "AudioTestSupport.h"

#include "audio/VirtualAudioOut.h"
#include "audio/VirtualDevice.h"
#include "core/MediaData.h"
#include "platform/Event.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <tuple>

using namespace tw;
using namespace tw::test;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int32_t kRate = 8000;

class VirtualOut : public ::testing::Test {
protected:
    std::shared_ptr<CVirtualDevice> endpoint = std::make_shared<CVirtualDevice>("card");
    CVirtualAudioOut out{endpoint};
};

} // namespace

TEST_F(VirtualOut, Open_TakesOnlyWhatACardTakes_AndSizesItsRingFromTheLatency) {
    EXPECT_EQ((std::vector<bool>{out.Open(kRate, 2, 20, 1000, 0), out.Open(kRate, 0, 16, 1000, 0),
                                 out.Open(kRate, 9, 16, 1000, 0), out.Open(0, 2, 16, 1000, 0), out.IsOpen()}),
              std::vector<bool>(5, false));

    ASSERT_TRUE(out.Open(44100, 6, 24, 1000, 0));
    EXPECT_EQ(std::tuple(out.GetBlockCount(), out.GetBlockFrames()), std::tuple(40, 44100 / 40));
    WAVEFORMATEX f{};
    out.GetFormat(&f);
    const auto& x = out.GetFormatExtensible();
    // Channels, bits, frame bytes, bytes a second, tag and extension size; mask, valid bits, PCM.
    EXPECT_EQ(std::tuple(int(f.nChannels), int(f.wBitsPerSample), int(f.nBlockAlign),
                         uint32_t(f.nAvgBytesPerSec), int(f.wFormatTag), int(f.cbSize),
                         uint32_t(x.dwChannelMask), int(x.wValidBitsPerSample), int(x.SubFormat[0])),
              std::tuple(6, 24, 18, 18u * 44100, 0xFFFE, 22, 0x3Fu, 24, 1));

    ASSERT_TRUE(out.Open(kRate, 8, 16, 1000, 0));
    EXPECT_EQ(out.GetFormatExtensible().dwChannelMask, 0xFFu); // the device's mask, not the renderer's
    ASSERT_TRUE(out.Open(kRate, 2, 16, 1000, 0));
    out.GetFormat(&f);
    EXPECT_EQ(std::tuple(int(f.wFormatTag), int(f.cbSize)), std::tuple(WAVE_FORMAT_PCM, 0));

    ASSERT_TRUE(out.Open(kRate, 1, 16, 40, 0)); // a reopen closes first
    EXPECT_EQ(out.GetBlockCount(), 3);
    out.Close();
    out.GetFormat(&f);
    EXPECT_EQ(f.nChannels, 0);
    out.Close(); // twice is harmless
}

TEST_F(VirtualOut, MoreSourceChannelsThanTheDeviceOpens_AreFoldedDownByTheRenderer) {
    endpoint->SetCapture(true);
    out.SetSurroundMode(0, 6);
    ASSERT_TRUE(out.Open(kRate, 2, 16, 200, 0));
    EXPECT_TRUE(out.HasRenderer());
    // The centre alone reaches both sides of the stereo device.
    CMediaData block(400, 6 * 4);
    std::fill_n(block.GetFloats(), 400 * 6, 0.0f);
    for (int f = 0; f < 400; ++f)
        block.GetFloats()[f * 6 + 2] = 0.5f;
    ASSERT_EQ(out.Write(block), 0);
    CMediaData stereo(400, 8);
    EXPECT_NE(out.Write(stereo), 0); // the device takes blocks of its source's channels
    out.Drain();
    const std::vector<int16_t> played = Samples16(endpoint->GetCaptured());
    ASSERT_EQ(played.size(), 400u * 2);
    EXPECT_GT(played[200], 1000);
    EXPECT_EQ(played[200], played[201]);

    out.SetSurroundMode(1, 2); // stereo within two channels needs no renderer
    ASSERT_TRUE(out.Open(kRate, 2, 16, 200, 0));
    EXPECT_FALSE(out.HasRenderer());
    out.SetSurroundMode(7, 6); // a mode the renderer refuses: the device does not open
    EXPECT_FALSE(out.Open(kRate, 2, 16, 200, 0));
    EXPECT_FALSE(out.IsOpen());
}

TEST_F(VirtualOut, WriteAndDrain_PlayWholeDeviceBlocksInOrderAtTheRealRate_AndKeepTheRest) {
    endpoint->SetCapture(true);
    ASSERT_TRUE(out.Open(kRate, 2, 16, 200, 0)); // blocks of 200 frames
    const Clock::time_point start = Clock::now();
    // 4321 frames in uneven pieces: a rest below one device block stays in the ring after each.
    const int64_t pieces[] = {1000, 7, 2500, 814};
    int32_t expectedBytes = 0;
    int64_t done = 0;
    for (int64_t piece : pieces) {
        CMediaData block;
        FillCoded(block, done, piece, 2);
        const int64_t sent = (done + piece) / 200 - done / 200;
        ASSERT_EQ(out.Write(block), 0);
        // The whole input block counts once for every device block it completed.
        expectedBytes += static_cast<int32_t>(sent * piece * 8);
        EXPECT_EQ(out.GetBytesWritten(), expectedBytes) << piece;
        done += piece;
    }
    CMediaData empty;
    empty.Allocate(0, 8);
    EXPECT_EQ(out.Write(empty), 0);
    out.Drain();
    const double seconds = SecondsSince(start);

    // Drain does not send the last 121 frames; it returns within one 100 ms step of the end.
    EXPECT_EQ(out.GetPosition(), 4200);
    EXPECT_GE(seconds, 4200.0 / kRate - 0.002);
    EXPECT_LT(seconds, 4200.0 / kRate + 0.2);
    const std::vector<int16_t> played = Samples16(endpoint->GetCaptured());
    ASSERT_EQ(played.size(), 4200u * 2);
    for (int64_t f = 0; f < 4200 * 2; ++f)
        ASSERT_EQ(played[f], FrameCode(f / 2, int32_t(f % 2))) << f;
    out.Close();
    EXPECT_EQ(out.GetPosition(), 4200); // kept after Close
}

TEST_F(VirtualOut, DrainWithNothingWritten_ReturnsAtOnce) {
    ASSERT_TRUE(out.Open(kRate, 1, 16, 200, 0));
    CMediaData block;
    FillCoded(block, 0, 150, 1); // below one device block: nothing goes to the device
    ASSERT_EQ(out.Write(block), 0);
    const Clock::time_point start = Clock::now();
    out.Drain();
    EXPECT_LT(SecondsSince(start), 0.05);
    EXPECT_EQ(endpoint->GetBlocksPlayed(), 0);
}

TEST_F(VirtualOut, Position_GrowsWithTheClockAndNeverRunsAhead) {
    // The clock is read before the device opens, so no position may run ahead of the time since.
    const Clock::time_point start = Clock::now();
    ASSERT_TRUE(out.Open(kRate, 1, 16, 300, 0));
    std::atomic<bool> writing{true};
    std::thread writer([&] {
        CMediaData block;
        for (int64_t first = 0; first < kRate && writing; first += 400) {
            FillCoded(block, first, 400, 1);
            out.Write(block);
        }
    });
    std::vector<std::pair<double, int32_t>> samples;
    int32_t last = 0;
    while (SecondsSince(start) < 0.6) {
        Sleep(25);
        const int32_t p = out.GetPosition();
        EXPECT_GE(p, last);
        last = p;
        samples.emplace_back(SecondsSince(start), p);
    }
    writing = false;
    out.Stop();
    writer.join();
    for (const auto& [t, p] : samples)
        EXPECT_LE(p, t * kRate + 1) << "at " << t; // no frame is heard before its time
    // Over the last 300 ms the position moved by the time that passed, within two device blocks
    // of scheduling jitter on a busy machine.
    const auto& [t0, p0] = samples[samples.size() / 2];
    const auto& [t1, p1] = samples.back();
    const double expected = (t1 - t0) * kRate;
    EXPECT_NEAR(p1 - p0, expected, 2.0 * out.GetBlockFrames());
    EXPECT_NEAR(p1, t1 * kRate, 0.12 * kRate);
}

TEST_F(VirtualOut, Pause_HoldsThePositionAndResume_GoesOnFromIt) {
    ASSERT_TRUE(out.Open(kRate, 1, 16, 400, 0));
    CMediaData block;
    FillCoded(block, 0, 2400, 1); // 300 ms, fits the ring
    ASSERT_EQ(out.Write(block), 0);
    Sleep(60);
    out.Pause();
    EXPECT_TRUE(out.IsPaused());
    const int32_t held = out.GetPosition();
    EXPECT_GT(held, 0);
    Sleep(120);
    EXPECT_EQ(out.GetPosition(), held);
    out.Resume();
    EXPECT_FALSE(out.IsPaused());
    Sleep(60);
    EXPECT_GT(out.GetPosition(), held);
    out.Drain();
    EXPECT_EQ(out.GetPosition(), 2400);
}

TEST_F(VirtualOut, StopWhilePaused_ResumesSoThatDrainAndCloseDoNotWait) {
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    CMediaData block;
    FillCoded(block, 0, 4000, 1); // half a second queued
    ASSERT_EQ(out.Write(block), 0);
    out.Pause();
    out.Stop();
    EXPECT_FALSE(out.IsPaused());
    const Clock::time_point start = Clock::now();
    out.Drain(); // a no-op after Stop
    out.Close();
    EXPECT_LT(SecondsSince(start), 0.2);
}

TEST_F(VirtualOut, AWriteWhilePaused_HoldsWithItsBlockFilled_UntilResume) {
    ASSERT_TRUE(out.Open(kRate, 1, 16, 400, 0));
    out.Pause();
    std::atomic<bool> returned{false};
    std::thread writer([&] {
        CMediaData block;
        FillCoded(block, 0, 400, 1);
        out.Write(block);
        returned = true;
    });
    Sleep(250);
    EXPECT_FALSE(returned);
    EXPECT_EQ(endpoint->GetBlocksPlayed(), 0);
    const Clock::time_point start = Clock::now();
    out.Resume();
    writer.join();
    // The held Write notices the resume at its next 100 ms step.
    EXPECT_LT(SecondsSince(start), 0.2);
    out.Drain();
    EXPECT_EQ(out.GetPosition(), 400);
}

TEST_F(VirtualOut, Stop_LetsARunningWriteHandOverItsBlock_ThenDrainSkipsAndCloseEndsTheQueue) {
    endpoint->SetCapture(true);
    ASSERT_TRUE(out.Open(kRate, 1, 16, 100, 0)); // 4 blocks of 200 frames, 3 usable
    std::atomic<int32_t> result{-1};
    std::thread writer([&] {
        CMediaData block;
        FillCoded(block, 0, 2000, 1); // a quarter of a second in one block
        result = out.Write(block);
    });
    Sleep(60);
    out.Stop();
    writer.join();
    EXPECT_EQ(result, 0);
    // Every device block of the Write went to the device; most of it is still queued.
    const Clock::time_point start = Clock::now();
    out.Drain();
    out.Close();
    EXPECT_LT(SecondsSince(start), 0.05);
    EXPECT_GE(endpoint->GetBlocksPlayed(), 6);
    EXPECT_LT(endpoint->GetBlocksPlayed(), 10);
}

TEST_F(VirtualOut, Peak_FollowsTheBlockBeingHeard_AndIsZeroWhenClosed) {
    ASSERT_TRUE(out.Open(kRate, 2, 16, 400, 0));
    CMediaData block(1600, 8);
    float* s = block.GetFloats();
    for (int i = 0; i < 1600; ++i) {
        s[2 * i] = i < 800 ? 0.25f : 0.5f; // louder in the second half
        s[2 * i + 1] = -0.5f;              // negative peaks are not shown
    }
    ASSERT_EQ(out.Write(block), 0);
    Sleep(30);
    EXPECT_EQ((std::vector<float>{out.GetPeak(0), out.GetPeak(1), out.GetPeak(2)}),
              (std::vector<float>{0.25f, 0.0f, 0.0f}));
    ASSERT_NE(out.GetMeterBuffer(), nullptr);
    EXPECT_FLOAT_EQ(out.GetMeterBuffer()[1], -0.5f);
    while (out.GetPosition() < 1000)
        Sleep(5);
    EXPECT_FLOAT_EQ(out.GetPeak(0), 0.5f);
    out.Close();
    EXPECT_EQ(out.GetPeak(0), 0.0f);
    EXPECT_EQ(out.GetMeterBuffer(), nullptr);
}

TEST_F(VirtualOut, AVanishedCard_RefusesToOpen_AndFailsAWriteMidPlayWithoutHanging) {
    endpoint->SetPresent(false);
    EXPECT_FALSE(out.Open(kRate, 1, 16, 200, 0));
    CMediaData block;
    FillCoded(block, 0, 800, 1);
    EXPECT_NE(out.Write(block), 0); // not open

    endpoint->SetPresent(true);
    endpoint->VanishAfterBlocks(3);
    ASSERT_TRUE(out.Open(kRate, 1, 16, 200, 0));
    const Clock::time_point start = Clock::now();
    int32_t result = 0;
    int64_t written = 0;
    while (result == 0 && written < kRate * 10) {
        FillCoded(block, written, 800, 1);
        result = out.Write(block);
        written += 800;
    }
    EXPECT_NE(result, 0);
    EXPECT_LT(SecondsSince(start), 1.0); // three blocks are 75 ms; the failure is noticed at once
    out.Drain();
    out.Close();
    EXPECT_EQ(endpoint->GetBlocksPlayed(), 3);
}

TEST_F(VirtualOut, EveryWidth_FillsWholeFramesOfItsSize_AndABlockOfTheWrongShapeIsRefused) {
    endpoint->SetCapture(true);
    ASSERT_TRUE(out.Open(kRate, 2, 24, 100, 0));
    CMediaData block(400, 8);
    float* s = block.GetFloats();
    for (int i = 0; i < 400; ++i) {
        s[2 * i] = 0.5f;
        s[2 * i + 1] = -1.0f;
    }
    ASSERT_EQ(out.Write(block), 0);
    CMediaData mono(100, 4);
    EXPECT_NE(out.Write(mono), 0); // one channel into a stereo device
    out.Drain();
    const std::vector<uint8_t> bytes = endpoint->GetCaptured();
    ASSERT_EQ(bytes.size(), 400u * 6);
    // 0.5 and -1.0 at 24 bits, little-endian, frame after frame.
    for (size_t f = 0; f < 400; ++f)
        ASSERT_EQ((std::vector<uint8_t>(&bytes[f * 6 + 1], &bytes[f * 6 + 6])),
                  (std::vector<uint8_t>{0x00, 0x40, 0x00, 0x00, 0x80}))
            << f;

    endpoint->SetCapture(true);
    ASSERT_TRUE(out.Open(kRate, 1, 8, 100, 0));
    CMediaData quiet(200, 4);
    std::fill_n(quiet.GetFloats(), 200, 0.0f);
    ASSERT_EQ(out.Write(quiet), 0);
    out.Drain();
    EXPECT_EQ(endpoint->GetCaptured(), std::vector<uint8_t>(200, 128)); // 8 bits are unsigned
}
