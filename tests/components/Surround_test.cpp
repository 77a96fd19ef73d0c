// The channel mappers of the surround module through their ABI: the down-mix's levels and headroom,
// the virtualisers' ears and room, the up-mix matrix, block joins, and what both refuse.
#include "components/BuiltinModule.h"

#include <tidework/surround.h>

#include <algorithm>
#include <random>
#include <tuple>

using namespace twtest;

namespace {

constexpr int kRate = 48000;
constexpr double kMinus3dB = 0.70710678;

class SurroundTest : public ModuleTest {
protected:
    SurroundTest() : ModuleTest("libsurround.so") {}
    ComRef<ISurroundRenderer> Make(const CLSID& clsid) {
        return ModuleTest::Make<ISurroundRenderer>(clsid, IID_ISurroundRenderer);
    }

    // A renderer configured for `in` to `out` channels with the devices' masks, in `mode`.
    ComRef<ISurroundRenderer> Renderer(int in, int out, int32_t mode = kSurroundStandard) {
        auto r = UpMix(in, out, CLSID_SurroundRenderer);
        auto modes = QueryAs<ISurroundMode>(r.get(), IID_ISurroundMode);
        EXPECT_TRUE(modes && modes->SetMode(mode) == S_OK) << "mode " << mode;
        return r;
    }
    ComRef<ISurroundRenderer> UpMix(int in, int out, const CLSID& clsid = CLSID_UpMix) {
        auto m = Make(clsid);
        EXPECT_TRUE(m && m->Initialise(kRate, kRate, in, out, Mask(in), Mask(out)) == S_OK)
            << in << " to " << out;
        return m;
    }

    static uint32_t Mask(int channels) {
        const uint32_t masks[] = {0, kSpeakersMono, kSpeakersStereo, 0, 0, 0, kSpeakers51, 0, kSpeakers71};
        return channels >= 0 && channels <= 8 ? masks[channels] : 0;
    }

    static std::vector<float> Block(ISurroundRenderer* m, const float* samples, size_t count) {
        SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(count));
        std::copy(samples, samples + count, static_cast<float*>(in->pvData));
        SAFEARRAY* out = nullptr;
        EXPECT_EQ(m->Process(in, &out), S_OK);
        SafeArrayDestroy(in);
        return Take(out);
    }
    static std::vector<float> Take(SAFEARRAY* out) {
        if (out == nullptr)
            return {};
        const auto* data = static_cast<const float*>(out->pvData);
        std::vector<float> v(data, data + out->rgsabound[0].cElements);
        SafeArrayDestroy(out);
        return v;
    }
    // `samples` through the mapper in blocks of the given frame counts, repeated to the end.
    static std::vector<float> Run(ISurroundRenderer* m, const std::vector<float>& samples, int channels,
                                  std::vector<size_t> blocks = {4096}) {
        std::vector<float> all;
        size_t at = 0;
        for (size_t i = 0; at < samples.size(); ++i) {
            const size_t n = std::min(blocks[i % blocks.size()] * channels, samples.size() - at);
            auto piece = Block(m, samples.data() + at, n);
            all.insert(all.end(), piece.begin(), piece.end());
            at += n;
        }
        return all;
    }
    static std::vector<float> Flush(ISurroundRenderer* m) {
        SAFEARRAY* out = nullptr;
        EXPECT_EQ(m->Flush(&out), S_OK);
        return Take(out);
    }
};

// `frames` frames with a constant `level` on channel `channel` only.
std::vector<float> OnChannel(int channels, int channel, int64_t frames, float level = 0.5f) {
    std::vector<float> s(static_cast<size_t>(frames * channels), 0.0f);
    for (int64_t f = 0; f < frames; ++f)
        s[f * channels + channel] = level;
    return s;
}

std::vector<float> Noise(int channels, int64_t frames, float amplitude, unsigned start) {
    std::mt19937 gen(start);
    std::uniform_real_distribution<float> d(-amplitude, amplitude);
    std::vector<float> s(static_cast<size_t>(frames * channels));
    for (float& v : s)
        v = d(gen);
    return s;
}

float Peak(const std::vector<float>& s) {
    float peak = 0;
    for (float v : s)
        peak = std::max(peak, std::fabs(v));
    return peak;
}

// First frame of `channel` whose magnitude exceeds `threshold`.
int64_t Onset(const std::vector<float>& s, int channels, int channel, float threshold) {
    for (size_t f = 0; f * channels < s.size(); ++f)
        if (std::fabs(s[f * channels + channel]) > threshold)
            return static_cast<int64_t>(f);
    return -1;
}

double Energy(const std::vector<float>& s, int channels, int channel, size_t from = 0) {
    double e = 0;
    for (size_t f = from; f * channels < s.size(); ++f)
        e += static_cast<double>(s[f * channels + channel]) * s[f * channels + channel];
    return e;
}

struct DownMixCase {
    int in, out;
    // Level of each input speaker alone on each output, relative to the front left on its side
    // (the centre for a mono output).
    std::vector<std::vector<double>> relative;
    double referenceGain; // absolute gain of the reference speaker
};

TEST_F(SurroundTest, DownMixGivesEverySpeakerItsStandardLevelWithHeadroomForAllChannels) {
    const double g51 = 1.0 / (1.0 + 2 * kMinus3dB), g71 = 1.0 / (1.0 + 3 * kMinus3dB);
    const DownMixCase cases[] = {
        // FL FR FC LFE BL BR
        {6, 2, {{1, 0}, {0, 1}, {kMinus3dB, kMinus3dB}, {0, 0}, {kMinus3dB, 0}, {0, kMinus3dB}}, g51},
        // FL FR FC LFE BL BR SL SR
        {8,
         2,
         {{1, 0},
          {0, 1},
          {kMinus3dB, kMinus3dB},
          {0, 0},
          {kMinus3dB, 0},
          {0, kMinus3dB},
          {kMinus3dB, 0},
          {0, kMinus3dB}},
         g71},
        // Mono by way of stereo: the centre whole, the fronts at -3 dB, the surrounds at -6 dB.
        {6, 1, {{kMinus3dB}, {kMinus3dB}, {1}, {0}, {0.5}, {0.5}}, 1.0 / (1.0 + 2 * kMinus3dB + 1.0)},
    };
    for (const DownMixCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.in) + " to " + std::to_string(c.out));
        auto r = Renderer(c.in, c.out);
        ASSERT_TRUE(r);
        for (int s = 0; s < c.in; ++s) {
            auto out = Run(r.get(), OnChannel(c.in, s, 64), c.in);
            ASSERT_EQ(out.size(), 64u * c.out);
            for (int o = 0; o < c.out; ++o)
                EXPECT_NEAR(out[32 * c.out + o] / 0.5, c.relative[s][o] * c.referenceGain, 1e-5)
                    << "speaker " << s << " on output " << o;
        }
        // Full scale in phase on every channel is the worst case of a fixed mix: it reaches full
        // scale and no further.
        std::vector<float> full(64 * c.in, 1.0f);
        EXPECT_NEAR(Peak(Run(r.get(), full, c.in)), 1.0f, 1e-5);
    }
}

TEST_F(SurroundTest, NoModeClipsFullScaleOnEveryChannel) {
    for (int mode : {kSurroundStandard, kSurroundHeadphone, kSurroundRoom})
        for (int in : {6, 8}) {
            SCOPED_TRACE("mode " + std::to_string(mode) + ", " + std::to_string(in) + " channels");
            auto r = Renderer(in, 2, mode);
            ASSERT_TRUE(r);
            const int64_t frames = kRate / 2;
            std::vector<std::vector<float>> signals;
            signals.push_back(std::vector<float>(frames * in, 1.0f));
            signals.push_back(Noise(in, frames, 1.0f, 7));
            std::mt19937 gen(11);
            std::uniform_real_distribution<double> phase(0, 2 * M_PI);
            for (double freq : {50.0, 440.0, 1000.0, 3000.0, 7000.0, 12000.0}) {
                std::vector<float> tone(frames * in);
                for (int ch = 0; ch < in; ++ch) {
                    const double p = phase(gen);
                    for (int64_t f = 0; f < frames; ++f)
                        tone[f * in + ch] = static_cast<float>(std::sin(2 * M_PI * freq * f / kRate + p));
                }
                signals.push_back(std::move(tone));
            }
            for (const auto& s : signals) {
                r->Reset();
                auto out = Run(r.get(), s, in);
                auto tail = Flush(r.get());
                out.insert(out.end(), tail.begin(), tail.end());
                EXPECT_LE(Peak(out), 1.0f);
                EXPECT_GT(Peak(out), 0.1f); // quiet is not how it avoids clipping
            }
        }
}

TEST_F(SurroundTest, VirtualisersPassOrdinaryLevelsLinearlyAndAtTheDownMixLoudness) {
    // Noise dulled like programme material, whose energy lies mostly below a kilohertz.
    auto quiet = Noise(6, 24000, 0.3f, 9);
    std::vector<float> state(6, 0.0f);
    for (size_t i = 0; i < quiet.size(); ++i)
        quiet[i] = state[i % 6] += 0.15f * (quiet[i] - state[i % 6]);
    std::vector<float> louder(quiet);
    for (float& v : louder)
        v *= 2.0f;
    auto standard = Renderer(6, 2);
    const auto reference = Run(standard.get(), quiet, 6);
    for (int32_t mode : {kSurroundHeadphone, kSurroundRoom}) {
        SCOPED_TRACE("mode " + std::to_string(mode));
        auto r = Renderer(6, 2, mode);
        const auto a = Run(r.get(), quiet, 6);
        r->Reset();
        const auto b = Run(r.get(), louder, 6);
        // Below full scale the limiter never acts: twice the input is exactly twice the output.
        for (size_t i = 0; i < a.size(); ++i)
            ASSERT_NEAR(b[i], 2.0f * a[i], 1e-6f) << "sample " << i;
        // Switching modes keeps the loudness of the down-mix within a decibel.
        const double level = std::hypot(Rms(a, 2, 0, 4800, 24000), Rms(a, 2, 1, 4800, 24000));
        const double wanted =
            std::hypot(Rms(reference, 2, 0, 4800, 24000), Rms(reference, 2, 1, 4800, 24000));
        EXPECT_NEAR(Db(level / wanted), 0.0, 1.0);
    }
}

TEST_F(SurroundTest, BlocksOfAnySizeJoinAsOneRun) {
    struct Case {
        bool upMix;
        int in, out;
        int32_t mode;
    };
    const Case cases[] = {{false, 6, 2, kSurroundStandard},
                          {false, 6, 2, kSurroundHeadphone},
                          {false, 8, 2, kSurroundRoom},
                          {true, 2, 6, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.in) + " to " + std::to_string(c.out) + " mode " +
                     std::to_string(c.mode));
        const auto input = Noise(c.in, 20000, 0.5f, 3);
        auto whole = c.upMix ? UpMix(c.in, c.out) : Renderer(c.in, c.out, c.mode);
        auto pieces = c.upMix ? UpMix(c.in, c.out) : Renderer(c.in, c.out, c.mode);
        auto expected = Run(whole.get(), input, c.in, {20000});
        auto tailOne = Flush(whole.get());
        auto got = Run(pieces.get(), input, c.in, {1, 7, 333, 4099, 64, 5000});
        auto tailPieces = Flush(pieces.get());
        ASSERT_EQ(got.size(), expected.size());
        for (size_t i = 0; i < got.size(); ++i)
            ASSERT_NEAR(got[i], expected[i], 1e-6f) << "sample " << i;
        ASSERT_EQ(tailPieces.size(), tailOne.size());
        for (size_t i = 0; i < tailOne.size(); ++i)
            ASSERT_NEAR(tailPieces[i], tailOne[i], 1e-6f) << "tail sample " << i;
    }
}

TEST_F(SurroundTest, HeadphoneModeHearsALeftSpeakerEarlierAndLouderInTheLeftEar) {
    for (int speaker : {0, 4}) { // front left, back left of 5.1
        SCOPED_TRACE("speaker " + std::to_string(speaker));
        auto r = Renderer(6, 2, kSurroundHeadphone);
        std::vector<float> click(6 * 1024, 0.0f);
        click[speaker] = 1.0f;
        auto out = Run(r.get(), click, 6);
        const float threshold = 0.02f * Peak(out);
        const int64_t left = Onset(out, 2, 0, threshold), right = Onset(out, 2, 1, threshold);
        ASSERT_GE(left, 0);
        // Woodworth's difference for 30 and 110 degrees is 0.26 to 0.65 ms: 12 to 31 frames.
        EXPECT_GE(right - left, 8);
        EXPECT_LE(right - left, 34);
        EXPECT_GT(Db(std::sqrt(Energy(out, 2, 0) / Energy(out, 2, 1))), 2.0);
        // The back speaker stands almost in line with the ear: its first sound is the latency.
        int32_t latency = 0;
        ASSERT_EQ(r->GetLatency(&latency), S_OK);
        if (speaker == 4) {
            EXPECT_GE(left, latency);
            EXPECT_LE(left, latency + 2);
        }
    }
    // The centre is heard the same in both ears; front and back of one side sound different.
    auto r = Renderer(6, 2, kSurroundHeadphone);
    auto out = Run(r.get(), OnChannel(6, 2, 2048), 6);
    for (size_t f = 0; f < 2048; ++f)
        ASSERT_FLOAT_EQ(out[2 * f], out[2 * f + 1]);
    std::vector<float> front(6 * 512, 0.0f), back(6 * 512, 0.0f);
    front[0] = back[4] = 1.0f;
    r->Reset();
    auto a = Run(r.get(), front, 6);
    r->Reset();
    auto b = Run(r.get(), back, 6);
    double difference = 0;
    for (size_t i = 0; i < a.size(); ++i)
        difference += std::fabs(a[i] - b[i]);
    EXPECT_GT(difference, 0.1);
}

TEST_F(SurroundTest, OnlyTheRoomLeavesALongTailAndFlushHandsItOutOnce) {
    struct Case {
        int32_t mode;
        size_t minTail, maxTail; // frames
    };
    const Case cases[] = {{kSurroundStandard, 0, 0},
                          {kSurroundHeadphone, 1, kRate / 100},
                          {kSurroundRoom, kRate * 14 / 100, kRate * 16 / 100}};
    for (const Case& c : cases) {
        SCOPED_TRACE("mode " + std::to_string(c.mode));
        auto r = Renderer(6, 2, c.mode);
        auto out = Run(r.get(), OnChannel(6, 0, 480, 1.0f), 6);
        EXPECT_EQ(out.size(), 2u * 480);
        auto tail = Flush(r.get());
        EXPECT_GE(tail.size() / 2, c.minTail);
        EXPECT_LE(tail.size() / 2, c.maxTail);
        if (c.mode == kSurroundRoom) {
            // Still sounding 100 ms after the input stopped, and decaying.
            const size_t at100 = kRate / 10;
            EXPECT_GT(Energy(tail, 2, 0, at100), 0.0);
            EXPECT_LT(Energy(tail, 2, 0, at100), Energy(tail, 2, 0, kRate / 50) / 10);
        }
        EXPECT_TRUE(Flush(r.get()).empty());
    }
}

TEST_F(SurroundTest, UpMixPutsTheSumInTheCentreAndTheDifferenceBehind) {
    auto u = UpMix(2, 6);
    ASSERT_TRUE(u);
    const int64_t frames = 4800;
    // The same tone on both sides: the centre carries it, nothing goes behind or to the LFE.
    auto both = Sine(440, 0.5, kRate, frames, 2);
    auto out = Run(u.get(), both, 2);
    ASSERT_EQ(out.size(), static_cast<size_t>(frames * 6));
    EXPECT_NEAR(Rms(out, 6, 2, 1000, frames), Rms(both, 2, 0, 1000, frames), 1e-4);
    EXPECT_NEAR(Rms(out, 6, 0, 1000, frames), Rms(both, 2, 0, 1000, frames), 1e-4);
    for (int ch : {3, 4, 5})
        EXPECT_LT(Rms(out, 6, ch, 0, frames), 1e-6);
    // The left alone: half of it in the centre, and 10 ms later half of it (dulled) on the left
    // surround and inverted on the right one.
    u->Reset();
    auto left = Run(u.get(), OnChannel(2, 0, frames, 0.5f), 2);
    EXPECT_NEAR(left[6 * 100 + 2], 0.25f, 1e-6);
    EXPECT_EQ(left[6 * 470 + 4], 0.0f);
    EXPECT_EQ(Onset(left, 6, 4, 1e-6f), kRate / 100);
    EXPECT_NEAR(left[6 * 2000 + 4], 0.25f, 1e-4);
    EXPECT_NEAR(left[6 * 2000 + 5], -0.25f, 1e-4);
    EXPECT_EQ(Flush(u.get()).size(), 6u * kRate / 100);
}

TEST_F(SurroundTest, UpMixPlacesEachSourceSpeakerByTheMasks) {
    struct Case {
        int in, out;
        uint32_t inMask, outMask;
        int channel;                 // fed alone with 0.5
        std::vector<float> expected; // every output, after 20 ms
    };
    const Case cases[] = {
        {1, 6, kSpeakersMono, kSpeakers51, 0, {0, 0, 0.5f, 0, 0, 0}},
        {1, 4, kSpeakersMono, 0, 0, {0.3535534f, 0.3535534f, 0, 0}},
        // 5.1's surrounds fill the sides and the backs of 7.1 at equal power.
        {6, 8, kSpeakers51, kSpeakers71, 4, {0, 0, 0, 0, 0.3535534f, 0, 0.3535534f, 0}},
        {6, 8, kSpeakers51, kSpeakers71, 3, {0, 0, 0, 0.5f, 0, 0, 0, 0}},
        {2, 2, kSpeakersStereo, kSpeakersStereo, 1, {0, 0.5f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.in) + " to " + std::to_string(c.out));
        auto u = Make(CLSID_UpMix);
        ASSERT_EQ(u->Initialise(kRate, kRate, c.in, c.out, c.inMask, c.outMask), S_OK);
        auto out = Run(u.get(), OnChannel(c.in, c.channel, 2000), c.in);
        for (int o = 0; o < c.out; ++o)
            EXPECT_NEAR(out[1000 * c.out + o], c.expected[o], 1e-6) << "output " << o;
    }
}

TEST_F(SurroundTest, RefusesConfigurationsItCannotMapAndKeepsTheOneInForce) {
    struct Case {
        const char* what;
        bool upMix;
        int32_t rateIn, rateOut, in, out;
        uint32_t inMask, outMask;
    };
    const Case cases[] = {
        {"unequal rates", false, 48000, 44100, 6, 2, kSpeakers51, kSpeakersStereo},
        {"no rate", false, 0, 0, 6, 2, kSpeakers51, kSpeakersStereo},
        {"no channels", false, kRate, kRate, 0, 2, 0, kSpeakersStereo},
        {"nine channels", false, kRate, kRate, 9, 2, 0, kSpeakersStereo},
        {"renderer asked to spread", false, kRate, kRate, 2, 6, kSpeakersStereo, kSpeakers51},
        {"up-mix asked to fold", true, kRate, kRate, 6, 2, kSpeakers51, kSpeakersStereo},
        {"mask of the wrong count", false, kRate, kRate, 6, 2, kSpeakersStereo, kSpeakersStereo},
        {"unknown speaker", true, kRate, kRate, 1, 2, 0x40000, kSpeakersStereo},
        {"no place for a front speaker", false, kRate, kRate, 2, 1, kSpeakersStereo, 0x10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto m = c.upMix ? UpMix(1, 2) : Renderer(6, 2);
        ASSERT_TRUE(m);
        EXPECT_EQ(m->Initialise(c.rateIn, c.rateOut, c.in, c.out, c.inMask, c.outMask), E_INVALIDARG);
        EXPECT_EQ(m->SetFormat(c.rateIn, c.rateOut, c.in, c.out, c.inMask, c.outMask), E_INVALIDARG);
        int32_t channels = 0;
        EXPECT_EQ(m->IsInitialised(), S_OK);
        m->GetInputChannels(&channels);
        EXPECT_EQ(channels, c.upMix ? 1 : 6);
    }
}

TEST_F(SurroundTest, HostileArraysAndCallsOutOfOrderGetAnErrorAndNoCrash) {
    auto fresh = Make(CLSID_SurroundRenderer);
    ASSERT_TRUE(fresh);
    EXPECT_EQ(fresh->IsInitialised(), S_FALSE);
    SAFEARRAY* good = SafeArrayCreateVector(VT_R4, 0, 12);
    SAFEARRAY* out = reinterpret_cast<SAFEARRAY*>(1);
    EXPECT_EQ(fresh->Process(good, &out), E_UNEXPECTED);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(fresh->Flush(&out), E_UNEXPECTED);

    auto r = Renderer(6, 2);
    EXPECT_EQ(r->Process(nullptr, &out), E_POINTER);
    EXPECT_EQ(r->Process(good, nullptr), E_POINTER);
    SAFEARRAY* wide = SafeArrayCreateVector(VT_R8, 0, 12);
    SAFEARRAY* ragged = SafeArrayCreateVector(VT_R4, 0, 13);
    EXPECT_EQ(r->Process(wide, &out), E_INVALIDARG);
    EXPECT_EQ(r->Process(ragged, &out), E_INVALIDARG);
    SAFEARRAY fake{};
    fake.cDims = 2;
    fake.cbElements = 4;
    fake.rgsabound[0].cElements = 12;
    EXPECT_EQ(r->Process(&fake, &out), E_INVALIDARG);
    fake.cDims = 1;
    fake.pvData = nullptr;
    EXPECT_EQ(r->Process(&fake, &out), E_INVALIDARG);
    EXPECT_EQ(out, nullptr);
    // An empty block is no error, and nothing comes back.
    SAFEARRAY* empty = SafeArrayCreateVector(VT_R4, 0, 0);
    EXPECT_EQ(r->Process(empty, &out), S_OK);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(r->SetOutputGain(-1.0f), E_INVALIDARG);
    EXPECT_EQ(r->SetOutputGain(std::nanf("")), E_INVALIDARG);
    for (SAFEARRAY* a : {good, wide, ragged, empty})
        SafeArrayDestroy(a);
}

TEST_F(SurroundTest, ModeInterfaceRoundTripsAndSelectsTheVirtualisers) {
    auto r = Renderer(6, 2);
    auto modes = QueryAs<ISurroundMode>(r.get(), IID_ISurroundMode);
    ASSERT_TRUE(modes);
    int32_t count = 0, mode = -1;
    EXPECT_EQ(modes->GetModeCount(&count), S_OK);
    EXPECT_EQ(count, 3);
    const char* names[] = {"ITU-R BS.775 down-mix", "Headphone virtualiser", "Room virtualiser"};
    for (int32_t m : {kSurroundRoom, kSurroundHeadphone, kSurroundStandard}) {
        BSTR text = nullptr;
        EXPECT_EQ(modes->SetMode(m), S_OK);
        EXPECT_EQ(modes->GetMode(&mode), S_OK);
        EXPECT_EQ(mode, m);
        EXPECT_EQ(r->GetDescription(&text), S_OK);
        EXPECT_EQ(TakeBstr(text), names[m]);
    }
    EXPECT_EQ(modes->SetMode(3), E_INVALIDARG);
    EXPECT_EQ(modes->SetMode(-1), E_INVALIDARG);
    modes->GetMode(&mode);
    EXPECT_EQ(mode, kSurroundStandard);
    // The mode may come before the format, as a conversion sets them.
    auto early = Make(CLSID_SurroundRenderer);
    auto earlyModes = QueryAs<ISurroundMode>(early.get(), IID_ISurroundMode);
    EXPECT_EQ(earlyModes->SetMode(kSurroundRoom), S_OK);
    EXPECT_EQ(early->SetFormat(kRate, kRate, 6, 2, kSpeakers51, kSpeakersStereo), S_OK);
    BSTR text = nullptr;
    early->GetDescription(&text);
    EXPECT_EQ(TakeBstr(text), "Room virtualiser");
    // The up-mix object has no modes.
    EXPECT_FALSE(QueryAs<ISurroundMode>(UpMix(2, 6).get(), IID_ISurroundMode));
}

TEST_F(SurroundTest, VirtualModesFallBackToTheDownMixForOutputsOtherThanStereo) {
    auto standard = Renderer(8, 6, kSurroundStandard);
    auto headphone = Renderer(8, 6, kSurroundHeadphone);
    const auto input = Noise(8, 1000, 0.5f, 5);
    EXPECT_EQ(Run(headphone.get(), input, 8), Run(standard.get(), input, 8));
}

TEST_F(SurroundTest, OutputGainScalesAndTheModuleUnloadsWhenAllIsReleased) {
    {
        auto r = Renderer(6, 2);
        auto plain = Run(r.get(), OnChannel(6, 0, 16), 6);
        EXPECT_EQ(r->SetOutputGain(0.5f), S_OK);
        float gain = 0;
        r->GetOutputGain(&gain);
        EXPECT_EQ(gain, 0.5f);
        auto half = Run(r.get(), OnChannel(6, 0, 16), 6);
        EXPECT_FLOAT_EQ(half[0], plain[0] * 0.5f);
        EXPECT_EQ(canUnload_(), S_FALSE);
    }
    EXPECT_EQ(canUnload_(), S_OK);
}

} // namespace
