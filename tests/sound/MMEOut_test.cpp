// The ALSA output device against the private sound server: ALSA's `default` reaches its null sink
// through the pulse plug-in, and the sink's monitor is recorded to hear what was played.
#include "MMETestSupport.h"
#include "SoundTestSupport.h"
#include "SpareSoundServer.h"

#include "audio/MMEOut.h"
#include "core/MediaData.h"
#include "platform/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

using namespace tw;
using namespace tw::test;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint32_t kRate = 48000;

double Since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

class MMEOutLoopback : public ::testing::Test {
protected:
    void SetUp() override { TW_REQUIRE_SOUND_SERVER(); }
};

} // namespace

TEST_F(MMEOutLoopback, AToneOnTheDefaultDevice_IsHeardAtItsFrequencyLevelAndLength_WithItsPeakShown) {
    MonitorRecorder rec(kRate, 2);
    ASSERT_TRUE(ListenToMonitor(rec));
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 2, 16, 1000, 0));
    // 1 kHz at half scale on the left, 1.5 kHz at a quarter on the right: the channels stay apart.
    std::vector<float> s = Sine(kRate, 2, kRate, 1000.0, 0.5f, 0);
    const std::vector<float> right = Sine(kRate, 2, kRate, 1500.0, 0.25f, 1);
    for (size_t i = 1; i < s.size(); i += 2)
        s[i] = right[i];

    float leftPeak = 0.0f;
    float rightPeak = 0.0f;
    std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, s, 2), 0); });
    Sleep(500);
    leftPeak = out.GetPeak(0);
    rightPeak = out.GetPeak(1);
    writer.join();
    out.Drain();
    EXPECT_EQ(out.GetPosition(), static_cast<int32_t>(kRate));
    out.Close();
    Sleep(200);
    const std::vector<float> heard = rec.Stop();

    // A 256-frame meter slice of the tone holds its crest within a fraction of a percent.
    EXPECT_NEAR(leftPeak, 0.5f, 0.01f);
    EXPECT_NEAR(rightPeak, 0.25f, 0.01f);
    const int64_t first = FirstLoudFrame(heard, 2, 0);
    const int64_t last = LastLoudFrame(heard, 2, 0);
    ASSERT_GE(first, 0);
    // Drain waits for the last block to be played, by the device's clock, so the whole second is
    // heard: a cut tail would show as a shorter tone. A sound that starts on a running sink is
    // mixed in by rewinding what the sink had rendered ahead, which the monitor had passed on
    // already: up to 10 ms of the start are not heard there.
    EXPECT_LE(last - first + 1, static_cast<int64_t>(kRate));
    EXPECT_GE(last - first + 1, static_cast<int64_t>(kRate - kRate / 100));
    EXPECT_NEAR(ToneFrequency(heard, 2, 0, first + 4800, last - 4800, kRate), 1000.0, 0.5);
    EXPECT_NEAR(ToneFrequency(heard, 2, 1, first + 4800, last - 4800, kRate), 1500.0, 0.5);
    // The server plays at unity gain; 16-bit rounding costs far less than 1%.
    EXPECT_NEAR(Rms(heard, 2, 0, first + 4800, last - 4800), 0.5 / std::sqrt(2.0), 0.005);
    EXPECT_NEAR(Rms(heard, 2, 1, first + 4800, last - 4800), 0.25 / std::sqrt(2.0), 0.005);
}

TEST_F(MMEOutLoopback, Position_FollowsTheDevicesClock_AndWhatTheMonitorHears) {
    MonitorRecorder rec(kRate, 1);
    ASSERT_TRUE(ListenToMonitor(rec));
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    const std::vector<float> s = Sine(kRate, 1, kRate * 2, 440.0);
    std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, s, 1), 0); });
    std::vector<std::pair<Clock::time_point, int32_t>> samples;
    int32_t last = 0;
    for (int i = 0; i < 70; ++i) {
        Sleep(25);
        const int32_t p = out.GetPosition();
        EXPECT_GE(p, last);
        last = p;
        samples.emplace_back(Clock::now(), p);
    }
    writer.join();
    out.Drain();
    out.Close();
    Sleep(100);
    const std::vector<float> heard = rec.Stop();

    // The tone reached the monitor at the moment the recording shows; from then on the position
    // counts the frames heard. The recorder dates its frames to within one 5 ms fragment, the
    // monitor lags the sink by a few milliseconds more, and a position is read at most one 5 ms
    // tick of the completion thread late: 20 ms (960 frames) covers them together. A position is
    // never ahead of what was heard by more than that; on a loaded machine a reading may come
    // late (the completion thread was not scheduled), so one in ten may lag further.
    const int64_t onset = FirstLoudFrame(heard, 1, 0, 0.05f);
    ASSERT_GE(onset, 0);
    const Clock::time_point heardFrom = rec.TimeOfFrame(onset);
    int checked = 0;
    int close = 0;
    for (const auto& [t, p] : samples) {
        const double sinceOnset = std::chrono::duration<double>(t - heardFrom).count();
        if (sinceOnset < 0.05 || p >= static_cast<int32_t>(kRate * 2 - 2400))
            continue;
        EXPECT_LT(p, sinceOnset * kRate + 960.0) << "at " << sinceOnset << " s";
        close += std::fabs(p - sinceOnset * kRate) < 960.0 ? 1 : 0;
        ++checked;
    }
    EXPECT_GT(checked, 40);
    EXPECT_GE(close, checked * 9 / 10);
    // Over a second of steady play the position moved at the device's rate, to 1%.
    const auto& [t0, p0] = samples[10];
    const auto& [t1, p1] = samples[50];
    EXPECT_NEAR((p1 - p0) / std::chrono::duration<double>(t1 - t0).count(), kRate, kRate / 100.0);
}

// Both ways of pausing: the device's own (the pulse plug-in corks its stream), and taking back
// what the device holds, which devices without a pause get.
class MMEOutPause : public MMEOutLoopback, public ::testing::WithParamInterface<bool> {};

TEST_P(MMEOutPause, Pause_HoldsThePositionAndIsSilent_AndResumeGoesOnWhereItStopped) {
    MonitorRecorder rec(kRate, 1);
    ASSERT_TRUE(ListenToMonitor(rec));
    CMMEOut out("default");
    out.UseDevicePause(GetParam());
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    const int64_t frames = kRate * 3 / 2;
    std::vector<float> s = Sine(kRate, 1, frames, 600.0, 0.5f);
    std::atomic<bool> stop{false};
    std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, s, 1, &stop), 0); });
    Sleep(400);
    out.Pause();
    const Clock::time_point pausedAt = Clock::now();
    EXPECT_TRUE(out.IsPaused());
    if (GetParam()) {
        EXPECT_TRUE(out.PausesInDevice());
    }
    const int32_t held = out.GetPosition();
    EXPECT_GT(held, static_cast<int32_t>(kRate / 5));
    Sleep(500);
    EXPECT_EQ(out.GetPosition(), held);
    out.Resume();
    const Clock::time_point resumedAt = Clock::now();
    EXPECT_FALSE(out.IsPaused());
    writer.join();
    out.Drain();
    const int32_t end = out.GetPosition();
    out.Close();
    Sleep(100);
    const std::vector<float> heard = rec.Stop();

    // Every frame was played once: nothing lost or played twice around the pause.
    EXPECT_EQ(end, static_cast<int32_t>(frames));
    // Silent from shortly after the pause (what the sink had already taken, some 50 ms at most)
    // until shortly before the resume (the recorder dates frames to a few milliseconds).
    const int64_t quietFrom = FrameAt(rec, pausedAt) + kRate / 10;
    const int64_t quietTo = FrameAt(rec, resumedAt);
    EXPECT_LT(Rms(heard, 1, 0, quietFrom, quietTo - kRate / 50), 0.001);
    EXPECT_GT(Rms(heard, 1, 0, quietTo + kRate / 5, quietTo + kRate / 2), 0.3);
    // The tone heard in all is as long as the material: the pause cut nothing out, repeated
    // nothing (a gap of half a second lies within it).
    const int64_t first = FirstLoudFrame(heard, 1, 0);
    const int64_t lastLoud = LastLoudFrame(heard, 1, 0);
    const double paused = std::chrono::duration<double>(resumedAt - pausedAt).count();
    EXPECT_NEAR(lastLoud - first + 1, frames + paused * kRate, kRate / 50.0);
}

INSTANTIATE_TEST_SUITE_P(DevicePauseOrTakeBack, MMEOutPause, ::testing::Bool());

TEST_F(MMEOutLoopback, Stop_EndsTheWriteWithinABlock_DrainSkips_AndCloseCutsTheQueuedAudio) {
    MonitorRecorder rec(kRate, 1);
    ASSERT_TRUE(ListenToMonitor(rec));
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    const std::vector<float> s = Sine(kRate, 1, kRate * 10, 500.0);
    std::atomic<bool> stop{false};
    std::atomic<bool> returned{false};
    std::thread writer([&] {
        EXPECT_EQ(WriteBlocks(out, s, 1, &stop), 0);
        returned = true;
    });
    Sleep(600);
    stop = true; // the render's own stop flag, raised with the device's Stop as the view does
    const Clock::time_point stoppedAt = Clock::now();
    out.Stop();
    writer.join();
    // The Write under way hands over its 50 ms block once a device block is free: within two.
    EXPECT_LT(Since(stoppedAt), 0.1);
    const Clock::time_point drainAt = Clock::now();
    out.Drain();
    EXPECT_LT(Since(drainAt), 0.02);
    out.Close();
    const Clock::time_point closedAt = Clock::now();
    EXPECT_LT(std::chrono::duration<double>(closedAt - stoppedAt).count(), 0.2);
    Sleep(300);
    const std::vector<float> heard = rec.Stop();
    // Close drops the second of audio still queued: the sound ends at once, not a second later.
    const int64_t lastLoud = LastLoudFrame(heard, 1, 0);
    ASSERT_GE(lastLoud, 0);
    EXPECT_LT(rec.TimeOfFrame(lastLoud), closedAt + std::chrono::milliseconds(100));
}

TEST_F(MMEOutLoopback, AFormatOrDeviceThatIsRefused_DoesNotOpen) {
    CMMEOut out("default");
    EXPECT_FALSE(out.Open(768000, 2, 16, 1000, 0)); // beyond what the server takes
    EXPECT_FALSE(out.IsOpen());
    WAVEFORMATEX f{};
    out.GetFormat(&f);
    EXPECT_EQ(f.nChannels, 0);
    CMediaData block(100, 8);
    EXPECT_NE(out.Write(block), 0);
    EXPECT_EQ(out.GetPosition(), 0);

    CMMEOut missing("tw_no_such_pcm");
    EXPECT_FALSE(missing.Open(kRate, 2, 16, 1000, 0));
    // The same object opens afterwards with a format the device takes.
    EXPECT_TRUE(out.Open(kRate, 2, 16, 1000, 0));
}

TEST_F(MMEOutLoopback, EightChannels_ReachTheStereoSinkInTheirOrder) {
    MonitorRecorder rec(kRate, 2);
    ASSERT_TRUE(ListenToMonitor(rec));
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 8, 16, 1000, 0));
    EXPECT_EQ(out.GetFormatExtensible().dwChannelMask, 0xFFu);
    // Front left and front right carry tones of their own; the other six are silent.
    std::vector<float> s(static_cast<size_t>(kRate) * 8, 0.0f);
    const std::vector<float> a = Sine(kRate, 1, kRate, 1000.0);
    const std::vector<float> b = Sine(kRate, 1, kRate, 500.0);
    for (size_t f = 0; f < kRate; ++f) {
        s[f * 8] = a[f];
        s[f * 8 + 1] = b[f];
    }
    EXPECT_EQ(WriteBlocks(out, s, 8), 0);
    out.Drain();
    out.Close();
    Sleep(100);
    const std::vector<float> heard = rec.Stop();
    const int64_t first = FirstLoudFrame(heard, 2, 0);
    const int64_t last = LastLoudFrame(heard, 2, 0);
    ASSERT_GT(last - first, kRate / 2);
    // The server folds the eight channels into two with gains of its own; the tones keep their
    // sides and frequencies.
    EXPECT_NEAR(ToneFrequency(heard, 2, 0, first + 4800, last - 4800, kRate), 1000.0, 0.5);
    EXPECT_NEAR(ToneFrequency(heard, 2, 1, first + 4800, last - 4800, kRate), 500.0, 0.5);
    EXPECT_GT(Rms(heard, 2, 0, first + 4800, last - 4800), 0.05);
}

TEST_F(MMEOutLoopback, EightBitMaterial_IsHeardAsTheSameTone) {
    MonitorRecorder rec(kRate, 1);
    ASSERT_TRUE(ListenToMonitor(rec));
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 1, 8, 1000, 0));
    EXPECT_EQ(WriteBlocks(out, Sine(kRate, 1, kRate, 750.0), 1), 0);
    out.Drain();
    out.Close();
    Sleep(100);
    const std::vector<float> heard = rec.Stop();
    const int64_t first = FirstLoudFrame(heard, 1, 0, 0.05f);
    const int64_t last = LastLoudFrame(heard, 1, 0, 0.05f);
    ASSERT_GT(last - first, kRate / 2);
    EXPECT_NEAR(ToneFrequency(heard, 1, 0, first + 4800, last - 4800, kRate), 750.0, 0.5);
    // Unsigned 8-bit samples around 128: a sign or offset mistake would wreck the level. The
    // rounding noise of 8 bits is some 1% of this level.
    EXPECT_NEAR(Rms(heard, 1, 0, first + 4800, last - 4800), 0.5 / std::sqrt(2.0), 0.01);
}

TEST_F(MMEOutLoopback, TheNullDevice_TakesEveryBlock_WithItsPositionAdvancing) {
    CMMEOut out("null");
    ASSERT_TRUE(out.Open(kRate, 2, 16, 200, 0));
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(WriteBlocks(out, Sine(kRate, 2, kRate / 2, 440.0), 2), 0);
    const int32_t during = out.GetPosition();
    out.Drain();
    EXPECT_LT(Since(start), 2.0);
    EXPECT_GT(out.GetPosition(), 0);
    EXPECT_GE(out.GetPosition(), during);
    EXPECT_EQ(out.GetPosition(), static_cast<int32_t>(kRate / 2));
    out.Close();
    EXPECT_EQ(out.GetPosition(), static_cast<int32_t>(kRate / 2));
}

TEST_F(MMEOutLoopback, AServerThatDiesDuringPlayback_FailsTheWriteSoon_WithoutAHang) {
    SpareSoundServer spare;
    ASSERT_TRUE(spare.Answers());
    CMMEOut out("default");
    {
        ServerSwitch to(spare.Address());
        ASSERT_TRUE(out.Open(kRate, 2, 16, 1000, 0));
    }
    std::atomic<int32_t> result{-1};
    std::thread writer([&] { result = WriteBlocks(out, Sine(kRate, 2, kRate * 30, 440.0), 2); });
    Sleep(1500); // the queue is full and the writer waits on the device
    const Clock::time_point killedAt = Clock::now();
    spare.Kill();
    writer.join();
    // The device reports the lost server at its next write or clock reading; the stall guard
    // (3 s) is the latest it could take.
    EXPECT_LT(Since(killedAt), CMMEOut::kStallMs / 1000.0 + 0.5);
    EXPECT_NE(result, 0);
    CMediaData block(1200, 8);
    EXPECT_NE(out.Write(block), 0);
    const Clock::time_point closing = Clock::now();
    out.Drain();
    out.Close();
    EXPECT_LT(Since(closing), 1.0);
}
