// Noise Analysis on a document and Noise Reduction applied from its profile: the boxes of a short
// selection and of a missing denoiser, the profile blob as the preset file holds it, the other
// presets kept, and the denoiser measured on tone-plus-noise through the effect dialog.
#include "ViewTestSupport.h"

#include "dsp/DspWrapper.h"
#include "dsp/NoiseProfile.h"
#include "dsp/PresetFile.h"
#include "platform/ComRegistry.h"

#include <tidework/builtin.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <utility>

namespace tw::test {
namespace {

constexpr const char* kTooSmall =
    "The current selection is too small for a noise analysis. To perform noise analysis you need to "
    "select a part of the recording containing noise only that is longer than 2048 samples.";
constexpr const char* kCompleted =
    "The noise analysis was successfully completed. Please select the area you wish to denoise and "
    "choose Noise Reduction from the Enhancement menu.";
constexpr int kBins = 1025;
constexpr int kRate = 44100;

int16_t I16(const std::vector<uint8_t>& b, size_t at) {
    int16_t v;
    std::memcpy(&v, b.data() + at, 2);
    return v;
}
int32_t I32(const std::vector<uint8_t>& b, size_t at) {
    int32_t v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}
float F32(const std::vector<uint8_t>& b, size_t at) {
    float v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}

// While set, the denoiser's class id resolves to a factory that makes nothing, as on a system
// whose transforms module is missing; otherwise the registration steps aside for the module.
std::atomic<bool> g_hideDenoiser{false};

struct CFailingFactory final : IClassFactory {
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    HRESULT CreateInstance(IUnknown*, const GUID&, void** out) override {
        *out = nullptr;
        return REGDB_E_CLASSNOTREG;
    }
    HRESULT LockServer(int32_t) override { return S_OK; }
};

HRESULT HiddenDenoiser(const IID&, void** out) {
    static CFailingFactory factory;
    *out = g_hideDenoiser ? &factory : nullptr;
    return g_hideDenoiser ? S_OK : CLASS_E_CLASSNOTAVAILABLE;
}

class NoiseAnalysisTest : public ViewTest {
protected:
    std::unique_ptr<CTransformPlugin> Denoiser() {
        return std::unique_ptr<CTransformPlugin>(CTransformPlugin::Create(CLSID_BuiltinDenoiser, GUID{}, -1));
    }
    std::string PresetPath() { return CPresetFile::PathFor(*Denoiser()); }
    CPresetFile ReadPresets() {
        auto denoiser = Denoiser();
        return CPresetFile::Load(PresetPath(), denoiser.get());
    }
    // Loads a 16-bit WAV of `frames` frames whose samples `sample(frame, channel)` gives (in
    // 16-bit units), then runs the analysis over (start, end).
    void LoadSamples(int64_t frames, int channels, const std::function<int64_t(int64_t, int)>& sample) {
        const std::string path = home.root + "/noise.wav";
        WriteWav(path, PcmFormat(channels, kRate, 16), frames, sample);
        ASSERT_TRUE(view->LoadFile(path));
    }
    void Analyse(int64_t start, int64_t end) {
        Select(start, end);
        Command(CChildView::kNoiseAnalysis);
    }
};

TEST_F(NoiseAnalysisTest, SelectionLengthDecidesBetweenTheBoxAndAProfile) {
    struct Case {
        int64_t length;
        const char* box;
        bool written;
        bool nan; // 2048 frames read no frame: every value is 0 / 0
    };
    const Case cases[] = {{2047, kTooSmall, false, false},
                          {2048, kCompleted, true, true},
                          {2049, kCompleted, true, false},
                          {30000, kCompleted, true, false}};
    LoadSamples(40000, 2, [](int64_t f, int c) { return ((f * 7919 + c * 131) % 2001) - 1000; });
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        std::filesystem::remove(PresetPath());
        presentation->Clear();
        Analyse(1000, 1000 + c.length);
        EXPECT_EQ(presentation->Boxes(), std::vector<std::string>{c.box});
        EXPECT_EQ(presentation->LastCursor(view->GetSafeHandle()), CursorShape::Arrow);
        const CPresetFile file = ReadPresets();
        ASSERT_EQ(file.hasLast, c.written);
        if (!c.written)
            continue;
        const std::vector<uint8_t>& blob = file.last.GetData();
        ASSERT_EQ(blob.size(), static_cast<size_t>(kNoiseProfileBlobBytes));
        for (int k : {0, 1, 500, 1024}) {
            const float v = F32(blob, 16 + 4 * k);
            EXPECT_EQ(std::isnan(v), c.nan) << k;
            if (!c.nan)
                EXPECT_GT(v, 0.0f) << k;
        }
    }
}

TEST_F(NoiseAnalysisTest, BlobCarriesHeaderProfilePaddingAndTrailer) {
    for (int channels : {1, 2, 8}) {
        SCOPED_TRACE(channels);
        std::filesystem::remove(PresetPath());
        LoadSamples(20000, channels, [](int64_t f, int c) { return ((f * 7919 + c * 131) % 2001) - 1000; });
        Analyse(0, 20000);
        const std::vector<uint8_t> blob = ReadPresets().last.GetData();
        ASSERT_EQ(blob.size(), 37124u);
        // Header: -100, 50, 2 and the channel count (16 bits), 1 and the bin count (32 bits).
        EXPECT_EQ(std::vector<int>(
                      {I16(blob, 0), I16(blob, 2), I16(blob, 4), I16(blob, 6), I32(blob, 8), I32(blob, 12)}),
                  std::vector<int>({-100, 50, 2, channels, 1, kBins}));
        for (int ch = 0; ch < 8; ++ch) {
            double sum = 0;
            for (int k = 0; k < kBins; ++k)
                sum += F32(blob, 16 + 4 * (ch * kBins + k));
            if (ch < channels)
                EXPECT_GT(sum, 0.0) << "channel " << ch;
            else
                EXPECT_EQ(sum, 0.0) << "padding channel " << ch;
        }
        size_t at = 16 + 4 * 8 * kBins;
        EXPECT_EQ(std::make_pair(I32(blob, at), I32(blob, at + 4)), std::make_pair(0, 1));
        at += 8;
        for (int k = 0; k < kBins; ++k)
            ASSERT_EQ(F32(blob, at + 4 * k), 0.0f);
        at += 4 * kBins;
        EXPECT_EQ(I32(blob, at), 0);
        EXPECT_EQ(std::vector<float>({F32(blob, at + 4), F32(blob, at + 8), F32(blob, at + 12)}),
                  std::vector<float>({0.5f, 1.0f, 0.5f}));
        at += 16;
        for (int w = 0; w < 44; ++w)
            ASSERT_EQ(I32(blob, at + 4 * w), 0);
        at += 44 * 4;
        EXPECT_EQ(std::make_pair(I32(blob, at), I32(blob, at + 4)), std::make_pair(2, kBins));
    }
}

// The profile is the mean windowed magnitude divided by the channel count: a sine of amplitude A
// at the centre of bin 100 gives |X| = A * N / 4 under the Hann window in every frame.
TEST_F(NoiseAnalysisTest, ProfileIsTheMeanMagnitudeDividedByTheChannelCount) {
    const double freq = 100.0 * kRate / 2048;
    LoadSamples(60000, 2,
                [&](int64_t f, int) { return std::llround(8000 * std::sin(2 * M_PI * freq * f / kRate)); });
    Analyse(0, 60000);
    const std::vector<uint8_t> blob = ReadPresets().last.GetData();
    const double expected = 8000.0 / 32768.0 * 2048 / 4 / 2;
    EXPECT_NEAR(F32(blob, 16 + 4 * 100), expected, expected * 0.01);
    EXPECT_NEAR(F32(blob, 16 + 4 * (kBins + 100)), expected, expected * 0.01);
    EXPECT_LT(F32(blob, 16 + 4 * 300), expected * 1e-3);
}

TEST_F(NoiseAnalysisTest, KeepsTheOtherPresetsAndReplacesOnlyTheLastRecord) {
    auto denoiser = Denoiser();
    ASSERT_TRUE(denoiser);
    CPresetFile before;
    before.hasLast = true;
    before.last = CPlugInSettings::FromTransform(denoiser.get(), CPresetFile::kLastName);
    denoiser->SetValue(0, 3.0f);
    before.presets.push_back(CPlugInSettings::FromTransform(denoiser.get(), "Hiss"));
    denoiser->SetValue(0, 1.0f);
    before.presets.push_back(CPlugInSettings::FromTransform(denoiser.get(), "Hum"));
    ASSERT_TRUE(before.Save(PresetPath()));

    LoadWav(20000);
    Analyse(0, 20000);
    const CPresetFile after = ReadPresets();
    ASSERT_EQ(after.presets.size(), 2u);
    EXPECT_EQ(after.presets[0].GetName(), "Hiss");
    EXPECT_EQ(after.presets[0].GetData(), before.presets[0].GetData());
    EXPECT_EQ(after.presets[1].GetName(), "Hum");
    EXPECT_EQ(after.presets[1].GetData(), before.presets[1].GetData());
    EXPECT_NE(after.last.GetData(), before.last.GetData());
    EXPECT_EQ(I16(after.last.GetData(), 6), 2);
}

TEST_F(NoiseAnalysisTest, MissingDenoiserGivesItsBoxAndWritesNothing) {
    RegisterClassObject(CLSID_BuiltinDenoiser, &HiddenDenoiser, "hidden denoiser");
    LoadWav(20000);
    g_hideDenoiser = true;
    Analyse(0, 20000);
    g_hideDenoiser = false;
    EXPECT_EQ(presentation->Boxes(), std::vector<std::string>{"Denoiser plug-in not found"});
    EXPECT_FALSE(std::filesystem::exists(PresetPath()));
}

// A record of another size is refused by the settings before the transform sees it; a fresh
// profile of the right size is taken and leaves the parameters set on the transform.
TEST_F(NoiseAnalysisTest, ProfileOfAnotherSizeIsRefusedAndAFreshOneKeepsTheParameters) {
    auto denoiser = Denoiser();
    ASSERT_TRUE(denoiser->SetFormat(kRate, 2));
    ASSERT_TRUE(denoiser->SetValue(1, -20.0f));
    const std::vector<uint8_t> state = denoiser->GetState();
    std::vector<float> profile(2 * kBins, 0.25f);
    const std::vector<uint8_t> good = MakeNoiseProfileBlob(profile.data(), 2);
    for (int delta : {-1, 1}) {
        std::vector<uint8_t> bad = good;
        bad.resize(bad.size() + delta);
        CPlugInSettings record(denoiser.get(), CPresetFile::kLastName);
        record.SetData(bad);
        EXPECT_FALSE(record.Restore()) << delta;
        EXPECT_EQ(denoiser->GetState(), state) << delta;
    }
    CPlugInSettings record(denoiser.get(), CPresetFile::kLastName);
    record.SetData(good);
    ASSERT_TRUE(record.Restore());
    const std::vector<uint8_t> now = denoiser->GetState();
    EXPECT_EQ(F32(now, 16), 0.25f);
    // The parameters sit in the reserved words: the floor is the third value behind tag and count.
    EXPECT_EQ(F32(now, now.size() - 8 - 44 * 4 + 8 + 4), -20.0f);
}

// Tone-plus-noise measured: the profile from a noise-only passage through Noise Analysis, Noise
// Reduction applied to the rest through its dialog (which restores the "(last)" record).
class NoiseReductionTest : public NoiseAnalysisTest {
protected:
    // Mean power per bin over [from, to) of `s` in 4096-point Hann frames, for bins lo..hi.
    static double BandPower(const std::vector<float>& s, int64_t from, int64_t to, double loHz, double hiHz) {
        constexpr int n = 4096;
        CDspWrapper dsp;
        dsp.InitFFT(n);
        std::vector<float> buf(n + 2);
        const int lo = static_cast<int>(loHz * n / kRate);
        const int hi = static_cast<int>(hiHz * n / kRate);
        double sum = 0;
        int count = 0;
        for (int64_t at = from; at + n <= to; at += n) {
            for (int i = 0; i < n; ++i)
                buf[i] = s[at + i] * static_cast<float>(0.5 - 0.5 * std::cos(2 * M_PI * i / n));
            dsp.FFTForward(buf.data());
            for (int k = lo; k <= hi; ++k, ++count)
                sum += buf[2 * k] * buf[2 * k] + buf[2 * k + 1] * buf[2 * k + 1];
        }
        return sum / count;
    }
    // The amplitude of the 1 kHz component over [from, to).
    static double ToneAmplitude(const std::vector<float>& s, int64_t from, int64_t to) {
        double re = 0, im = 0;
        for (int64_t i = from; i < to; ++i) {
            re += s[i] * std::cos(2 * M_PI * 1000.0 * i / kRate);
            im += s[i] * std::sin(2 * M_PI * 1000.0 * i / kRate);
        }
        return 2 * std::hypot(re, im) / static_cast<double>(to - from);
    }
};

TEST_F(NoiseReductionTest, RemovesTheNoiseAndKeepsTheTone) {
    constexpr int64_t kQuiet = 2 * kRate; // noise only
    constexpr int64_t kTotal = 6 * kRate;
    std::mt19937 random(17);
    std::normal_distribution<double> gauss(0.0, 1200.0);
    std::vector<int64_t> samples(kTotal * 2);
    for (int64_t f = 0; f < kTotal; ++f)
        for (int c = 0; c < 2; ++c) {
            const double tone = f >= kQuiet ? 9000 * std::sin(2 * M_PI * 1000.0 * f / kRate) : 0.0;
            samples[f * 2 + c] = std::llround(tone + gauss(random));
        }
    LoadSamples(kTotal, 2, [&](int64_t f, int c) { return samples[f * 2 + c]; });
    const std::vector<float> before = Channel0(view->GetMedia());
    Analyse(0, kQuiet);
    ASSERT_EQ(presentation->Boxes(), std::vector<std::string>{kCompleted});

    ASSERT_NE(ApplyEffect(CLSID_BuiltinDenoiser, kQuiet, kTotal), nullptr);
    const std::vector<float> after = Channel0(view->GetMedia());
    ASSERT_EQ(after.size(), before.size());

    // Away from the section's edges, where the frames see the edge.
    const int64_t from = kQuiet + 4096, to = kTotal - 4096;
    const double noiseBefore = BandPower(before, from, to, 4000, 12000);
    const double noiseAfter = BandPower(after, from, to, 4000, 12000);
    EXPECT_LT(10 * std::log10(noiseAfter / noiseBefore), -10.0);
    const double toneBefore = ToneAmplitude(before, from, to);
    const double toneAfter = ToneAmplitude(after, from, to);
    EXPECT_NEAR(20 * std::log10(toneAfter / toneBefore), 0.0, 1.0);
    // In time with the input: the difference holds no tone left over from a shifted copy.
    std::vector<float> difference(after.size());
    for (size_t i = 0; i < after.size(); ++i)
        difference[i] = after[i] - before[i];
    EXPECT_LT(ToneAmplitude(difference, from, to), toneBefore * 0.1);
    // The noise-only passage before the section is untouched.
    for (int64_t i = 0; i < kQuiet; i += 97)
        ASSERT_EQ(after[i], before[i]);
}

} // namespace
} // namespace tw::test
