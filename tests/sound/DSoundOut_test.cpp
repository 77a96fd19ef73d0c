// The PulseAudio back end against a real server: the private test server's null sink is listed,
// what is played there is heard on its monitor at the right pitch, level and length, the position
// follows the sink's clock, and a sink or server that goes away ends playback without a hang.
#include "SoundTestSupport.h"
#include "SpareSoundServer.h"

#include "audio/DSoundDeviceMgr.h"
#include "audio/DSoundOut.h"
#include "core/MediaData.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace tw;
using namespace tw::test;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint32_t kRate = 48000;

// Runs a shell command; its standard output, trimmed.
std::string Shell(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return out;
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr)
        out += buffer;
    pclose(pipe);
    while (!out.empty() && (out.back() == '\n' || out.back() == ' '))
        out.pop_back();
    return out;
}

// The global number of the output named `name`, or -1.
int32_t FindOutput(CAudioDeviceMgr& manager, const std::string& name) {
    std::vector<std::string> names;
    manager.GetOutputNames(names);
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name)
            return static_cast<int32_t>(i);
    return -1;
}

// The device on the test server's null sink, closed.
std::unique_ptr<CAudioOut> NullSinkDevice() {
    CDSoundDeviceMgr manager;
    const int32_t id = FindOutput(manager, "PulseAudio: Null_Output");
    return std::unique_ptr<CAudioOut>(id >= 0 ? manager.CreateOutput(id) : nullptr);
}

// Writes `samples` in 50 ms blocks, as the play thread does; the first failing result, or 0.
int32_t WriteBlocks(CAudioOut& out, const std::vector<float>& samples, int32_t channels, uint32_t rate) {
    const int64_t total = static_cast<int64_t>(samples.size()) / channels;
    const int64_t step = rate / 20;
    for (int64_t at = 0; at < total; at += step) {
        const int64_t frames = std::min(step, total - at);
        CMediaData block(frames, channels * 4);
        std::memcpy(block.GetBuffer(), samples.data() + at * channels,
                    static_cast<size_t>(frames * channels * 4));
        const int32_t result = out.Write(block);
        if (result != 0)
            return result;
    }
    return 0;
}

// Starts recording and waits until the monitor delivers: an idle null sink sleeps for up to two
// seconds before it first renders, and a device started meanwhile would play into that sleep.
bool Listen(MonitorRecorder& recorder) {
    if (!recorder.Start())
        return false;
    const auto end = Clock::now() + std::chrono::seconds(5);
    while (recorder.Frames() == 0 && Clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return recorder.Frames() > 0;
}

// A sound that starts on a running sink is mixed in by rewinding what the sink had rendered ahead,
// and the monitor has already passed those frames on: it loses a few milliseconds of the start
// of every sound (of any player's). Lengths heard are allowed that much short, and no more.
constexpr int64_t kStartLoss = kRate / 100;

// Whether the last `count` frames heard up to `last` on `channel` are the last frames of `sent`:
// the tail arrived whole.
bool TailMatches(const std::vector<float>& heard, int64_t last, const std::vector<float>& sent, int channels,
                 int sentChannel, int64_t count) {
    const int64_t sentFrames = static_cast<int64_t>(sent.size()) / channels;
    // The last loud frame heard is the last frame of the sound above the threshold.
    int64_t sentLast = sentFrames - 1;
    while (sentLast > 0 && std::fabs(sent[static_cast<size_t>(sentLast * channels + sentChannel)]) <= 0.05f)
        --sentLast;
    for (int64_t i = 0; i < count; ++i) {
        const float h = heard[static_cast<size_t>((last - i) * 2 + (sentChannel < 2 ? sentChannel : 0))];
        const float e = sent[static_cast<size_t>((sentLast - i) * channels + sentChannel)];
        if (std::fabs(h - e) > 0.002f)
            return false;
    }
    return true;
}

// The recorded frame heard at `t`.
int64_t FrameAt(const MonitorRecorder& recorder, Clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::microseconds>(t - recorder.StartTime()).count() *
           static_cast<int64_t>(recorder.Rate()) / 1000000;
}

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// Samples the device's position every millisecond on a thread of its own.
class PositionWatch {
public:
    explicit PositionWatch(CAudioOut& out) : m_out(out) {
        m_thread = std::thread([this] {
            while (m_run) {
                m_samples.push_back({Clock::now(), m_out.GetPosition()});
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    ~PositionWatch() { Stop(); }
    struct Sample {
        Clock::time_point time;
        int32_t position;
    };
    const std::vector<Sample>& Stop() {
        m_run = false;
        if (m_thread.joinable())
            m_thread.join();
        return m_samples;
    }

private:
    CAudioOut& m_out;
    std::atomic<bool> m_run{true};
    std::vector<Sample> m_samples;
    std::thread m_thread;
};

// Plays until Write fails or `seconds` have passed, on a thread; the failing result, or 0.
std::future<int32_t> PlayUntilFailure(CAudioOut& out, double seconds) {
    return std::async(std::launch::async, [&out, seconds] {
        const std::vector<float> tone = Sine(kRate, 2, kRate / 20, 440.0, 0.3f);
        CMediaData block(kRate / 20, 8);
        std::memcpy(block.GetBuffer(), tone.data(), tone.size() * 4);
        const auto end = Clock::now() + std::chrono::duration<double>(seconds);
        while (Clock::now() < end) {
            const int32_t result = out.Write(block);
            if (result != 0)
                return result;
        }
        return 0;
    });
}

} // namespace

TEST(PulseAudioOut, TheManager_ListsTheNullSink_AsAnOutputWithoutMixerOrInputs) {
    TW_REQUIRE_SOUND_SERVER();
    CDSoundDeviceMgr manager;
    std::vector<std::string> outputs, inputs;
    manager.GetOutputNames(outputs);
    manager.GetInputNames(inputs);
    const int32_t id = FindOutput(manager, "PulseAudio: Null_Output");
    ASSERT_GE(id, 0) << "listed: " << ::testing::PrintToString(outputs);
    EXPECT_TRUE(inputs.empty());
    EXPECT_EQ(manager.GetOutputCount(), static_cast<int32_t>(outputs.size()));
    EXPECT_EQ(manager.GetMixerId(id), -1);
    EXPECT_EQ(manager.CreateInput(0), nullptr);
    EXPECT_EQ(manager.CreateOutput(manager.GetOutputCount()), nullptr);
    std::unique_ptr<CAudioOut> out(manager.CreateOutput(id));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(static_cast<CDSoundOut*>(out.get())->GetSink(), "tw_null");
}

TEST(PulseAudioOut, AToneOfTwoSeconds_IsHeardAtItsPitchLevelAndLength_AndThePositionFollowsTheClock) {
    TW_REQUIRE_SOUND_SERVER();
    std::unique_ptr<CAudioOut> out = NullSinkDevice();
    ASSERT_NE(out, nullptr);
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(Listen(recorder));
    ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));

    const int64_t frames = 2 * kRate;
    const std::vector<float> tone = Sine(kRate, 2, frames, 1000.0, 0.5f);
    PositionWatch watch(*out);
    EXPECT_EQ(WriteBlocks(*out, tone, 2, kRate), 0);
    out->Drain();
    const std::vector<PositionWatch::Sample> positions = watch.Stop();
    EXPECT_EQ(out->GetPosition(), frames);
    EXPECT_EQ(out->GetBytesWritten(), static_cast<int32_t>((frames + kRate) * 8)); // with a second of silence
    out->Close();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<float> heard = recorder.Stop();

    const int64_t first = FirstLoudFrame(heard, 2, 0, 0.05f);
    const int64_t last = LastLoudFrame(heard, 2, 0, 0.05f);
    ASSERT_GE(first, 0);
    EXPECT_LE(last - first + 1, frames);
    EXPECT_GE(last - first + 1, frames - kStartLoss);
    EXPECT_TRUE(TailMatches(heard, last, tone, 2, 0, kRate / 10));
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(ToneFrequency(heard, 2, channel, first + 2400, last - 2400, kRate), 1000.0, 0.5);
        EXPECT_NEAR(Rms(heard, 2, channel, first + 2400, last - 2400), 0.5 / std::sqrt(2.0), 0.005);
    }

    // The position runs at the sink's rate, and frame 0 is played when the monitor hears it: taken
    // between the first and the last sample of the steady middle.
    auto isMiddle = [&](const PositionWatch::Sample& x) {
        return x.position > static_cast<int32_t>(kRate / 5) && x.position < frames - kRate / 5;
    };
    const auto a = std::find_if(positions.begin(), positions.end(), isMiddle);
    const auto b = std::find_if(positions.rbegin(), positions.rend(), isMiddle);
    ASSERT_TRUE(a != positions.end() && b != positions.rend());
    const double rate = (b->position - a->position) / Seconds(b->time - a->time);
    EXPECT_NEAR(rate, kRate, kRate * 0.01);
    const double startsAt = Seconds(a->time - recorder.StartTime()) - a->position / rate;
    const double heardAt = static_cast<double>(first) / kRate;
    EXPECT_NEAR(startsAt, heardAt, 0.03)
        << "position starts at " << startsAt << " s, sound heard at " << heardAt;
}

TEST(PulseAudioOut, ASoundShorterThanTheRing_PlaysThroughDrain_AndThePositionStopsAtItsLastFrame) {
    TW_REQUIRE_SOUND_SERVER();
    std::unique_ptr<CAudioOut> out = NullSinkDevice();
    ASSERT_NE(out, nullptr);
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(Listen(recorder));
    ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));

    const int64_t frames = kRate / 5;
    const std::vector<float> tone = Sine(kRate, 2, frames, 500.0, 0.5f);
    EXPECT_EQ(WriteBlocks(*out, tone, 2, kRate), 0);
    EXPECT_EQ(out->GetPosition(), 0); // not started: shorter than the ring
    PositionWatch watch(*out);
    out->Drain();
    const std::vector<PositionWatch::Sample> positions = watch.Stop();
    EXPECT_EQ(out->GetPosition(), frames);
    for (const auto& s : positions)
        ASSERT_LE(s.position, frames);
    out->Close();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<float> heard = recorder.Stop();

    const int64_t first = FirstLoudFrame(heard, 2, 1, 0.05f);
    const int64_t last = LastLoudFrame(heard, 2, 1, 0.05f);
    ASSERT_GE(first, 0);
    EXPECT_LE(last - first + 1, frames);
    EXPECT_GE(last - first + 1, frames - kStartLoss);
    EXPECT_TRUE(TailMatches(heard, last, tone, 2, 1, kRate / 10));
    EXPECT_NEAR(ToneFrequency(heard, 2, 1, first, last, kRate), 500.0, 1.0);
}

TEST(PulseAudioOut, ThePosition_NeverRunsBackward_OverManyTurnsOfASmallRing) {
    TW_REQUIRE_SOUND_SERVER();
    std::unique_ptr<CAudioOut> out = NullSinkDevice();
    ASSERT_NE(out, nullptr);
    MonitorRecorder recorder(kRate, 2); // keeps the null sink awake
    ASSERT_TRUE(Listen(recorder));
    ASSERT_TRUE(out->Open(kRate, 2, 16, 100, 0)); // twenty turns in two seconds
    const int64_t frames = 2 * kRate;
    PositionWatch watch(*out);
    EXPECT_EQ(WriteBlocks(*out, Sine(kRate, 2, frames, 300.0, 0.2f), 2, kRate), 0);
    out->Drain();
    const std::vector<PositionWatch::Sample> positions = watch.Stop();
    EXPECT_EQ(out->GetPosition(), frames);
    ASSERT_GT(positions.size(), 500u);
    for (size_t i = 1; i < positions.size(); ++i)
        ASSERT_GE(positions[i].position, positions[i - 1].position) << "sample " << i;
    // It moved all along, not in one jump at the end.
    size_t moving = 0;
    for (size_t i = 1; i < positions.size(); ++i)
        moving += positions[i].position > positions[i - 1].position ? 1 : 0;
    EXPECT_GT(moving, positions.size() / 10);
}

TEST(PulseAudioOut, Pause_GivesSilenceAndHoldsThePosition_AndResumePlaysOn) {
    TW_REQUIRE_SOUND_SERVER();
    std::unique_ptr<CAudioOut> out = NullSinkDevice();
    ASSERT_NE(out, nullptr);
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(Listen(recorder));
    ASSERT_TRUE(out->Open(kRate, 2, 16, 500, 0));
    const std::vector<float> tone = Sine(kRate, 2, 3 * kRate, 700.0, 0.5f);
    auto writer = std::async(std::launch::async, [&] { return WriteBlocks(*out, tone, 2, kRate); });

    const auto started = Clock::now();
    while (out->GetPosition() < static_cast<int32_t>(kRate) && Seconds(Clock::now() - started) < 5)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    out->Pause();
    const auto pausedAt = Clock::now();
    ASSERT_TRUE(out->IsPaused());
    // The block being written when the pause came still goes in first.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const int32_t held = out->GetPosition();
    for (int i = 0; i < 8; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(out->GetPosition(), held);
        EXPECT_EQ(out->GetPeak(0), 0.0f);
    }
    const auto resumedAt = Clock::now();
    out->Resume();
    ASSERT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(writer.get(), 0);
    EXPECT_GT(out->GetPosition(), held);
    out->Drain();
    out->Close();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<float> heard = recorder.Stop();

    // What the server held ahead of the cursor still sounds for a moment after the pause.
    const int64_t silentFrom = FrameAt(recorder, pausedAt + std::chrono::milliseconds(250));
    const int64_t silentTo = FrameAt(recorder, resumedAt);
    ASSERT_GT(silentTo - silentFrom, kRate / 4);
    EXPECT_LT(Rms(heard, 2, 0, silentFrom, silentTo), 0.001);
    const int64_t before = FrameAt(recorder, pausedAt - std::chrono::milliseconds(300));
    EXPECT_NEAR(Rms(heard, 2, 0, before, before + kRate / 10), 0.5 / std::sqrt(2.0), 0.01);
    const int64_t after = FrameAt(recorder, resumedAt + std::chrono::milliseconds(300));
    EXPECT_NEAR(Rms(heard, 2, 0, after, after + kRate / 10), 0.5 / std::sqrt(2.0), 0.01);
}

TEST(PulseAudioOut, StopDuringAWrite_EndsItSoon_AndTheSinkFallsSilent) {
    TW_REQUIRE_SOUND_SERVER();
    std::unique_ptr<CAudioOut> out = NullSinkDevice();
    ASSERT_NE(out, nullptr);
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(Listen(recorder));
    // A long ring: the wait's time-out alone would keep the writer for three seconds.
    ASSERT_TRUE(out->Open(kRate, 2, 16, 3000, 0));
    const std::vector<float> tone = Sine(kRate, 2, 10 * kRate, 600.0, 0.5f);
    CMediaData block(10 * kRate, 8);
    std::memcpy(block.GetBuffer(), tone.data(), tone.size() * 4);
    auto writer = std::async(std::launch::async, [&] { return out->Write(block); });

    const auto started = Clock::now();
    while (out->GetPosition() < static_cast<int32_t>(kRate / 2) && Seconds(Clock::now() - started) < 10)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_GE(out->GetPosition(), static_cast<int32_t>(kRate / 2));
    const auto stoppedAt = Clock::now();
    out->Stop();
    ASSERT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_LT(Seconds(Clock::now() - stoppedAt), 1.0);
    EXPECT_EQ(writer.get(), 0);
    const auto drainAt = Clock::now();
    out->Drain(); // a no-op after Stop
    EXPECT_LT(Seconds(Clock::now() - drainAt), 0.1);
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    out->Close();
    const std::vector<float> heard = recorder.Stop();
    const int64_t quietFrom = FrameAt(recorder, stoppedAt + std::chrono::milliseconds(250));
    EXPECT_LT(Rms(heard, 2, 0, quietFrom, quietFrom + kRate / 4), 0.001);
}

struct WidthCase {
    int32_t bits;
    int32_t channels;
    int32_t toneChannel; // -1: every channel
    bool left;           // where the stereo sink hears it
    bool right;
};

TEST(PulseAudioOut, EveryWidthAndEightChannels_AreHeardOnTheStereoSinkWhereTheirSpeakersAre) {
    TW_REQUIRE_SOUND_SERVER();
    const WidthCase cases[] = {
        {8, 1, -1, true, true},  {16, 2, -1, true, true}, {24, 2, 0, true, false},
        {32, 2, 1, false, true}, {16, 8, 0, true, false}, {24, 8, 1, false, true},
    };
    // One recording for all: each case is found again by the time it played.
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(Listen(recorder));
    const int64_t frames = kRate * 3 / 10;
    std::vector<std::pair<Clock::time_point, Clock::time_point>> played;
    for (const WidthCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.bits) + " bits, " + std::to_string(c.channels) + " channels");
        std::unique_ptr<CAudioOut> out = NullSinkDevice();
        ASSERT_NE(out, nullptr);
        const auto from = Clock::now();
        ASSERT_TRUE(out->Open(kRate, c.channels, c.bits, 200, 0));
        WAVEFORMATEX format{};
        out->GetFormat(&format);
        EXPECT_EQ(format.nBlockAlign, c.channels * c.bits / 8);
        const std::vector<float> tone = Sine(kRate, c.channels, frames, 1000.0, 0.5f, c.toneChannel);
        EXPECT_EQ(WriteBlocks(*out, tone, c.channels, kRate), 0);
        out->Drain();
        EXPECT_EQ(out->GetPosition(), frames);
        out->Close();
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        played.emplace_back(from, Clock::now());
    }
    const std::vector<float> all = recorder.Stop();

    for (size_t i = 0; i < played.size(); ++i) {
        const WidthCase& c = cases[i];
        SCOPED_TRACE(std::to_string(c.bits) + " bits, " + std::to_string(c.channels) + " channels");
        const int64_t from = std::max<int64_t>(FrameAt(recorder, played[i].first), 0);
        const int64_t to = std::min<int64_t>(FrameAt(recorder, played[i].second), all.size() / 2);
        ASSERT_LT(from, to);
        const std::vector<float> heard(all.begin() + from * 2, all.begin() + to * 2);
        const int heardOn = c.left ? 0 : 1;
        const int64_t first = FirstLoudFrame(heard, 2, heardOn, 0.02f);
        const int64_t last = LastLoudFrame(heard, 2, heardOn, 0.02f);
        ASSERT_GE(first, 0);
        EXPECT_LE(last - first + 1, frames);
        EXPECT_GE(last - first + 1, frames - kStartLoss);
        EXPECT_NEAR(ToneFrequency(heard, 2, heardOn, first + 480, last - 480, kRate), 1000.0, 1.0);
        for (int channel = 0; channel < 2; ++channel) {
            const double rms = Rms(heard, 2, channel, first + 480, last - 480);
            if (channel == 0 ? c.left : c.right) {
                EXPECT_GT(rms, 0.1) << "channel " << channel;
            } else {
                EXPECT_LT(rms, 0.002) << "channel " << channel;
            }
        }
        // Mono and stereo arrive at full level.
        if (c.channels <= 2) {
            EXPECT_NEAR(Rms(heard, 2, heardOn, first + 480, last - 480), 0.5 / std::sqrt(2.0), 0.01);
        }
    }
}

TEST(PulseAudioOut, ASinkThatVanishesDuringPlayback_EndsTheWriteWithoutAHang) {
    TW_REQUIRE_SOUND_SERVER();
    const std::string module = Shell("pactl load-module module-null-sink sink_name=tw_vanish "
                                     "sink_properties=device.description=Vanishing");
    ASSERT_FALSE(module.empty());
    // Unloaded at the end whatever happens, so that the next test finds the server as it was.
    std::string loaded = module;
    struct Unload {
        std::string& id;
        ~Unload() {
            if (!id.empty())
                Shell("pactl unload-module " + id);
        }
    } unload{loaded};
    std::unique_ptr<CAudioOut> out;
    {
        CDSoundDeviceMgr manager;
        const int32_t id = FindOutput(manager, "PulseAudio: Vanishing");
        ASSERT_GE(id, 0);
        out.reset(manager.CreateOutput(id));
    }
    ASSERT_NE(out, nullptr);
    ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));
    auto writer = PlayUntilFailure(*out, 20.0);
    // A fresh null sink sleeps up to two seconds before it takes the first frames.
    const auto playing = Clock::now();
    while (out->GetPosition() < static_cast<int32_t>(kRate / 2) && Seconds(Clock::now() - playing) < 5)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_GE(out->GetPosition(), static_cast<int32_t>(kRate / 2));
    const auto gone = Clock::now();
    Shell("pactl unload-module " + module);
    loaded.clear();

    ASSERT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_LT(Seconds(Clock::now() - gone), 3.0);
    EXPECT_EQ(writer.get(), 1);
    const int32_t position = out->GetPosition();
    out->Drain();
    EXPECT_EQ(out->GetPosition(), position);
    out->Close();
    // The device opens no more on a sink that is gone.
    EXPECT_FALSE(out->Open(kRate, 2, 16, 1000, 0));
}

TEST(PulseAudioOut, AServerKilledDuringPlayback_EndsTheWriteWithoutAHang) {
    TW_REQUIRE_SOUND_SERVER();
    SpareSoundServer server;
    ASSERT_TRUE(server.Answers());
    std::unique_ptr<CAudioOut> out;
    {
        ServerSwitch to(server.Address());
        CDSoundDeviceMgr manager;
        ASSERT_EQ(manager.GetEntries().size(), 1u);
        EXPECT_EQ(manager.GetEntries()[0].sink, "spare_null");
        out.reset(manager.CreateOutput(0));
        ASSERT_NE(out, nullptr);
        ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));
    }
    auto writer = PlayUntilFailure(*out, 20.0);
    // A fresh null sink sleeps up to two seconds before it takes the first frames.
    const auto playing = Clock::now();
    while (out->GetPosition() < static_cast<int32_t>(kRate / 2) && Seconds(Clock::now() - playing) < 5)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_GE(out->GetPosition(), static_cast<int32_t>(kRate / 2));
    const auto killed = Clock::now();
    server.Kill();

    ASSERT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_LT(Seconds(Clock::now() - killed), 3.0);
    EXPECT_EQ(writer.get(), 1);
    const auto closing = Clock::now();
    out->Drain();
    out->Close();
    EXPECT_LT(Seconds(Clock::now() - closing), 1.0);
}
