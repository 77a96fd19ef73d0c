// The ALSA output device against the private sound server: ALSA's `default` reaches its null sink
// through the pulse plug-in, and the sink's monitor is recorded to hear what was played.
#include "MMETestSupport.h"
#include "SpareSoundServer.h"

#include "audio/MMEOut.h"
#include "platform/Event.h"

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

TEST_F(MMEOutLoopback, TonesAreHeardAtTheirFrequencyLevelAndLength_WithTheirPeaksShown) {
    const struct {
        const char* name;
        int32_t channels, bits;
        double hz[2]; // front left and right; the other channels are silent
        float amplitude[2];
        uint8_t heardChannels; // of the recording
        double rmsTolerance;   // 0: the server's own gains, only some level
    } cases[] = {
        // The channels stay apart; the server plays at unity gain, and 16-bit rounding costs far
        // less than 1%.
        {"stereo", 2, 16, {1000, 1500}, {0.5f, 0.25f}, 2, 0.005},
        // The server folds eight channels into two with gains of its own; the tones keep their sides
        // and frequencies.
        {"eight channels", 8, 16, {1000, 500}, {0.5f, 0.5f}, 2, 0},
        // Unsigned 8-bit samples around 128: a sign or offset mistake would wreck the level. The
        // rounding noise of 8 bits is some 1% of it.
        {"8 bits", 1, 8, {750, 0}, {0.5f, 0}, 1, 0.01},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MonitorRecorder rec(kRate, c.heardChannels);
        ASSERT_TRUE(rec.Start());
        CMMEOut out("default");
        ASSERT_TRUE(out.Open(kRate, c.channels, c.bits, 1000, 0));
        if (c.channels == 8) {
            EXPECT_EQ(out.GetFormatExtensible().dwChannelMask, 0xFFu);
        }
        std::vector<float> s(size_t(kRate) * c.channels, 0.0f);
        for (int channel = 0; channel < std::min(2, c.channels); ++channel) {
            const std::vector<float> tone = Sine(kRate, 1, kRate, c.hz[channel], c.amplitude[channel]);
            for (size_t f = 0; f < kRate; ++f)
                s[f * c.channels + channel] = tone[f];
        }
        std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, s, c.channels), 0); });
        Sleep(500);
        // A 256-frame meter slice of the tone holds its crest within a fraction of a percent.
        const float peaks[2] = {out.GetPeak(0), out.GetPeak(1)};
        writer.join();
        out.Drain();
        EXPECT_EQ(out.GetPosition(), static_cast<int32_t>(kRate));
        out.Close();
        Sleep(200);
        const std::vector<float> heard = rec.Stop();

        const int64_t first = FirstLoudFrame(heard, c.heardChannels, 0);
        const int64_t last = LastLoudFrame(heard, c.heardChannels, 0);
        ASSERT_GE(first, 0);
        // Drain waits for the last block to be played, by the device's clock, so the whole second is
        // heard: a cut tail would show as a shorter tone. A sound that starts on a running sink is
        // mixed in by rewinding what the sink had rendered ahead, which the monitor had passed on
        // already: up to 10 ms of the start are not heard there.
        EXPECT_LE(last - first + 1, static_cast<int64_t>(kRate));
        EXPECT_GE(last - first + 1, static_cast<int64_t>(kRate - kRate / 100));
        for (int channel = 0; channel < std::min<int>(2, c.channels); ++channel) {
            EXPECT_NEAR(peaks[channel], c.amplitude[channel], 0.01f) << channel;
            EXPECT_NEAR(ToneFrequency(heard, c.heardChannels, channel, first + 4800, last - 4800, kRate),
                        c.hz[channel], 0.5)
                << channel;
            const double rms = Rms(heard, c.heardChannels, channel, first + 4800, last - 4800);
            if (c.rmsTolerance > 0)
                EXPECT_NEAR(rms, c.amplitude[channel] / std::sqrt(2.0), c.rmsTolerance) << channel;
            else
                EXPECT_GT(rms, 0.05) << channel;
        }
    }
}

TEST_F(MMEOutLoopback, Position_FollowsTheDevicesClock_AndWhatTheMonitorHears) {
    MonitorRecorder rec(kRate, 1);
    ASSERT_TRUE(rec.Start());
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    const std::vector<float> s = Sine(kRate, 1, kRate * 2, 440.0);
    std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, s, 1), 0); });
    std::vector<std::pair<Clock::time_point, int32_t>> samples;
    for (int i = 0; i < 70; ++i) {
        Sleep(25);
        samples.emplace_back(Clock::now(), out.GetPosition());
        EXPECT_GE(samples.back().second, samples.size() > 1 ? samples[samples.size() - 2].second : 0);
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
    int checked = 0, close = 0;
    for (const auto& [t, p] : samples) {
        const double sinceOnset = std::chrono::duration<double>(t - rec.TimeOfFrame(onset)).count();
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
    ASSERT_TRUE(rec.Start());
    CMMEOut out("default");
    out.UseDevicePause(GetParam());
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    const int64_t frames = kRate * 3 / 2;
    std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, Sine(kRate, 1, frames, 600.0, 0.5f), 1), 0); });
    Sleep(400);
    out.Pause();
    const Clock::time_point pausedAt = Clock::now();
    EXPECT_TRUE(out.IsPaused());
    EXPECT_TRUE(!GetParam() || out.PausesInDevice());
    const int32_t held = out.GetPosition();
    EXPECT_GT(held, static_cast<int32_t>(kRate / 5));
    Sleep(500);
    EXPECT_EQ(out.GetPosition(), held);
    out.Resume();
    const Clock::time_point resumedAt = Clock::now();
    EXPECT_FALSE(out.IsPaused());
    writer.join();
    out.Drain();
    // Every frame was played once: nothing lost or played twice around the pause.
    EXPECT_EQ(out.GetPosition(), static_cast<int32_t>(frames));
    out.Close();
    Sleep(100);
    const std::vector<float> heard = rec.Stop();

    // Silent from shortly after the pause (what the sink had already taken, some 50 ms at most)
    // until shortly before the resume (the recorder dates frames to a few milliseconds).
    const int64_t quietTo = rec.FrameAt(resumedAt);
    EXPECT_LT(Rms(heard, 1, 0, rec.FrameAt(pausedAt) + kRate / 10, quietTo - kRate / 50), 0.001);
    EXPECT_GT(Rms(heard, 1, 0, quietTo + kRate / 5, quietTo + kRate / 2), 0.3);
    // The tone heard in all is as long as the material: the pause cut nothing out, repeated
    // nothing (a gap of half a second lies within it).
    const double paused = std::chrono::duration<double>(resumedAt - pausedAt).count();
    EXPECT_NEAR(LastLoudFrame(heard, 1, 0) - FirstLoudFrame(heard, 1, 0) + 1, frames + paused * kRate,
                kRate / 50.0);
}

INSTANTIATE_TEST_SUITE_P(DevicePauseOrTakeBack, MMEOutPause, ::testing::Bool());

TEST_F(MMEOutLoopback, Stop_EndsTheWriteWithinABlock_DrainSkips_AndCloseCutsTheQueuedAudio) {
    MonitorRecorder rec(kRate, 1);
    ASSERT_TRUE(rec.Start());
    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    std::atomic<bool> stop{false};
    std::thread writer([&] { EXPECT_EQ(WriteBlocks(out, Sine(kRate, 1, kRate * 10, 500.0), 1, &stop), 0); });
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

TEST_F(MMEOutLoopback, AFormatOrDeviceThatIsRefused_DoesNotOpen_AndTheNullDeviceTakesEveryBlock) {
    CMMEOut out("default");
    EXPECT_FALSE(out.Open(768000, 2, 16, 1000, 0)); // beyond what the server takes
    EXPECT_FALSE(out.IsOpen());
    WAVEFORMATEX f{};
    out.GetFormat(&f);
    EXPECT_EQ(f.nChannels, 0);
    CMediaData block(100, 8);
    EXPECT_NE(out.Write(block), 0);
    EXPECT_EQ(out.GetPosition(), 0);
    EXPECT_FALSE(CMMEOut("tw_no_such_pcm").Open(kRate, 2, 16, 1000, 0));
    // The same object opens afterwards with a format the device takes.
    EXPECT_TRUE(out.Open(kRate, 2, 16, 1000, 0));

    CMMEOut null("null");
    ASSERT_TRUE(null.Open(kRate, 2, 16, 200, 0));
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(WriteBlocks(null, Sine(kRate, 2, kRate / 2, 440.0), 2), 0);
    const int32_t during = null.GetPosition();
    null.Drain();
    EXPECT_LT(Since(start), 2.0);
    EXPECT_GE(null.GetPosition(), during);
    EXPECT_EQ(null.GetPosition(), static_cast<int32_t>(kRate / 2));
    null.Close();
    EXPECT_EQ(null.GetPosition(), static_cast<int32_t>(kRate / 2));
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
