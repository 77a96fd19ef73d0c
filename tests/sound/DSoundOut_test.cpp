// The PulseAudio back end against a real server: the private test server's null sink is listed,
// what is played there is heard on its monitor at the right pitch, level and length, the position
// follows the sink's clock, and a sink or server that goes away ends playback without a hang.
#include "MMETestSupport.h"
#include "SpareSoundServer.h"

#include "audio/DSoundDeviceMgr.h"
#include "audio/DSoundOut.h"

#include <future>
#include <memory>
#include <optional>

using namespace tw;
using namespace tw::test;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint32_t kRate = 48000;
const double kHalfScaleRms = 0.5 / std::sqrt(2.0);
// A sound that starts on a running sink is mixed in by rewinding what the sink had rendered ahead,
// and the monitor has already passed those frames on: it loses a few milliseconds of the start
// of every sound (of any player's). Lengths heard are allowed that much short, and no more.
constexpr int64_t kStartLoss = kRate / 100;

// Runs a shell command; its standard output, trimmed.
std::string Shell(const std::string& command) {
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        for (char buffer[256]; fgets(buffer, sizeof buffer, pipe) != nullptr;)
            out += buffer;
        pclose(pipe);
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == ' '))
        out.pop_back();
    return out;
}

// The global number of the output named `name`, or -1.
int32_t FindOutput(CAudioDeviceMgr& manager, const std::string& name) {
    std::vector<std::string> names;
    manager.GetOutputNames(names);
    const auto it = std::find(names.begin(), names.end(), name);
    return it == names.end() ? -1 : static_cast<int32_t>(it - names.begin());
}

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// Polls `done` every 5 ms for up to `seconds`.
void WaitUntil(const std::function<bool()>& done, double seconds) {
    for (const auto start = Clock::now(); !done() && Seconds(Clock::now() - start) < seconds;)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

// The first and last frame of a tone of `frames` heard on `channel` (of two): nothing is missing but
// the start loss, and nothing is added.
std::pair<int64_t, int64_t> HeardSpan(const std::vector<float>& heard, int channel, int64_t frames,
                                      float threshold = 0.05f) {
    const int64_t first = FirstLoudFrame(heard, 2, channel, threshold);
    const int64_t last = LastLoudFrame(heard, 2, channel, threshold);
    EXPECT_LE(last - first + 1, frames);
    EXPECT_GE(last - first + 1, frames - kStartLoss);
    return {first, last};
}

// Whether the last `count` frames heard on `channel` up to `last` are the last frames of `sent`
// (stereo) above the threshold: the tail arrived whole.
bool TailMatches(const std::vector<float>& heard, int64_t last, const std::vector<float>& sent, int channel,
                 int64_t count) {
    const int64_t sentLast = LastLoudFrame(sent, 2, channel, 0.05f);
    for (int64_t i = 0; i < count; ++i)
        if (std::fabs(heard[size_t((last - i) * 2 + channel)] - sent[size_t((sentLast - i) * 2 + channel)]) >
            0.002f)
            return false;
    return true;
}

// Samples the device's position every millisecond on a thread of its own.
class PositionWatch {
public:
    struct Sample {
        Clock::time_point time;
        int32_t position;
    };
    explicit PositionWatch(CAudioOut& out)
        : m_thread([this, &out] {
              for (; m_run; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
                  m_samples.push_back({Clock::now(), out.GetPosition()});
          }) {}
    ~PositionWatch() { Stop(); }
    const std::vector<Sample>& Stop() {
        m_run = false;
        if (m_thread.joinable())
            m_thread.join();
        return m_samples;
    }

private:
    std::atomic<bool> m_run{true};
    std::vector<Sample> m_samples;
    std::thread m_thread;
};

class PulseAudioOut : public ::testing::Test {
protected:
    void SetUp() override {
        TW_REQUIRE_SOUND_SERVER();
        CDSoundDeviceMgr manager;
        const int32_t id = FindOutput(manager, "PulseAudio: Null_Output");
        out.reset(id >= 0 ? manager.CreateOutput(id) : nullptr);
        ASSERT_NE(out, nullptr);
        ASSERT_TRUE(recorder.Start());
    }
    // Closes the device and gives what the monitor heard.
    std::vector<float> Heard() {
        out->Close();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return recorder.Stop();
    }

    std::unique_ptr<CAudioOut> out; // on the test server's null sink, closed
    MonitorRecorder recorder{kRate, 2};
};

} // namespace

TEST_F(PulseAudioOut, TheManager_ListsTheNullSink_AsAnOutputWithoutMixerOrInputs) {
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
    EXPECT_EQ(static_cast<CDSoundOut*>(out.get())->GetSink(), "tw_null");
}

TEST_F(PulseAudioOut, AToneOfTwoSeconds_IsHeardAtItsPitchLevelAndLength_AndThePositionFollowsTheClock) {
    ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));
    const int64_t frames = 2 * kRate;
    const std::vector<float> tone = Sine(kRate, 2, frames, 1000.0, 0.5f);
    PositionWatch watch(*out);
    EXPECT_EQ(WriteBlocks(*out, tone, 2), 0);
    out->Drain();
    const std::vector<PositionWatch::Sample> positions = watch.Stop();
    EXPECT_EQ(out->GetPosition(), frames);
    EXPECT_EQ(out->GetBytesWritten(), static_cast<int32_t>((frames + kRate) * 8)); // with a second of silence
    // The position never runs backward (the ring's wraps alone are the audio tests' business).
    for (size_t i = 1; i < positions.size(); ++i)
        ASSERT_GE(positions[i].position, positions[i - 1].position) << "sample " << i;
    const std::vector<float> heard = Heard();
    const auto [first, last] = HeardSpan(heard, 0, frames);
    ASSERT_GE(first, 0);
    EXPECT_TRUE(TailMatches(heard, last, tone, 0, kRate / 10));
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(ToneFrequency(heard, 2, channel, first + 2400, last - 2400, kRate), 1000.0, 0.5);
        EXPECT_NEAR(Rms(heard, 2, channel, first + 2400, last - 2400), kHalfScaleRms, 0.005);
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
    EXPECT_NEAR(startsAt, static_cast<double>(first) / kRate, 0.03)
        << "position starts at " << startsAt << " s";
}

TEST_F(PulseAudioOut, ASoundShorterThanTheRing_PlaysThroughDrain_AndThePositionStopsAtItsLastFrame) {
    ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));
    const int64_t frames = kRate / 5;
    const std::vector<float> tone = Sine(kRate, 2, frames, 500.0, 0.5f);
    EXPECT_EQ(WriteBlocks(*out, tone, 2), 0);
    EXPECT_EQ(out->GetPosition(), 0); // not started: shorter than the ring
    PositionWatch watch(*out);
    out->Drain();
    for (const auto& s : watch.Stop())
        ASSERT_LE(s.position, frames);
    EXPECT_EQ(out->GetPosition(), frames);
    const std::vector<float> heard = Heard();
    const auto [first, last] = HeardSpan(heard, 1, frames);
    ASSERT_GE(first, 0);
    EXPECT_TRUE(TailMatches(heard, last, tone, 1, kRate / 10));
    EXPECT_NEAR(ToneFrequency(heard, 2, 1, first, last, kRate), 500.0, 1.0);
}

TEST_F(PulseAudioOut, Pause_GivesSilenceAndHoldsThePosition_AndResumePlaysOn) {
    ASSERT_TRUE(out->Open(kRate, 2, 16, 500, 0));
    const std::vector<float> tone = Sine(kRate, 2, 3 * kRate, 700.0, 0.5f);
    auto writer = std::async(std::launch::async, [&] { return WriteBlocks(*out, tone, 2); });
    WaitUntil([&] { return out->GetPosition() >= static_cast<int32_t>(kRate); }, 5);
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
    const std::vector<float> heard = Heard();

    // What the server held ahead of the cursor still sounds for a moment after the pause.
    const int64_t silentFrom = recorder.FrameAt(pausedAt + std::chrono::milliseconds(250));
    const int64_t silentTo = recorder.FrameAt(resumedAt);
    ASSERT_GT(silentTo - silentFrom, kRate / 4);
    EXPECT_LT(Rms(heard, 2, 0, silentFrom, silentTo), 0.001);
    for (const int64_t at : {recorder.FrameAt(pausedAt - std::chrono::milliseconds(300)),
                             recorder.FrameAt(resumedAt + std::chrono::milliseconds(300))})
        EXPECT_NEAR(Rms(heard, 2, 0, at, at + kRate / 10), kHalfScaleRms, 0.01);
}

TEST_F(PulseAudioOut, StopDuringAWrite_EndsItSoon_AndTheSinkFallsSilent) {
    // A long ring: the wait's time-out alone would keep the writer for three seconds.
    ASSERT_TRUE(out->Open(kRate, 2, 16, 3000, 0));
    const std::vector<float> tone = Sine(kRate, 2, 10 * kRate, 600.0, 0.5f);
    auto writer =
        std::async(std::launch::async, [&] { return WriteBlocks(*out, tone, 2, nullptr, 10 * kRate); });
    WaitUntil([&] { return out->GetPosition() >= static_cast<int32_t>(kRate / 2); }, 10);
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
    const std::vector<float> heard = Heard();
    const int64_t quietFrom = recorder.FrameAt(stoppedAt + std::chrono::milliseconds(250));
    EXPECT_LT(Rms(heard, 2, 0, quietFrom, quietFrom + kRate / 4), 0.001);
}

TEST_F(PulseAudioOut, EveryWidthAndEightChannels_AreHeardOnTheStereoSinkWhereTheirSpeakersAre) {
    const struct {
        int32_t bits, channels;
        int32_t toneChannel; // -1: every channel
        bool left, right;    // where the stereo sink hears it
    } cases[] = {
        {8, 1, -1, true, true},  {16, 2, -1, true, true}, {24, 2, 0, true, false},
        {32, 2, 1, false, true}, {16, 8, 0, true, false}, {24, 8, 1, false, true},
    };
    // One recording for all: each case is found again by the time it played.
    const int64_t frames = kRate * 3 / 10;
    std::vector<std::pair<Clock::time_point, Clock::time_point>> played;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.bits) + " bits, " + std::to_string(c.channels) + " channels");
        const auto from = Clock::now();
        ASSERT_TRUE(out->Open(kRate, c.channels, c.bits, 200, 0));
        WAVEFORMATEX format{};
        out->GetFormat(&format);
        EXPECT_EQ(format.nBlockAlign, c.channels * c.bits / 8);
        EXPECT_EQ(WriteBlocks(*out, Sine(kRate, c.channels, frames, 1000.0, 0.5f, c.toneChannel), c.channels),
                  0);
        out->Drain();
        EXPECT_EQ(out->GetPosition(), frames);
        out->Close();
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        played.emplace_back(from, Clock::now());
    }
    const std::vector<float> all = recorder.Stop();

    for (size_t i = 0; i < played.size(); ++i) {
        const auto& c = cases[i];
        SCOPED_TRACE(std::to_string(c.bits) + " bits, " + std::to_string(c.channels) + " channels");
        const int64_t from = std::max<int64_t>(recorder.FrameAt(played[i].first), 0);
        const int64_t to = std::min<int64_t>(recorder.FrameAt(played[i].second), all.size() / 2);
        ASSERT_LT(from, to);
        const std::vector<float> heard(all.begin() + from * 2, all.begin() + to * 2);
        const int heardOn = c.left ? 0 : 1;
        const auto [first, last] = HeardSpan(heard, heardOn, frames, 0.02f);
        ASSERT_GE(first, 0);
        EXPECT_NEAR(ToneFrequency(heard, 2, heardOn, first + 480, last - 480, kRate), 1000.0, 1.0);
        for (int channel = 0; channel < 2; ++channel) {
            const double rms = Rms(heard, 2, channel, first + 480, last - 480);
            if (channel == 0 ? c.left : c.right)
                EXPECT_GT(rms, 0.1) << "channel " << channel;
            else
                EXPECT_LT(rms, 0.002) << "channel " << channel;
            // Mono and stereo arrive at full level.
            if (c.channels <= 2 && channel == heardOn) {
                EXPECT_NEAR(rms, kHalfScaleRms, 0.01);
            }
        }
    }
}

TEST_F(PulseAudioOut, ASinkOrServerThatGoesDuringPlayback_EndsTheWriteWithoutAHang) {
    recorder.Stop();
    for (const bool killed : {false, true}) {
        SCOPED_TRACE(killed ? "the server killed" : "the sink unloaded");
        // Unloaded at the end whatever happens, so that the next test finds the server as it was.
        std::string module = killed ? ""
                                    : Shell("pactl load-module module-null-sink sink_name=tw_vanish "
                                            "sink_properties=device.description=Vanishing");
        ASSERT_TRUE(killed || !module.empty());
        struct Unload {
            std::string& id;
            ~Unload() {
                if (!id.empty())
                    Shell("pactl unload-module " + id);
            }
        } unload{module};
        std::optional<SpareSoundServer> server;
        {
            std::optional<ServerSwitch> to;
            if (killed) {
                server.emplace();
                ASSERT_TRUE(server->Answers());
                to.emplace(server->Address());
            }
            CDSoundDeviceMgr manager;
            if (killed) {
                ASSERT_EQ(manager.GetEntries().size(), 1u);
                EXPECT_EQ(manager.GetEntries()[0].sink, "spare_null");
            }
            const int32_t id = killed ? 0 : FindOutput(manager, "PulseAudio: Vanishing");
            ASSERT_GE(id, 0);
            out.reset(manager.CreateOutput(id));
            ASSERT_NE(out, nullptr);
            ASSERT_TRUE(out->Open(kRate, 2, 16, 1000, 0));
        }
        // Plays until Write fails or twenty seconds have passed; the failing result, or 0.
        auto writer = std::async(std::launch::async, [this] {
            const std::vector<float> tone = Sine(kRate, 2, 20 * kRate, 440.0, 0.3f);
            return WriteBlocks(*out, tone, 2);
        });
        // A fresh null sink sleeps up to two seconds before it takes the first frames.
        WaitUntil([&] { return out->GetPosition() >= static_cast<int32_t>(kRate / 2); }, 5);
        ASSERT_GE(out->GetPosition(), static_cast<int32_t>(kRate / 2));
        const auto gone = Clock::now();
        if (killed)
            server->Kill();
        else
            Shell("pactl unload-module " + std::exchange(module, ""));
        ASSERT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        EXPECT_LT(Seconds(Clock::now() - gone), 3.0);
        EXPECT_EQ(writer.get(), 1);
        const int32_t position = out->GetPosition();
        const auto closing = Clock::now();
        out->Drain();
        if (!killed) {
            EXPECT_EQ(out->GetPosition(), position);
        }
        out->Close();
        EXPECT_LT(Seconds(Clock::now() - closing), 1.0);
        // The device opens no more on a sink that is gone.
        if (!killed) {
            EXPECT_FALSE(out->Open(kRate, 2, 16, 1000, 0));
        }
    }
}
