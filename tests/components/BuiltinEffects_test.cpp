// Each built-in effect measured against an expectation worked out independently of its code: gains
// in decibels on sines, fade curves at their quarter points, an echo's delay by cross-correlation,
// steady-state compression, stretch ratios in frames, a shifted sine's frequency, the mean after DC
// removal; and the same effects over eight and odd numbers of channels.
#include "components/BuiltinModule.h"

#include <atomic>
#include <random>
#include <thread>

using namespace twtest;

namespace {

constexpr int kRate = 48000;

class BuiltinEffectsTest : public BuiltinModuleTest {};

// What the document reports as the selection's peak.
class FakeHost : public IHostInterface {
public:
    explicit FakeHost(float peak) : peak_(peak) {}
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == IID_IHostInterface;
        *out = known ? this : nullptr;
        return known ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override { return --refs_; }
    HRESULT GetTempoAtSelection(float* bpm) override { return E_NOTIMPL; }
    HRESULT GetSelectionPeak(float* peak) override { return ++asked_, *peak = peak_, S_OK; }
    int asked_ = 0;
    uint32_t refs_ = 1;

private:
    float peak_;
};

double Peak(const std::vector<float>& s, int64_t from, int64_t to) {
    double p = 0;
    for (int64_t i = from; i < to; ++i)
        p = std::max(p, std::fabs(static_cast<double>(s[i])));
    return p;
}

// Frequency of a mono signal from its rising zero crossings over [from, to), interpolated.
double ZeroCrossingFrequency(const std::vector<float>& s, int64_t from, int64_t to) {
    double first = -1, last = -1;
    int crossings = 0;
    for (int64_t i = from + 1; i < to; ++i)
        if (s[i - 1] < 0 && s[i] >= 0) {
            const double at = static_cast<double>(i - 1) + s[i - 1] / (s[i - 1] - s[i]);
            if (first < 0)
                first = at;
            last = at;
            ++crossings;
        }
    return crossings > 1 ? (crossings - 1) * kRate / (last - first) : 0.0;
}

TEST_F(BuiltinEffectsTest, AmplifyChangesASineByTheGainInDecibels_GlidingToANewGainWithinOneBlock) {
    const auto in = Sine(1000, 0.25, kRate, kRate / 2, 2);
    for (float db : {-12.0f, 6.0f, 0.0f}) {
        auto t = MakeTransform(CLSID_BuiltinAmplify, kRate, 2);
        SetParam(t.get(), 0, db);
        const auto out = Run(t.get(), in, 2);
        ASSERT_EQ(out.size(), in.size());
        for (int c = 0; c < 2; ++c)
            EXPECT_NEAR(Db(Rms(out, 2, c, 0, kRate / 2) / Rms(in, 2, c, 0, kRate / 2)), db, 0.01);
    }
    auto t = MakeTransform(CLSID_BuiltinAmplify, kRate, 1);
    const std::vector<float> ones(1000, 1.0f);
    Run(t.get(), ones, 1);
    SetParam(t.get(), 0, -6.0206f);
    const auto out = Run(t.get(), ones, 1, 1000);
    for (const auto& [at, level] : {std::pair(0, 1.0), std::pair(499, 0.75), std::pair(999, 0.5)})
        EXPECT_NEAR(out[at], level, 0.001) << at;
}

TEST_F(BuiltinEffectsTest, NormalizeBringsTheHostsPeakToTheTargetAndPassesWithoutOne) {
    const auto in = Sine(440, 0.25, kRate, 8192);
    FakeHost host(0.25f);
    auto t = MakeTransform(CLSID_BuiltinNormalize, kRate, 1);
    SetParam(t.get(), 0, -6.0f);
    ASSERT_EQ(t->SetHost(&host), S_OK);
    const auto out = Run(t.get(), in, 1);
    EXPECT_NEAR(Db(Peak(out, 0, 8192)), -6.0, 0.01);
    EXPECT_EQ(host.asked_, 1) << "the peak is asked once per pass, not once per block";
    t->SetHost(nullptr);
    EXPECT_EQ(host.refs_, 1u);

    auto alone = MakeTransform(CLSID_BuiltinNormalize, kRate, 1);
    EXPECT_EQ(Run(alone.get(), in, 1), in);
    FakeHost silent(0.0f);
    alone->SetHost(&silent);
    alone->Reset();
    EXPECT_EQ(Run(alone.get(), in, 1), in);
    alone->SetHost(nullptr);
}

TEST_F(BuiltinEffectsTest, FadeShapesMeetTheirCurvesAtTheQuarterPoints) {
    constexpr int64_t kLength = 4000;
    const std::vector<float> ones(kLength, 1.0f);
    // Linear and S-curve by their definitions (S-curve as sin squared); logarithmic and
    // exponential by where they lie against the line and by their end points.
    const double linear[] = {0.25, 0.5, 0.75};
    const double scurve[] = {std::pow(std::sin(M_PI / 8), 2), 0.5, std::pow(std::sin(3 * M_PI / 8), 2)};
    for (int shape = 0; shape < 4; ++shape) {
        auto in = MakeTransform(CLSID_BuiltinFadeIn, kRate, 1);
        auto out = MakeTransform(CLSID_BuiltinFadeOut, kRate, 1);
        for (auto* t : {in.get(), out.get()}) {
            SetParam(t, 0, static_cast<float>(shape));
            ASSERT_EQ(t->SetLength(kLength), S_OK);
            ASSERT_EQ(t->SetReadPosition(0), S_OK);
        }
        const auto up = Run(in.get(), ones, 1, 333); // odd blocks: the curve runs across them
        const auto down = Run(out.get(), ones, 1, 1024);
        EXPECT_NEAR(up[0], 0.0, 1e-6);
        EXPECT_NEAR(down[0], 1.0, 1e-6);
        for (int q = 1; q <= 3; ++q) {
            const double g = up[q * kLength / 4];
            if (shape == 0)
                EXPECT_NEAR(g, linear[q - 1], 1e-4);
            else if (shape == 3)
                EXPECT_NEAR(g, scurve[q - 1], 1e-4);
            else if (shape == 1)
                EXPECT_GT(g, linear[q - 1] + 0.1) << "logarithmic rises early";
            else
                EXPECT_LT(g, linear[q - 1] - 0.1) << "exponential rises late";
            // A fade out is the fade in played backwards.
            EXPECT_NEAR(down[kLength - q * kLength / 4], g, 1e-4);
        }
        for (int64_t i = 1; i < kLength; ++i)
            ASSERT_GE(up[i], up[i - 1]) << "shape " << shape << " at " << i;
        EXPECT_NEAR(up[kLength - 1], 1.0, 0.01);
        EXPECT_NEAR(down[kLength - 1], 0.0, 0.01);
    }
}

TEST_F(BuiltinEffectsTest, FadeFollowsTheReadPositionAndTheOfflinePosition) {
    constexpr int64_t kLength = 1000;
    auto whole = MakeTransform(CLSID_BuiltinFadeIn, kRate, 2);
    whole->SetLength(kLength);
    const std::vector<float> ones(2 * kLength, 1.0f);
    const auto reference = Run(whole.get(), ones, 2);

    // A reader that starts at frame 600 sees the same gains there.
    auto late = MakeTransform(CLSID_BuiltinFadeIn, kRate, 2);
    late->SetLength(kLength);
    late->SetReadPosition(600);
    const auto later = Run(late.get(), std::vector<float>(200, 1.0f), 2);
    for (int i = 0; i < 200; ++i)
        EXPECT_FLOAT_EQ(later[i], reference[1200 + i]);

    // Offline positions count bytes.
    auto offline = MakeTransform(CLSID_BuiltinFadeIn, kRate, 2);
    offline->SetLength(kLength);
    auto off = QueryAs<ITransformOffline>(offline.get(), IID_ITransformOffline);
    SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, 2);
    static_cast<float*>(in->pvData)[0] = 1.0f;
    static_cast<float*>(in->pvData)[1] = 1.0f;
    SAFEARRAY* out = nullptr;
    ASSERT_EQ(off->ProcessOffline(in, &out, 250 * 8, 8), S_OK);
    EXPECT_EQ(out, nullptr);
    EXPECT_FLOAT_EQ(static_cast<float*>(in->pvData)[1], reference[2 * 250 + 1]);
    SafeArrayDestroy(in);

    // Without a length there is nothing to fade over.
    auto unset = MakeTransform(CLSID_BuiltinFadeOut, kRate, 1);
    EXPECT_EQ(Run(unset.get(), std::vector<float>(100, 0.5f), 1), std::vector<float>(100, 0.5f));
}

TEST_F(BuiltinEffectsTest, EchoDelayIsFoundByCrossCorrelation) {
    constexpr int64_t kFrames = 24000;
    std::mt19937 noise(11);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    std::vector<float> in(kFrames);
    for (auto& s : in)
        s = uniform(noise);
    auto t = MakeTransform(CLSID_BuiltinEcho, kRate, 1);
    SetParam(t.get(), 0, 123.0f); // 5904 frames
    SetParam(t.get(), 1, 0.0f);
    SetParam(t.get(), 2, 50.0f);
    const auto out = Run(t.get(), in, 1, 1000);
    int64_t best = 0;
    double bestValue = 0;
    for (int64_t lag = 1; lag < 8000; ++lag) {
        double sum = 0;
        for (int64_t i = lag; i < kFrames; ++i)
            sum += static_cast<double>(out[i]) * in[i - lag];
        if (sum > bestValue) {
            bestValue = sum;
            best = lag;
        }
    }
    EXPECT_EQ(best, 5904);
    // Half dry, half delayed: before the echo arrives the input is halved exactly.
    EXPECT_FLOAT_EQ(out[100], 0.5f * in[100]);

    int64_t tail = 0;
    SetParam(t.get(), 1, 50.0f);
    ASSERT_EQ(t->GetTail(&tail), S_OK);
    EXPECT_GE(tail, 5904 * 10) << "0.5 per repeat needs ten repeats to fall by 60 dB";
}

TEST_F(BuiltinEffectsTest, EchoFeedbackRepeatsAnImpulseAtFallingLevels) {
    auto t = MakeTransform(CLSID_BuiltinEcho, kRate, 1);
    SetParam(t.get(), 0, 10.0f); // 480 frames
    SetParam(t.get(), 1, 50.0f);
    SetParam(t.get(), 2, 100.0f);
    std::vector<float> in(2000, 0.0f);
    in[0] = 1.0f;
    const auto out = Run(t.get(), in, 1, 256);
    EXPECT_EQ((std::vector<float>{out[0], out[480], out[960], out[1440]}),
              (std::vector<float>{0.0f, 1.0f, 0.5f, 0.25f}));
}

TEST_F(BuiltinEffectsTest, ReverbRingsOnAfterAnImpulseLongerForALargerRoom) {
    auto energyAfter = [&](float room, int64_t from, int64_t* tail) {
        auto t = MakeTransform(CLSID_BuiltinReverb, kRate, 2);
        SetParam(t.get(), 0, room);
        SetParam(t.get(), 2, 100.0f);
        std::vector<float> in(2 * kRate, 0.0f);
        in[0] = in[1] = 1.0f;
        const auto out = Run(t.get(), in, 2);
        t->GetTail(tail);
        double e = 0;
        for (int64_t i = 2 * from; i < static_cast<int64_t>(out.size()); ++i)
            e += static_cast<double>(out[i]) * out[i];
        return e;
    };
    int64_t smallTail = 0, largeTail = 0;
    const double small = energyAfter(20.0f, kRate / 2, &smallTail);
    const double large = energyAfter(90.0f, kRate / 2, &largeTail);
    EXPECT_GT(small, 0.0);
    EXPECT_GT(large, 10 * small);
    EXPECT_GT(largeTail, smallTail);
    EXPECT_GT(largeTail, kRate); // a large room rings for more than a second

    // With the mix at zero the dry signal passes untouched.
    auto dry = MakeTransform(CLSID_BuiltinReverb, kRate, 1);
    SetParam(dry.get(), 2, 0.0f);
    const auto in = Sine(300, 0.5, kRate, 4096);
    EXPECT_EQ(Run(dry.get(), in, 1), in);
}

TEST_F(BuiltinEffectsTest, EqualizerBandGainIsMetAtItsCentreAndNotFarAway) {
    auto gainAt = [&](double freq, float bandGain, float q) {
        auto t = MakeTransform(CLSID_BuiltinEqualizer, kRate, 1);
        SetParam(t.get(), 6, 1000.0f);
        SetParam(t.get(), 7, bandGain);
        SetParam(t.get(), 8, q);
        const auto in = Sine(freq, 0.25, kRate, kRate);
        const auto out = Run(t.get(), in, 1);
        // Skip the first tenth while the filter settles.
        return Db(Rms(out, 1, 0, kRate / 10, kRate) / Rms(in, 1, 0, kRate / 10, kRate));
    };
    EXPECT_NEAR(gainAt(1000, 6.0f, 1.0f), 6.0, 0.05);
    EXPECT_NEAR(gainAt(1000, -12.0f, 2.0f), -12.0, 0.05);
    EXPECT_NEAR(gainAt(20, 6.0f, 4.0f), 0.0, 0.1);
    EXPECT_NEAR(gainAt(15000, 6.0f, 4.0f), 0.0, 0.1);
    // Half an octave off a Q of 1, the boost is partial.
    const double side = gainAt(1414, 6.0f, 1.0f);
    EXPECT_GT(side, 1.0);
    EXPECT_LT(side, 5.5);

    // All bands flat: the samples pass bit for bit.
    auto flat = MakeTransform(CLSID_BuiltinEqualizer, kRate, 2);
    const auto in = Sine(700, 0.3, kRate, 5000, 2);
    EXPECT_EQ(Run(flat.get(), in, 2), in);
}

TEST_F(BuiltinEffectsTest, CompressorSettlesOnTheRatioAboveThresholdAndLeavesQuietMaterial) {
    auto outputPeakDb = [&](double amplitude, float makeup) {
        auto t = MakeTransform(CLSID_BuiltinCompressor, kRate, 2);
        SetParam(t.get(), 0, -20.0f);
        SetParam(t.get(), 1, 4.0f);
        SetParam(t.get(), 2, 5.0f);
        SetParam(t.get(), 3, 200.0f);
        SetParam(t.get(), 4, makeup);
        const auto in = Sine(1000, amplitude, kRate, kRate, 2);
        const auto out = Run(t.get(), in, 2);
        return Db(Peak(out, 2 * (kRate - kRate / 5), 2 * kRate));
    };
    // -6 dB in, 14 dB over a -20 dB threshold at 4:1: 3.5 dB over it comes out.
    EXPECT_NEAR(outputPeakDb(0.5, 0.0f), -16.5, 0.3);
    EXPECT_NEAR(outputPeakDb(0.5, 6.0f), -10.5, 0.3);
    // -26 dB is under the threshold: only the make-up gain applies.
    EXPECT_NEAR(outputPeakDb(0.05, 0.0f), Db(0.05), 0.05);
    EXPECT_NEAR(outputPeakDb(0.05, 3.0f), Db(0.05) + 3.0, 0.05);
}

TEST_F(BuiltinEffectsTest, TimeStretchMakesTheStatedNumberOfFrames) {
    const int64_t frames = 5 * kRate;
    const auto in = Sine(440, 0.4, kRate, frames, 2);
    for (float percent : {150.0f, 50.0f}) {
        auto t = MakeTransform(CLSID_BuiltinTimeStretch, kRate, 2);
        SetParam(t.get(), 0, percent);
        double ratio = 0;
        ASSERT_EQ(t->GetTimeRatio(&ratio), S_OK);
        EXPECT_DOUBLE_EQ(ratio, percent / 100.0);
        ASSERT_EQ(t->SetLength(frames), S_OK);
        const auto out = Run(t.get(), in, 2);
        ASSERT_EQ(out.size() % 2, 0u);
        const double made = static_cast<double>(out.size() / 2);
        EXPECT_NEAR(made / frames, ratio, 0.005 * ratio) << percent;
        // The material keeps its pitch while its length changes.
        std::vector<float> left(out.size() / 2);
        for (size_t i = 0; i < left.size(); ++i)
            left[i] = out[2 * i];
        EXPECT_NEAR(ZeroCrossingFrequency(left, left.size() / 4, left.size() * 3 / 4), 440.0, 440 * 0.02);
    }
    // Without a covered length nothing is flushed: the output falls short by what the tail owes.
    auto open = MakeTransform(CLSID_BuiltinTimeStretch, kRate, 2);
    SetParam(open.get(), 0, 200.0f);
    const auto out = Run(open.get(), in, 2);
    int64_t tail = 0;
    open->GetTail(&tail);
    EXPECT_GT(tail, 0);
    EXPECT_NEAR(static_cast<double>(out.size() / 2 + tail), 2.0 * frames, 1.0);
}

TEST_F(BuiltinEffectsTest, PitchShiftMovesASinesFrequencyAndKeepsTheLength) {
    for (float semitones : {12.0f, -5.0f}) {
        auto t = MakeTransform(CLSID_BuiltinPitchShift, kRate, 1);
        SetParam(t.get(), 0, semitones);
        double ratio = 0;
        t->GetTimeRatio(&ratio);
        EXPECT_EQ(ratio, 1.0);
        const int64_t frames = 3 * kRate;
        t->SetLength(frames);
        const auto out = Run(t.get(), Sine(440, 0.4, kRate, frames), 1);
        EXPECT_NEAR(static_cast<double>(out.size()) / frames, 1.0, 0.005);
        const double expected = 440.0 * std::pow(2.0, semitones / 12.0);
        EXPECT_NEAR(ZeroCrossingFrequency(out, out.size() / 4, out.size() * 3 / 4), expected,
                    expected * 0.02);
    }
}

TEST_F(BuiltinEffectsTest, DcOffsetRemovalLeavesANearZeroMeanAndTheSignal) {
    const int64_t frames = 2 * kRate;
    auto in = Sine(100, 0.3, kRate, frames, 3);
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < 3; ++c)
            in[f * 3 + c] += 0.25f - 0.2f * c; // a different offset per channel
    auto t = MakeTransform(CLSID_BuiltinDcOffset, kRate, 3);
    const auto out = Run(t.get(), in, 3);
    for (int c = 0; c < 3; ++c) {
        double mean = 0;
        for (int64_t f = kRate; f < frames; ++f)
            mean += out[f * 3 + c];
        mean /= static_cast<double>(frames - kRate);
        EXPECT_NEAR(mean, 0.0, 1e-3) << c;
        EXPECT_NEAR(Rms(out, 3, c, kRate, frames), 0.3 / std::sqrt(2.0), 0.003) << c;
    }
    // Primed on the first sample: no step at the start of a section that begins on an offset.
    EXPECT_NEAR(out[0], 0.0, 1e-6);
}

const CLSID kAll[] = {CLSID_BuiltinAmplify,    CLSID_BuiltinNormalize,  CLSID_BuiltinFadeIn,
                      CLSID_BuiltinFadeOut,    CLSID_BuiltinEcho,       CLSID_BuiltinReverb,
                      CLSID_BuiltinEqualizer,  CLSID_BuiltinCompressor, CLSID_BuiltinTimeStretch,
                      CLSID_BuiltinPitchShift, CLSID_BuiltinDcOffset,   CLSID_BuiltinDenoiser};

// Eight and odd channel counts with a neutral first value, sound on the last channel only; mono at
// telephone and studio rates with the default settings.
TEST_F(BuiltinEffectsTest, EveryEffectRunsOverEightAndOddChannelCountsAndAtExtremeRates) {
    for (const auto& [rate, channels] : {std::pair(44100, 8), std::pair(44100, 7), std::pair(44100, 5),
                                         std::pair(44100, 3), std::pair(8000, 1), std::pair(192000, 1)}) {
        for (const CLSID& id : kAll) {
            auto t = MakeTransform(id, rate, static_cast<int16_t>(channels));
            ASSERT_TRUE(t);
            const int64_t length = channels > 1 ? 20000 : rate;
            t->SetLength(length);
            if (channels > 1)
                SetParam(t.get(), 0, 0.0f);
            std::vector<float> in(static_cast<size_t>(length * channels), 0.0f);
            const auto tone = Sine(channels > 1 ? 500 : rate / 20.0, 0.5, rate, length);
            for (int64_t f = 0; f < length; ++f)
                in[f * channels + channels - 1] = tone[f];
            const auto out = Run(t.get(), in, channels, 1500);
            ASSERT_EQ(out.size() % channels, 0u);
            ASSERT_GT(out.size(), in.size() / 8);
            const int64_t frames = static_cast<int64_t>(out.size()) / channels;
            for (int c = 0; c < channels; ++c) {
                for (int64_t f = 0; f < frames; ++f)
                    ASSERT_TRUE(std::isfinite(out[f * channels + c]));
                const double level = Rms(out, channels, c, 0, frames);
                if (c == channels - 1)
                    EXPECT_GT(level, channels > 1 ? 0.01 : 0.0) << channels << " channels at " << rate;
                else
                    EXPECT_LT(level, 1e-6) << "crosstalk into channel " << c << " of " << channels;
            }
        }
    }
}

// The dialog moves parameters on its own thread while the play thread processes: every block
// must still come out whole and finite (run under the thread sanitizer build to check the races).
TEST_F(BuiltinEffectsTest, ParametersMayMoveWhileAnotherThreadProcesses) {
    for (const CLSID& id : {CLSID_BuiltinEcho, CLSID_BuiltinEqualizer, CLSID_BuiltinTimeStretch}) {
        auto t = MakeTransform(id, kRate, 2);
        auto params = QueryAs<ITransformParams>(t.get(), IID_ITransformParams);
        int32_t count = 0;
        params->GetCount(&count);
        std::atomic<bool> done{false};
        std::thread dialog([&] {
            for (int turn = 0; !done.load(); ++turn) {
                const int32_t index = turn % count;
                float low = 0, high = 0;
                params->GetRange(index, &low, &high);
                params->SetValue(index, low + (high - low) * static_cast<float>(turn % 7) / 6.0f);
            }
        });
        const auto in = Sine(330, 0.5, kRate, kRate / 2, 2);
        const auto out = Run(t.get(), in, 2, 512);
        done = true;
        dialog.join();
        EXPECT_EQ(out.size() % 2, 0u);
        for (float v : out)
            ASSERT_TRUE(std::isfinite(v));
    }
}

} // namespace
